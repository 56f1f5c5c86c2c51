#include "platform/detached_process.h"
#include "tests/platform/launch_record.h"
#include "tests/support/as_other_user.h"
#include "tests/support/host_process.h"
#include "tests/support/temporary_directory.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace support;
using Texts = std::vector<std::string>;

const Texts noVariables;

// Starts the probe and waits for its end.
LaunchRecord recordOfStart(const TemporaryDirectory& directory,
    const Texts& environment = noVariables, const std::string& workingDirectory = "/")
{
    Descendants descendants;
    platform::startDetached({ launchProbe(), directory / "record" }, environment, workingDirectory);
    descendants.waitForAll();
    return LaunchRecord(directory / "record");
}

TEST(StartDetached, StartsTheProgramOnceInASessionOfItsOwn)
{
    const TemporaryDirectory directory;
    const LaunchRecord record = recordOfStart(directory);
    EXPECT_EQ(record.startCount(), 1);
    EXPECT_EQ(record.value("arguments"), "2");
    EXPECT_NE(record.value("session"), std::to_string(::getsid(0)));
    // A leader could make a terminal its own.
    EXPECT_NE(record.value("session"), record.value("process"));
    EXPECT_EQ(record.value("terminal"), "none");
}

TEST(StartDetached, GivesItTheNullDeviceAndNoOtherFile)
{
    const TemporaryDirectory directory;
    const Pipe pipe;
    const int inheritable = ::dup(pipe.writeEnd.number());
    const int high = ::fcntl(inheritable, F_DUPFD, 900);
    ASSERT_GE(high, 900);
    const LaunchRecord record = recordOfStart(directory);
    ::close(inheritable);
    ::close(high);
    EXPECT_EQ(record.value("descriptor0"), "/dev/null");
    EXPECT_EQ(record.value("descriptor1"), "/dev/null");
    EXPECT_EQ(record.value("descriptor2"), "/dev/null");
    for (int number = 3; number < 1024; ++number)
        EXPECT_EQ(record.values("descriptor" + std::to_string(number)), Texts {});
}

TEST(StartDetached, GivesItTheNullDeviceAlsoWhereTheStandardStreamsAreClosed)
{
    const TemporaryDirectory directory;
    inChildProcess([&directory] {
        for (const int stream : { STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO })
            ::close(stream);
        std::ignore = recordOfStart(directory);
    });
    const LaunchRecord record(directory / "record");
    EXPECT_EQ(record.startCount(), 1);
    EXPECT_EQ(record.value("descriptor0"), "/dev/null");
    EXPECT_EQ(record.value("descriptor1"), "/dev/null");
    EXPECT_EQ(record.value("descriptor2"), "/dev/null");
    EXPECT_EQ(record.values("descriptor3"), Texts {});
}

void ignoreAndBlockSignals()
{
    for (const int signal : { SIGPIPE, SIGHUP, SIGXFSZ, SIGRTMAX })
        ASSERT_NE(std::signal(signal, SIG_IGN), SIG_ERR);
    sigset_t all;
    ::sigfillset(&all);
    ASSERT_EQ(::sigprocmask(SIG_SETMASK, &all, nullptr), 0);
}

TEST(StartDetached, GivesItDefaultSignalDispositionsAndAnEmptyMask)
{
    const TemporaryDirectory directory;
    inChildProcess([&directory] {
        ignoreAndBlockSignals();
        const LaunchRecord record = recordOfStart(directory);
        EXPECT_EQ(record.value("SigIgn:"), "0000000000000000");
        EXPECT_EQ(record.value("SigBlk:"), "0000000000000000");
    });
}

TEST(StartDetached, GivesItThisEnvironmentAndNoOther)
{
    const TemporaryDirectory directory;
    const LaunchRecord record = recordOfStart(directory, { "A=1", "B=", "C=x=y" });
    EXPECT_EQ(record.values("variable"), (Texts { "A=1", "B=", "C=x=y" }));
}

TEST(StartDetached, StartsItInTheWorkingDirectoryOrElseInTheRoot)
{
    const TemporaryDirectory directory;
    makeDirectory(directory / "work");
    EXPECT_EQ(recordOfStart(directory, noVariables, directory / "work").value("directory"),
        directory / "work");
    for (const char* const missing : { "", "/nonexistent", "/dev/null" })
        EXPECT_EQ(
            recordOfStart(TemporaryDirectory(), noVariables, missing).value("directory"), "/");
}

// A caller that became the launcher would end with success, and no failure would be told.
TEST(StartDetached, ReturnsInTheProcessThatCalledIt)
{
    const TemporaryDirectory directory;
    inChildProcess([&directory] {
        const pid_t caller = ::getpid();
        std::ignore = recordOfStart(directory);
        if (::getpid() == caller)
            writeFile(directory / "returned", "");
    });
    EXPECT_TRUE(exists(directory / "returned"));
}

TEST(StartDetached, LeavesNoChildBehind)
{
    const TemporaryDirectory directory;
    makeFIFO(directory / "record");
    ASSERT_TRUE(hasNoChild());
    platform::startDetached({ launchProbe(), directory / "record" }, noVariables, "/");
    EXPECT_TRUE(hasNoChild());
    // Reading waits for the probe.
    EXPECT_EQ(LaunchRecord(directory / "record").startCount(), 1);
    EXPECT_TRUE(hasNoChild());
}

// The probe waits for the gate, so returning shows that nobody waits for the probe; the end of the
// pipe shows that nothing holds it.
TEST(StartDetached, ReturnsBeforeTheProgramRunsAndKeepsNoPipeOpen)
{
    const TemporaryDirectory directory;
    makeFIFO(directory / "gate");
    Descendants descendants;
    Pipe pipe;
    const int inheritable = ::dup(pipe.writeEnd.number());
    platform::startDetached(
        { launchProbe(), directory / "record", directory / "gate" }, noVariables, "/");
    EXPECT_FALSE(exists(directory / "record"));

    ::close(inheritable);
    pipe.writeEnd.close();
    ASSERT_EQ(::fcntl(pipe.readEnd.number(), F_SETFL, O_NONBLOCK), 0);
    char byte = 0;
    EXPECT_EQ(::read(pipe.readEnd.number(), &byte, 1), 0) << std::strerror(errno);

    const int gate = ::open((directory / "gate").c_str(), O_WRONLY);
    EXPECT_EQ(descendants.waitForAll(), 1);
    ::close(gate);
    EXPECT_EQ(LaunchRecord(directory / "record").startCount(), 1);
}

TEST(StartDetached, DoesNothingWithAProgramThatCannotBeStarted)
{
    const TemporaryDirectory directory;
    writeFile(directory / "text", "no program", 0700);
    writeFile(directory / "plain", "#!/bin/sh\n", 0600);
    for (const std::string& program :
        { directory / "missing", directory / "text", directory / "plain", directory.path() }) {
        SCOPED_TRACE(program);
        Descendants descendants;
        platform::startDetached({ program, directory / "record" }, noVariables, "/");
        EXPECT_EQ(descendants.waitForAll(), 1);
        EXPECT_FALSE(exists(directory / "record"));
    }
}

TEST(StartDetached, DoesNothingWithoutANullDevice)
{
    if (!isRoot())
        GTEST_SKIP() << "only root can take the null device away";
    const TemporaryDirectory directory;
    inChildProcess([&directory] {
        if (::unshare(CLONE_NEWNS) != 0
            || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0
            || ::mount("none", "/dev", "tmpfs", 0, nullptr) != 0)
            GTEST_SKIP() << "mounting is not permitted here: " << std::strerror(errno);
        Descendants descendants;
        platform::startDetached({ launchProbe(), directory / "record" }, noVariables, "/");
        EXPECT_EQ(descendants.waitForAll(), 0);
    });
    EXPECT_FALSE(exists(directory / "record"));
}

// A child of this process's own is not mistaken for one that was to be started.
void startWhereNoProcessCanBeMade()
{
    const pid_t own = ::fork();
    if (own == 0)
        ::_exit(0);
    ASSERT_GT(own, 0);
    const rlimit one { .rlim_cur = 1, .rlim_max = 1 };
    ASSERT_EQ(::setrlimit(RLIMIT_NPROC, &one), 0);
    platform::startDetached({ launchProbe(), "/dev/null" }, noVariables, "/");
    EXPECT_EQ(::waitpid(-1, nullptr, 0), own);
    EXPECT_TRUE(hasNoChild());
}

TEST(StartDetached, DoesNothingWhereNoProcessCanBeMade)
{
    if (isRoot())
        asUser(unprivilegedUser, startWhereNoProcessCanBeMade);
    else
        inChildProcess(startWhereNoProcessCanBeMade);
}

} // namespace
