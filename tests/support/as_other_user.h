#pragma once
// Checks that must run in a process of their own: because they run as somebody else, or because
// they change what a process cannot take back.

#include <functional>

namespace support {

/// The user and group that own nothing.
inline constexpr unsigned unprivilegedUser = 65534;

[[nodiscard]] bool isRoot();

/// Runs `check` in a child process. What fails there fails here, and a check that skips itself
/// there skips the test here; the child prints why.
void inChildProcess(const std::function<void()>& check);

/// Runs `check` in a child process that has given up root for the user and group `identifier`. Only
/// for root.
void asUser(unsigned identifier, const std::function<void()>& check);

/// Runs `check` without privileges: as it is if this process has none, otherwise as the user that
/// owns nothing.
void asOrdinaryUser(const std::function<void()>& check);

} // namespace support
