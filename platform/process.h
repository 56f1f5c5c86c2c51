#pragma once
// What the system needs to know of processes: its own environment and signals, and whether another
// process exists.

#include <cstdint>
#include <optional>
#include <string>

namespace platform {

/// Descriptors that every process is started with (POSIX.1-2017, <unistd.h>).
inline constexpr int standardInputDescriptor = 0;
inline constexpr int standardOutputDescriptor = 1;

/// Whether a process with this identifier exists: signal 0 can be sent to it, or is refused because
/// the process belongs to someone else. `identifier` must be at least 1.
[[nodiscard]] bool processExists(std::int32_t identifier);

/// Lets writing to a closed pipe and beyond a file size limit fail with an error instead of ending
/// the process.
void ignoreSignalsOfFailedWrites();

/// Where the process can learn who runs it; members are replaced in tests.
struct UserEnvironment {
    /// The value of an environment variable; none when it is not set.
    std::optional<std::string> (*variable)(const char* name);

    /// The home directory in the password database entry of the real user id; none when there is no
    /// entry or it names no directory.
    std::optional<std::string> (*passwordDatabaseHome)();
};

[[nodiscard]] const UserEnvironment& systemUserEnvironment();

} // namespace platform
