#pragma once
// Which errors each system call of the host can give: the one table that the fault tests go by.

#include <optional>
#include <span>
#include <string_view>

namespace faults {

struct Error {
    std::string_view name; // as strace takes and shows it
    int number = 0;
};

/// What makes a call do nothing and say that it succeeded with 0: an end where none should be, or a
/// write that writes nothing.
inline constexpr Error nothingDone { .name = "", .number = 0 };

/// What the call can come back with instead of doing its work. `call` is the system call's name;
/// two names stand for more than one use: "openat O_CREAT" makes a file, "newfstatat path" takes a
/// path instead of a descriptor. None for a call that is not in the table.
[[nodiscard]] std::optional<std::span<const Error>> errorsOf(std::string_view call);

/// The number of calls in the table.
[[nodiscard]] std::size_t callsInTable();

} // namespace faults
