#pragma once
// Hosts that do one thing wrong, or nothing: shell scripts in a directory of their own.

#include "tests/support/temporary_directory.h"

#include <string>
#include <string_view>

namespace support {

class ScriptedHost {
public:
    /// The script runs in the host's directory, where there is a FIFO "gate" that nobody opens.
    explicit ScriptedHost(std::string_view script);

    [[nodiscard]] std::string path() const { return directory_ / "host"; }
    [[nodiscard]] std::string directory() const { return directory_.path(); }

    /// The contents of a file that the script has left.
    [[nodiscard]] std::string left(std::string_view name) const;

private:
    TemporaryDirectory directory_;
};

/// A command that writes the frame of `payload`, which must need no quoting.
[[nodiscard]] std::string writing(std::string_view payload);

/// Reads and drops everything to the end of the input.
inline constexpr std::string_view readingToEnd = "cat >/dev/null";

} // namespace support
