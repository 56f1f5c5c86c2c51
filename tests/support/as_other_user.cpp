#include "tests/support/as_other_user.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <tuple>

#include <grp.h>
#include <sys/wait.h>
#include <unistd.h>

namespace support {

namespace {

// Exit statuses of the child.
constexpr int passed = 0;
constexpr int failed = 1;
constexpr int skipped = 2;

int outcomeOf(const std::function<void()>& check)
{
    check();
    if (testing::Test::HasFailure())
        return failed;
    return testing::Test::IsSkipped() ? skipped : passed;
}

void expectPassed(pid_t child)
{
    int status = 0;
    while (::waitpid(child, &status, 0) < 0)
        ASSERT_EQ(errno, EINTR);
    ASSERT_TRUE(WIFEXITED(status)) << "the child process ended by signal " << WTERMSIG(status);
    if (WEXITSTATUS(status) == skipped)
        GTEST_SKIP() << "the child process says why";
    EXPECT_EQ(WEXITSTATUS(status), passed) << "the child process says why";
}

} // namespace

bool isRoot()
{
    return ::geteuid() == 0;
}

void inChildProcess(const std::function<void()>& check)
{
    std::ignore = std::fflush(nullptr); // or the child would print it again
    const pid_t child = ::fork();
    ASSERT_GE(child, 0) << std::strerror(errno);
    if (child == 0) {
        const int outcome = outcomeOf(check);
        std::ignore = std::fflush(nullptr); // there is nobody left to tell
        ::_exit(outcome);
    }
    expectPassed(child);
}

void asUser(unsigned identifier, const std::function<void()>& check)
{
    inChildProcess([&] {
        ASSERT_EQ(::setgroups(0, nullptr), 0) << std::strerror(errno);
        ASSERT_EQ(::setgid(identifier), 0) << std::strerror(errno);
        ASSERT_EQ(::setuid(identifier), 0) << std::strerror(errno);
        check();
    });
}

void asOrdinaryUser(const std::function<void()>& check)
{
    if (isRoot())
        asUser(unprivilegedUser, check);
    else
        check();
}

} // namespace support
