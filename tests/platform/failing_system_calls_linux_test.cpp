// What becomes of system calls that fail for reasons which no test can bring about: interruptions
// at one certain call, a kernel without resources, answers of other systems.

#include "platform/descriptor_io.h"
#include "platform/detached_process.h"
#include "platform/file_system.h"
#include "platform/process.h"
#include "platform/random.h"
#include "tests/platform/launch_record.h"
#include "tests/support/environment_variable.h"
#include "tests/support/failing_system_calls_linux.h"
#include "tests/support/file_cases.h"
#include "tests/support/host_process.h"
#include "tests/support/temporary_directory.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/wait.h>

namespace {

using namespace support;

const platform::FileSystem& files()
{
    return platform::localFileSystem();
}

TEST(OpenForReading, IsMadeAgainWhenInterrupted)
{
    const TemporaryDirectory directory;
    writeFile(directory / "file", "1");
    const FailingSystemCall interrupted(SystemCall::openat, EINTR);
    EXPECT_TRUE(files().openForReading(directory / "file"));
    EXPECT_TRUE(interrupted.hasFailed());
}

TEST(VisibleNames, AreReadOnWhenInterrupted)
{
    const TemporaryDirectory directory;
    writeFile(directory / "file", "1");
    const FailingSystemCall interrupted(SystemCall::getdents64, EINTR);
    const auto listing = files().visibleNames(directory.path());
    EXPECT_TRUE(interrupted.hasFailed());
    ASSERT_TRUE(listing);
    EXPECT_EQ(listing->names, std::vector<std::string> { "file" });
}

TEST(VisibleNames, FailWithTheErrorOfReadingThem)
{
    const TemporaryDirectory directory;
    writeFile(directory / "file", "1");
    // The second call, which would find the end, too: nothing that was read before counts.
    for (const int number : { 1, 2 }) {
        const FailingSystemCall failing(SystemCall::getdents64, EIO, number);
        const auto names = files().visibleNames(directory.path());
        ASSERT_FALSE(names);
        EXPECT_EQ(names.error().code, EIO);
    }
}

TEST(Remove, OpensADirectoryAgainWhenInterrupted)
{
    const TemporaryDirectory directory;
    writeFile(directory / "tree/file", "1");
    const FailingSystemCall interrupted(SystemCall::openat, EINTR);
    EXPECT_EQ(outcome(files().remove(directory / "tree")), "done");
    EXPECT_TRUE(interrupted.hasFailed());
    EXPECT_FALSE(exists(directory / "tree"));
}

TEST(Remove, FailsWithTheErrorOfReadingADirectory)
{
    const TemporaryDirectory directory;
    writeFile(directory / "tree/file", "1");
    const FailingSystemCall failing(SystemCall::getdents64, EIO);
    EXPECT_EQ(outcome(files().remove(directory / "tree")), failure(EIO));
    EXPECT_EQ(describeItem(directory / "tree/file"), "file 0600 1 B");
}

TEST(ReadSome, FailsWithItsOwnErrorWhenItCannotWaitForMore)
{
    const Pipe pipe;
    ASSERT_EQ(::fcntl(pipe.readEnd.number(), F_SETFL, O_NONBLOCK), 0);
    const FailingSystemCall failing(SystemCall::poll, ENOMEM);
    std::array<char, 4> buffer {};
    const auto count = platform::readSome(pipe.readEnd.number(), buffer);
    ASSERT_FALSE(count);
    EXPECT_EQ(count.error().code, EAGAIN);
}

TEST(RandomUUID, FailsWithTheSystemsError)
{
    const FailingSystemCall failing(SystemCall::getentropy, ENOSYS);
    const auto uuid = platform::randomUUID();
    ASSERT_FALSE(uuid);
    EXPECT_EQ(uuid.error().code, ENOSYS);
}

TEST(HomeDirectory, IsNotThatOfAnEntryWithoutOne)
{
    const PasswordDatabaseEntry entry(nullptr);
    const ScopedVariable notFixed("CFFIXED_USER_HOME", std::nullopt);
    const ScopedVariable home("HOME", "/from/environment");
    EXPECT_EQ(platform::systemUserEnvironment().passwordDatabaseHome(), std::nullopt);
    EXPECT_EQ(files().homeDirectoryForCurrentUser(), "/from/environment");
}

TEST(HomeDirectory, ThatIsEmptyInTheEntryCountsForTheUserAloneAndNotForTheFileSystem)
{
    const PasswordDatabaseEntry entry("");
    const ScopedVariable notFixed("CFFIXED_USER_HOME", std::nullopt);
    const ScopedVariable home("HOME", "/from/environment");
    EXPECT_EQ(platform::systemUserEnvironment().passwordDatabaseHome(), "");
    EXPECT_EQ(files().homeDirectoryForCurrentUser(), "/from/environment");
}

// Starts the probe while that call fails; yields how often it ran.
int startsWith(
    SystemCall call, int error, int number = 1, const std::string& workingDirectory = "/")
{
    const TemporaryDirectory directory;
    Descendants descendants;
    {
        const FailingSystemCall failing(call, error, number);
        platform::startDetached({ launchProbe(), directory / "record" }, {}, workingDirectory);
    }
    descendants.waitForAll();
    return exists(directory / "record") ? LaunchRecord(directory / "record").startCount() : 0;
}

TEST(StartDetached, StartsNothingThatWouldNotBeDetached)
{
    EXPECT_EQ(startsWith(SystemCall::setsid, EPERM), 0);
    for (const int stream : { 1, 2, 3 })
        EXPECT_EQ(startsWith(SystemCall::dup2, EBUSY, stream), 0) << stream;
    EXPECT_EQ(startsWith(SystemCall::dup2, EBUSY, 4), 1); // there is no fourth
}

TEST(StartDetached, StartsNothingWhereNoProcessCanBeMade)
{
    EXPECT_EQ(startsWith(SystemCall::fork, EAGAIN, 1), 0);
    EXPECT_EQ(
        startsWith(SystemCall::fork, EAGAIN, 2), 0); // in the process that makes the detached one
    EXPECT_EQ(startsWith(SystemCall::fork, EAGAIN, 3), 1);
}

TEST(StartDetached, StartsNothingWhereNoDirectoryCanBeEntered)
{
    EXPECT_EQ(startsWith(SystemCall::chdir, EIO, 2, "/nonexistent"), 0);
    EXPECT_EQ(startsWith(SystemCall::chdir, EIO, 1, "/"), 1); // the second attempt succeeds
}

TEST(StartDetached, WaitsOnWhenInterrupted)
{
    const TemporaryDirectory directory;
    makeFIFO(directory / "record");
    const FailingSystemCall interrupted(SystemCall::waitpid, EINTR);
    platform::startDetached({ launchProbe(), directory / "record" }, {}, "/");
    EXPECT_TRUE(interrupted.hasFailed());
    EXPECT_TRUE(hasNoChild());
    // Reading waits for the probe.
    EXPECT_EQ(LaunchRecord(directory / "record").startCount(), 1);
}

TEST(StartDetached, ReturnsWhenItCannotWait)
{
    EXPECT_EQ(startsWith(SystemCall::waitpid, ECHILD), 1);
}

} // namespace
