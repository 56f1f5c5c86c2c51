// What a program is started with, as it sees it itself.

#include "platform/child_process.h"
#include "platform/process.h"
#include "tests/platform/launch_record.h"
#include "tests/support/as_other_user.h"
#include "tests/support/host_process.h"
#include "tests/support/temporary_directory.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdint>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace {

using namespace support;

LaunchRecord recordOfStart(const TemporaryDirectory& directory)
{
    auto child = platform::ChildProcess::start(
        { .arguments = { launchProbe(), directory / "record" }, .workingDirectory = "/" });
    EXPECT_TRUE(child && child->wait(std::chrono::minutes(1)));
    return LaunchRecord(directory / "record");
}

TEST(ChildProcessSurroundings, GivesItTwoPipesAndNoOtherFile)
{
    const TemporaryDirectory directory;
    const Pipe pipe;
    const int inheritable = ::dup(pipe.writeEnd.number());
    const int high = ::fcntl(inheritable, F_DUPFD, 900);
    ASSERT_GE(high, 900);
    const LaunchRecord record = recordOfStart(directory);
    // Those of this process are as they were.
    EXPECT_EQ(::fcntl(inheritable, F_GETFD), 0);
    ::close(inheritable);
    ::close(high);
    EXPECT_TRUE(record.value("descriptor0").starts_with("pipe:"));
    EXPECT_TRUE(record.value("descriptor1").starts_with("pipe:"));
    EXPECT_NE(record.value("descriptor0"), record.value("descriptor1"));
    for (int number = 3; number < 1024; ++number)
        EXPECT_EQ(record.values("descriptor" + std::to_string(number)), std::vector<std::string> {})
            << number;
}

TEST(ChildProcessSurroundings, GivesItDefaultSignalDispositionsAndAnEmptyMask)
{
    const TemporaryDirectory directory;
    inChildProcess([&directory] {
        platform::ignoreSignalsOfFailedWrites();
        ASSERT_NE(std::signal(SIGHUP, SIG_IGN), SIG_ERR);
        ASSERT_NE(std::signal(SIGRTMAX, SIG_IGN), SIG_ERR);
        sigset_t all;
        ::sigfillset(&all);
        ASSERT_EQ(::sigprocmask(SIG_SETMASK, &all, nullptr), 0);
        const LaunchRecord record = recordOfStart(directory);
        // The C library keeps the signals below SIGRTMIN to itself, and ignores them in programs
        // that it starts.
        std::uint64_t ignored = std::stoull(record.value("SigIgn:"), nullptr, 16);
        for (int signal = SIGSYS + 1; signal < SIGRTMIN; ++signal)
            ignored &= ~(std::uint64_t { 1 } << (signal - 1));
        EXPECT_EQ(ignored, 0U);
        EXPECT_EQ(record.value("SigBlk:"), "0000000000000000");
    });
}

TEST(ChildProcessSurroundings, LeavesItInThisSession)
{
    const TemporaryDirectory directory;
    const LaunchRecord record = recordOfStart(directory);
    EXPECT_EQ(record.value("session"), std::to_string(::getsid(0)));
    EXPECT_EQ(record.value("arguments"), "2");
    EXPECT_EQ(record.value("directory"), "/");
}

} // namespace
