#pragma once
// What one failing call may change, and nothing else.

#include "tests/faults/conversations.h"

#include <cstddef>
#include <string>
#include <vector>

namespace faults {

/// One call that fails: the `times` calls of its name from its own on.
struct Fault {
    Call call; // as it was without a fault
    Error error;
    std::size_t times = 1;

    /// The value of strace's option "inject".
    [[nodiscard]] std::string injection() const;

    /// For people.
    [[nodiscard]] std::string description() const;
};

/// Every fault that the calls of a session without one give occasion to. `calls` are those in
/// question.
[[nodiscard]] std::vector<Fault> faultsOf(const Calls& calls);

/// Whether the fault breaks the connection itself, so that not every request has its answer.
[[nodiscard]] bool breaksConnection(const Fault& fault);

/// What a session of that kind comes to with a fault that does not break the connection.
/// `calls` are all calls of such a session without a fault.
[[nodiscard]] std::vector<Moment> momentsWithFault(
    const Kind& kind, const Fault& fault, const Calls& calls);

/// All that a session without pauses writes, and its end, with a fault that breaks the connection.
/// `whole` is what it came to without one.
struct BrokenEnd {
    std::string output;
    Moment end;
};
[[nodiscard]] BrokenEnd endWithFault(
    const Kind& kind, const Fault& fault, const std::string& wholeOutput);

} // namespace faults
