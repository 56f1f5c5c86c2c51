#pragma once
// Counts system calls exactly, by watching a program with strace.

#include "tests/system_calls/reference_session.h"

#include <string>
#include <vector>

namespace reference {

/// Names of system calls in the order in which they were made.
using Calls = std::vector<std::string>;

/// One connection, request by request.
struct CallTrace {
    Calls start; // before the first read of the input, execve included
    std::vector<Calls>
        requests; // each from the first read of its frame to the last write of its answer
    Calls end; // after the end of the input was read, without the exit itself
};

/// Why strace cannot be used here; empty if it can.
[[nodiscard]] std::string reasonNotToTrace();

/// Starts `program`, sends `request` `count` times and closes the input.
/// Throws std::runtime_error if an answer does not hold what the request's answers hold.
[[nodiscard]] CallTrace trace(
    const std::string& program, const Request& request, std::size_t count);

/// The calls with their numbers, for people.
[[nodiscard]] std::string summary(const Calls& calls);

} // namespace reference
