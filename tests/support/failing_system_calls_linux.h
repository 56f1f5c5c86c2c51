#pragma once
// System calls that fail when a test says so, where no file, process or limit makes them fail on
// demand. The program's own functions stand before the C library's and pass everything else on.

#include <string>

#include <pwd.h>

namespace support {

enum class SystemCall { openat, getdents64, poll, dup2, setsid, fork, chdir, waitpid, getentropy };

/// While this lives, the `number`-th call of that kind (from 1) fails with `error` before anything
/// is done. Processes that this one starts count on for themselves. There can be one at a time.
class FailingSystemCall {
public:
    FailingSystemCall(SystemCall call, int error, int number = 1);
    FailingSystemCall(const FailingSystemCall&) = delete;
    FailingSystemCall& operator=(const FailingSystemCall&) = delete;
    ~FailingSystemCall();

    /// Whether the call was made, and failed, in this process.
    [[nodiscard]] bool hasFailed() const;
};

/// While this lives, every user has an entry in the password database, with this home directory or
/// none.
class PasswordDatabaseEntry {
public:
    explicit PasswordDatabaseEntry(const char* home);
    PasswordDatabaseEntry(const PasswordDatabaseEntry&) = delete;
    PasswordDatabaseEntry& operator=(const PasswordDatabaseEntry&) = delete;
    ~PasswordDatabaseEntry();

private:
    std::string home_;
    passwd entry_ {};
};

} // namespace support
