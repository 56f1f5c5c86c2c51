#include "platform/descriptor_io.h"
#include "platform/file_system.h"
#include "platform/process.h"
#include "tests/support/as_other_user.h"
#include "tests/support/environment_variable.h"
#include "tests/support/host_process.h"
#include "tests/support/temporary_directory.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <limits>
#include <optional>
#include <string>

#include <pwd.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace support;

constexpr std::int32_t firstProcess = 1;
constexpr unsigned userWithoutEntry = 54321;

pid_t startChildThatEndsAtOnce()
{
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(0);
    return child;
}

TEST(ProcessExists, ForThisProcess)
{
    EXPECT_TRUE(platform::processExists(::getpid()));
}

TEST(ProcessExists, NotForOneThatHasEnded)
{
    const pid_t child = startChildThatEndsAtOnce();
    ASSERT_EQ(::waitpid(child, nullptr, 0), child);
    EXPECT_FALSE(platform::processExists(child));
}

TEST(ProcessExists, ForOneThatHasEndedAndWasNotWaitedFor)
{
    const pid_t child = startChildThatEndsAtOnce();
    siginfo_t information {};
    ASSERT_EQ(::waitid(P_PID, static_cast<id_t>(child), &information, WEXITED | WNOWAIT), 0);
    EXPECT_TRUE(platform::processExists(child));
    ASSERT_EQ(::waitpid(child, nullptr, 0), child);
}

TEST(ProcessExists, ForOneOfAnotherUser)
{
    asOrdinaryUser([] {
        if (::kill(firstProcess, 0) == 0)
            GTEST_SKIP() << "the first process is this user's own";
        ASSERT_EQ(errno, EPERM);
        EXPECT_TRUE(platform::processExists(firstProcess));
    });
}

TEST(ProcessExists, NotForAnIdentifierThatNoSystemGives)
{
    EXPECT_FALSE(platform::processExists(std::numeric_limits<std::int32_t>::max()));
}

TEST(ProcessExists, NotBecauseOfAnEarlierError)
{
    const pid_t child = startChildThatEndsAtOnce();
    ASSERT_EQ(::waitpid(child, nullptr, 0), child);
    errno = EPERM;
    EXPECT_FALSE(platform::processExists(child));
}

TEST(IgnoreSignalsOfFailedWrites, LetsWritingToAClosedPipeFail)
{
    inChildProcess([] {
        ASSERT_NE(std::signal(SIGPIPE, SIG_DFL), SIG_ERR);
        platform::ignoreSignalsOfFailedWrites();
        Pipe pipe;
        pipe.readEnd.close();
        const auto written = platform::writeAll(pipe.writeEnd.number(), "x");
        ASSERT_FALSE(written);
        EXPECT_EQ(written.error().code, EPIPE);
    });
}

TEST(IgnoreSignalsOfFailedWrites, LetsWritingBeyondAFileSizeLimitFail)
{
    inChildProcess([] {
        ASSERT_NE(std::signal(SIGXFSZ, SIG_DFL), SIG_ERR);
        platform::ignoreSignalsOfFailedWrites();
        const TemporaryDirectory directory;
        const platform::FileSystem& fileSystem = platform::localFileSystem();
        const auto file = fileSystem.createFile(directory / "x");
        ASSERT_TRUE(file);
        const rlimit tenBytes { .rlim_cur = 10, .rlim_max = 10 };
        ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &tenBytes), 0);
        const auto written = fileSystem.write(*file, "0123456789a");
        ASSERT_FALSE(written);
        EXPECT_EQ(written.error().code, EFBIG);
        EXPECT_EQ(fileSystem.attributes(*file)->size, 10U);
    });
}

std::optional<std::string> variable(const char* name)
{
    return platform::systemUserEnvironment().variable(name);
}

TEST(SystemUserEnvironment, TellsSetFromEmptyFromUnset)
{
    constexpr const char* name = "KESTRANE_TEST_VARIABLE";
    {
        const ScopedVariable set(name, " a=b ");
        EXPECT_EQ(variable(name), " a=b ");
    }
    {
        const ScopedVariable empty(name, "");
        EXPECT_EQ(variable(name), "");
    }
    const ScopedVariable unset(name, std::nullopt);
    EXPECT_EQ(variable(name), std::nullopt);
}

// The entry's home directory; read apart, as the look-up keeps one entry at a time.
std::string homeInEntryOf(uid_t user)
{
    const passwd* const entry = ::getpwuid(user);
    return entry != nullptr ? entry->pw_dir : "";
}

TEST(SystemUserEnvironment, TakesTheHomeFromThePasswordDatabaseAndNotFromTheEnvironment)
{
    const ScopedVariable home("HOME", "/elsewhere");
    const std::string expected = homeInEntryOf(::getuid());
    if (expected.empty())
        GTEST_SKIP() << "the user of this process has no entry";
    EXPECT_EQ(platform::systemUserEnvironment().passwordDatabaseHome(), expected);
}

TEST(SystemUserEnvironment, TakesTheHomeOfTheRealUser)
{
    if (!isRoot())
        GTEST_SKIP() << "only root can have two user ids";
    const std::string home = homeInEntryOf(unprivilegedUser);
    ASSERT_NE(home, "");
    ASSERT_NE(home, homeInEntryOf(0));
    inChildProcess([&home] {
        ASSERT_EQ(::setreuid(unprivilegedUser, 0), 0);
        EXPECT_EQ(platform::systemUserEnvironment().passwordDatabaseHome(), home);
        // The file system's home is that of the user whose rights the process has.
        EXPECT_EQ(platform::localFileSystem().homeDirectoryForCurrentUser(), homeInEntryOf(0));
    });
}

TEST(SystemUserEnvironment, HasNoHomeForAUserWithoutAnEntry)
{
    if (!isRoot())
        GTEST_SKIP() << "only root can become a user without an entry";
    asUser(userWithoutEntry,
        [] { EXPECT_EQ(platform::systemUserEnvironment().passwordDatabaseHome(), std::nullopt); });
}

std::string homeDirectory()
{
    return platform::localFileSystem().homeDirectoryForCurrentUser();
}

TEST(HomeDirectoryForCurrentUser, IsThatOfThePasswordDatabaseWhateverHOMESays)
{
    const std::string expected = homeInEntryOf(::geteuid());
    if (expected.empty())
        GTEST_SKIP() << "the user of this process has no entry";
    const ScopedVariable notFixed("CFFIXED_USER_HOME", std::nullopt);
    const ScopedVariable home("HOME", "/elsewhere");
    EXPECT_EQ(homeDirectory(), expected);
}

TEST(HomeDirectoryForCurrentUser, IsFixedByAnAbsolutePathInTheEnvironment)
{
    const std::string expected = homeInEntryOf(::geteuid());
    if (expected.empty())
        GTEST_SKIP() << "the user of this process has no entry";
    for (const char* const notAPath : { "", "relative", "~" }) {
        const ScopedVariable fixedHome("CFFIXED_USER_HOME", notAPath);
        EXPECT_EQ(homeDirectory(), expected) << notAPath;
    }
    const ScopedVariable fixedHome("CFFIXED_USER_HOME", "/fixed home");
    EXPECT_EQ(homeDirectory(), "/fixed home");
}

TEST(HomeDirectoryForCurrentUser, IsTheEnvironmentsForAUserWithoutAnEntry)
{
    if (!isRoot())
        GTEST_SKIP() << "only root can become a user without an entry";
    asUser(userWithoutEntry, [] {
        const ScopedVariable notFixed("CFFIXED_USER_HOME", std::nullopt);
        const ScopedVariable home("HOME", "/from/environment");
        EXPECT_EQ(homeDirectory(), "/from/environment");
    });
}

TEST(HomeDirectoryForCurrentUser, IsTheRootWithoutAnythingElse)
{
    if (!isRoot())
        GTEST_SKIP() << "only root can become a user without an entry";
    asUser(userWithoutEntry, [] {
        const ScopedVariable notFixed("CFFIXED_USER_HOME", std::nullopt);
        for (const std::optional<std::string>& value :
            { std::optional<std::string>(), std::optional<std::string>("relative") }) {
            const ScopedVariable home("HOME", value);
            EXPECT_EQ(homeDirectory(), "/");
        }
    });
}

} // namespace
