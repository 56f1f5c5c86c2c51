#pragma once
// Where the tool's commands write to, so that tests can read it.

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace kestranectl {

/// What every command ends the process with.
enum class ExitStatus : std::uint8_t {
    success = 0,
    problem = 1, // something was found to be wrong, was refused or failed; standard error says what
    usage = 2 // the command line makes no sense; nothing was done
};

/// Each function takes whole lines, with their line feeds.
struct Console {
    std::function<void(std::string_view)> output; // standard output: what was asked for
    std::function<void(std::string_view)> error; // standard error: what went wrong
};

/// `text` so that a terminal shows it and does nothing else: control characters, and bytes that are
/// no UTF-8, become "\xHH". For everything that was read from files or from other programs.
[[nodiscard]] std::string printable(std::string_view text);

} // namespace kestranectl
