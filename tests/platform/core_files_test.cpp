#include "platform/core_files.h"

#include "tests/support/temporary_directory.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <functional>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// Whether a process that is ended by a fault, with `prepare` called before, leaves an image of its
// memory.
bool leavesCoreFile(const std::function<void()>& prepare)
{
    const support::TemporaryDirectory directory;
    const pid_t child = ::fork();
    if (child == 0) {
        rlimit limit {};
        ::getrlimit(RLIMIT_CORE, &limit);
        limit.rlim_cur = limit.rlim_max;
        ::setrlimit(RLIMIT_CORE, &limit);
        if (::chdir(directory.path().c_str()) != 0)
            ::_exit(EXIT_FAILURE);
        prepare();
        std::signal(SIGQUIT, SIG_DFL);
        std::raise(SIGQUIT);
        ::_exit(EXIT_FAILURE);
    }
    int status = 0;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status));
    return WCOREDUMP(status);
}

TEST(ForbidCoreFiles, KeepsTheMemoryOfAFailedProcessFromBeingWritten)
{
    if (!leavesCoreFile([] { }))
        GTEST_SKIP() << "this system writes no core files";
    EXPECT_FALSE(leavesCoreFile(platform::forbidCoreFiles));
}

} // namespace
