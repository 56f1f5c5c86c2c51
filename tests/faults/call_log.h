#pragma once
// What strace wrote about one session, and which part of the host's work each call belongs to.

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace faults {

/// The parts of a session: before the first request is read, one request and another one after it,
/// and what follows the end of the input.
enum class Phase : std::uint8_t { start, request, next, end };

struct Call {
    std::string process; // its identifier; empty where only one process was watched
    std::string name;
    std::size_t ordinal = 0; // among the calls of that name of that process, from 1
    std::string arguments;
    long result = 0; // -1 for a failure
    std::string error; // such as "EACCES"; empty for a success
    bool injected = false;

    Phase phase = Phase::start;
    std::string item; // what it is about: a path below the bridge directory or another path
    std::string subject; // the piece of work, such as "state 2" for the second look at the state

    /// The name in the table of errors.
    [[nodiscard]] std::string kind() const;
};

using Calls = std::vector<Call>;

/// Reads the log of a session with the bridge directory `root`. Calls of the loader and of what ran
/// in the process before the host are left out of the result, but counted in the ordinals.
[[nodiscard]] Calls readCalls(const std::string& path, const std::string& root);

/// The files that the host's own process had open when it asked for more input or ended. Those that
/// it could not close because that call was made to fail do not count.
[[nodiscard]] std::vector<std::string> leakedFiles(const Calls& calls);

} // namespace faults
