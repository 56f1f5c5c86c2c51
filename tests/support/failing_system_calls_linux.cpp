#include "tests/support/failing_system_calls_linux.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <optional>

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using support::SystemCall;

struct Plan {
    SystemCall call {};
    int error = 0;
    int callsLeft = 0; // until the one that fails
};

std::optional<Plan> plan;
const passwd* entryOfEveryUser = nullptr;

// Whether this call is to fail; errno is set then.
bool fails(SystemCall call)
{
    if (!plan || plan->call != call || plan->callsLeft == 0)
        return false;
    --plan->callsLeft;
    if (plan->callsLeft > 0)
        return false;
    errno = plan->error;
    return true;
}

// The C library's function that the one of that name here stands before.
template <typename Function> Function* next(const char* name)
{
    // What is found is of that type by its name; the C library gives it without one.
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name)); // NOLINT(*-reinterpret-cast)
}

} // namespace

extern "C" {

// NOLINTNEXTLINE(cert-dcl50-cpp): the C library's own form
int openat64(int directory, const char* path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return fails(SystemCall::openat)
        ? -1
        : next<int(int, const char*, int, ...)>("openat64")(directory, path, flags, mode);
}

ssize_t getdents64(int descriptor, void* buffer, std::size_t size) noexcept
{
    return fails(SystemCall::getdents64)
        ? -1
        : next<ssize_t(int, void*, std::size_t)>("getdents64")(descriptor, buffer, size);
}

int poll(pollfd* descriptors, nfds_t count, int timeout)
{
    return fails(SystemCall::poll)
        ? -1
        : next<int(pollfd*, nfds_t, int)>("poll")(descriptors, count, timeout);
}

int dup2(int from, int to) noexcept
{
    return fails(SystemCall::dup2) ? -1 : next<int(int, int)>("dup2")(from, to);
}

pid_t setsid() noexcept
{
    return fails(SystemCall::setsid) ? -1 : next<pid_t()>("setsid")();
}

pid_t fork() noexcept
{
    return fails(SystemCall::fork) ? -1 : next<pid_t()>("fork")();
}

int chdir(const char* path) noexcept
{
    return fails(SystemCall::chdir) ? -1 : next<int(const char*)>("chdir")(path);
}

pid_t waitpid(pid_t process, int* status, int options)
{
    return fails(SystemCall::waitpid)
        ? -1
        : next<pid_t(pid_t, int*, int)>("waitpid")(process, status, options);
}

int getentropy(void* buffer, std::size_t size)
{
    return fails(SystemCall::getentropy)
        ? -1
        : next<int(void*, std::size_t)>("getentropy")(buffer, size);
}

passwd* getpwuid(uid_t user)
{
    if (entryOfEveryUser != nullptr) {
        static passwd entry;
        entry = *entryOfEveryUser;
        return &entry;
    }
    return next<passwd*(uid_t)>("getpwuid")(user);
}

} // extern "C"

namespace support {

FailingSystemCall::FailingSystemCall(SystemCall call, int error, int number)
{
    EXPECT_FALSE(plan) << "one call fails already";
    plan = Plan { .call = call, .error = error, .callsLeft = number };
}

FailingSystemCall::~FailingSystemCall()
{
    plan.reset();
}

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): of the call that this makes fail
bool FailingSystemCall::hasFailed() const
{
    return plan && plan->callsLeft == 0;
}

PasswordDatabaseEntry::PasswordDatabaseEntry(const char* home)
    : home_(home != nullptr ? home : "")
{
    entry_.pw_dir = home != nullptr ? home_.data() : nullptr;
    entryOfEveryUser = &entry_;
}

PasswordDatabaseEntry::~PasswordDatabaseEntry()
{
    entryOfEveryUser = nullptr;
}

} // namespace support
