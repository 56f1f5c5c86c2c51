#include "platform/child_process.h"
#include "platform/process.h"
#include "tests/support/as_other_user.h"
#include "tests/support/environment_variable.h"
#include "tests/support/host_process.h"
#include "tests/support/temporary_directory.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace {

using namespace support;
using platform::ChildProcess;
using platform::ChildProcessOptions;
using std::chrono::milliseconds;

// For what happens at once: long enough that only a hang is noticed.
constexpr milliseconds longTime = std::chrono::minutes(1);
// For what never happens.
constexpr milliseconds shortTime(20);

// More than a pipe holds.
constexpr std::size_t aLot = 1U << 20U;

class ChildProcessTest : public testing::Test {
protected:
    ChildProcessTest()
    {
        platform::ignoreSignalsOfFailedWrites();
        makeFIFO(directory_ / "gate");
    }

    [[nodiscard]] const TemporaryDirectory& directory() const { return directory_; }

    // What a shell command reads from waits as long as it is there.
    [[nodiscard]] std::string gate() const { return directory_ / "gate"; }

private:
    TemporaryDirectory directory_;
};

using ChildProcessStart = ChildProcessTest;
using ChildProcessWrite = ChildProcessTest;
using ChildProcessRead = ChildProcessTest;
using ChildProcessWait = ChildProcessTest;
using ChildProcessGoing = ChildProcessTest;

ChildProcess start(const ChildProcessOptions& options)
{
    auto child = ChildProcess::start(options);
    if (!child)
        throw std::runtime_error(platform::message(child.error()));
    return std::move(*child);
}

// A shell that runs `script`; "$1" and so on are the arguments.
ChildProcess startShell(const std::string& script, const std::vector<std::string>& arguments = {})
{
    ChildProcessOptions options { .arguments = { "/bin/sh", "-c", script, "shell" } };
    options.arguments.insert(options.arguments.end(), arguments.begin(), arguments.end());
    return start(options);
}

std::string outputOf(const ChildProcess& child)
{
    std::string output;
    std::array<char, 4096> buffer {};
    for (auto count = child.read(buffer, longTime); count != 0U;
        count = child.read(buffer, longTime)) {
        if (!count) {
            ADD_FAILURE() << platform::message(count.error());
            break;
        }
        output.append(buffer.data(), *count);
    }
    return output;
}

int errorOf(const auto& result)
{
    return result ? 0 : result.error().code;
}

int errorOfStart(const ChildProcessOptions& options)
{
    return errorOf(ChildProcess::start(options));
}

// The status with which it ended itself; -1 if it did not.
int statusOf(ChildProcess& child)
{
    const auto end = child.wait(longTime);
    return end && end->status && !end->signal ? *end->status : -1;
}

TEST_F(ChildProcessStart, ConnectsStandardInputAndOutput)
{
    ChildProcess child = start({ .arguments = { "/bin/cat" } });
    ASSERT_TRUE(child.write("there and back", longTime));
    std::array<char, 64> buffer {};
    const auto count = child.read(buffer, longTime);
    ASSERT_TRUE(count);
    EXPECT_EQ(std::string_view(buffer.data(), *count), "there and back");
    child.closeInput();
    EXPECT_EQ(outputOf(child), "");
    EXPECT_EQ(statusOf(child), 0);
}

TEST_F(ChildProcessStart, PassesTheArgumentsAsTheyAre)
{
    const ChildProcess child
        = startShell(R"(printf '%s|' "$#" "$@")", { "a b", "", "$HOME", "\xFF" });
    EXPECT_EQ(outputOf(child), "4|a b||$HOME|\xFF|");
}

TEST_F(ChildProcessStart, AddsToTheEnvironment)
{
    const ScopedVariable kept("KESTRANE_TEST_KEPT", "kept");
    const ScopedVariable replaced("KESTRANE_TEST_REPLACED", "old");
    const ChildProcess child = start(
        { .arguments = { "/bin/sh", "-c",
              "echo $KESTRANE_TEST_KEPT,$KESTRANE_TEST_REPLACED,$KESTRANE_TEST_REPLACED_NOT" },
            .addedEnvironment = { "KESTRANE_TEST_REPLACED=new=2" } });
    EXPECT_EQ(outputOf(child), "kept,new=2,\n");
}

TEST_F(ChildProcessStart, RunsItInTheWorkingDirectory)
{
    const ChildProcess child
        = start({ .arguments = { "/bin/sh", "-c", "ls" }, .workingDirectory = directory().path() });
    EXPECT_EQ(outputOf(child), "gate\n");
}

TEST_F(ChildProcessStart, LeavesStandardErrorWhereItIs)
{
    const Pipe pipe;
    inChildProcess([&pipe] {
        ASSERT_EQ(::dup2(pipe.writeEnd.number(), STDERR_FILENO), STDERR_FILENO);
        ChildProcess child = startShell("echo words >&2");
        ASSERT_EQ(statusOf(child), 0);
    });
    EXPECT_EQ(readSome(pipe.readEnd.number(), 64), "words\n");
}

TEST_F(ChildProcessStart, TellsWhyAProgramCannotBeExecuted)
{
    writeFile(directory() / "text", "no program", 0700);
    writeFile(directory() / "plain", "#!/bin/sh\n", 0600);
    EXPECT_EQ(errorOfStart({ .arguments = { directory() / "missing" } }), ENOENT);
    EXPECT_EQ(errorOfStart({ .arguments = { directory() / "plain" } }), EACCES);
    EXPECT_EQ(errorOfStart({ .arguments = { directory() / "text" } }), ENOEXEC);
    EXPECT_EQ(errorOfStart({ .arguments = { directory().path() } }), EACCES);
}

TEST_F(ChildProcessStart, TellsWhyTheWorkingDirectoryCannotBeEntered)
{
    EXPECT_EQ(
        errorOfStart({ .arguments = { "/bin/cat" }, .workingDirectory = "/dev/null" }), ENOTDIR);
    EXPECT_EQ(
        errorOfStart({ .arguments = { "/bin/cat" }, .workingDirectory = directory() / "missing" }),
        ENOENT);
}

// Otherwise a pipe would take the place of a stream, here or in the program.
TEST_F(ChildProcessStart, ConnectsItAlsoWhereTheStandardStreamsAreClosed)
{
    for (const auto& closed : { std::vector { 0 }, { 1 }, { 0, 1 }, { 0, 1, 2 } }) {
        inChildProcess([&closed] {
            for (const int stream : closed)
                ::close(stream);
            ChildProcess child = start({ .arguments = { "/bin/cat" } });
            for (const int stream : closed)
                EXPECT_EQ(::fcntl(stream, F_GETFD), -1);
            ASSERT_TRUE(child.write("text", longTime));
            child.closeInput();
            EXPECT_EQ(outputOf(child), "text");
            EXPECT_EQ(statusOf(child), 0);
        });
    }
}

TEST_F(ChildProcessStart, KeepsNoDescriptorAfterAFailure)
{
    const int before = ::dup(STDIN_FILENO);
    ::close(before);
    EXPECT_EQ(errorOfStart({ .arguments = { directory() / "missing" } }), ENOENT);
    const int after = ::dup(STDIN_FILENO);
    ::close(after);
    EXPECT_EQ(after, before);
}

TEST_F(ChildProcessWrite, WritesMoreThanAPipeHolds)
{
    ChildProcess child = startShell("wc -c");
    ASSERT_TRUE(child.write(std::string(aLot, 'x'), longTime));
    child.closeInput();
    EXPECT_EQ(std::stoul(outputOf(child)), aLot);
}

TEST_F(ChildProcessWrite, FailsWhereTheProgramHasClosedItsInput)
{
    const ChildProcess child = startShell("exec 0<&-; echo closed; read line < \"$1\"", { gate() });
    std::array<char, 16> buffer {};
    ASSERT_TRUE(child.read(buffer, longTime));
    EXPECT_EQ(errorOf(child.write("x", longTime)), EPIPE);
}

TEST_F(ChildProcessWrite, FailsWhenTheTimeIsOver)
{
    const ChildProcess child = startShell("read line < \"$1\"", { gate() });
    EXPECT_EQ(errorOf(child.write(std::string(aLot, 'x'), shortTime)), ETIMEDOUT);
    EXPECT_EQ(errorOf(child.write("x", milliseconds(0))), ETIMEDOUT);
}

TEST_F(ChildProcessWrite, FailsAfterTheInputWasClosed)
{
    ChildProcess child = start({ .arguments = { "/bin/cat" } });
    child.closeInput();
    child.closeInput();
    EXPECT_EQ(errorOf(child.write("x", longTime)), EBADF);
}

TEST_F(ChildProcessRead, FailsWhenTheTimeIsOverAndGoesOnAfterwards)
{
    const ChildProcess child = start({ .arguments = { "/bin/cat" } });
    std::array<char, 16> buffer {};
    EXPECT_EQ(errorOf(child.read(buffer, shortTime)), ETIMEDOUT);
    EXPECT_EQ(errorOf(child.read(buffer, milliseconds(0))), ETIMEDOUT);
    ASSERT_TRUE(child.write("late", longTime));
    EXPECT_EQ(child.read(buffer, longTime), 4U);
}

TEST_F(ChildProcessRead, YieldsNothingAtTheEnd)
{
    const ChildProcess child = startShell("printf some");
    EXPECT_EQ(outputOf(child), "some");
    std::array<char, 16> buffer {};
    EXPECT_EQ(child.read(buffer, longTime), 0U);
}

TEST_F(ChildProcessWait, TellsTheStatus)
{
    for (const int status : { 0, 1, 255 }) {
        ChildProcess child = startShell("exit $1", { std::to_string(status) });
        EXPECT_EQ(statusOf(child), status);
    }
}

// Whoever starts this process may have it so; then the system keeps no status.
TEST_F(ChildProcessWait, TellsTheStatusAlsoWhereTheSignalOfItWasIgnored)
{
    inChildProcess([] {
        ASSERT_NE(std::signal(SIGCHLD, SIG_IGN), SIG_ERR);
        ChildProcess child = startShell("exit 3");
        EXPECT_EQ(statusOf(child), 3);
    });
}

TEST_F(ChildProcessWait, TellsTheSignal)
{
    ChildProcess child = startShell("kill -9 $$");
    const auto end = child.wait(longTime);
    ASSERT_TRUE(end);
    EXPECT_EQ(end->signal, SIGKILL);
    EXPECT_EQ(end->status, std::nullopt);
}

TEST_F(ChildProcessWait, FailsWhenTheTimeIsOverAndCanBeRepeated)
{
    ChildProcess child = start({ .arguments = { "/bin/cat" } });
    EXPECT_EQ(errorOf(child.wait(milliseconds(0))), ETIMEDOUT);
    EXPECT_EQ(errorOf(child.wait(shortTime)), ETIMEDOUT);
    child.closeInput();
    EXPECT_EQ(statusOf(child), 0);
    EXPECT_EQ(statusOf(child), 0);
}

TEST_F(ChildProcessWait, DropsWhatIsStillWritten)
{
    ChildProcess child = startShell("head -c $1 /dev/zero; exit 5", { std::to_string(aLot) });
    EXPECT_EQ(statusOf(child), 5);
}

TEST_F(ChildProcessWait, IsNotHeldUpByOutputWithoutEnd)
{
    ChildProcess child = startShell("exec cat /dev/zero");
    EXPECT_EQ(errorOf(child.wait(shortTime)), ETIMEDOUT);
}

TEST_F(ChildProcessWait, SeesTheEndOfAProgramThatClosesItsOutputEarly)
{
    ChildProcess child = startShell("exec 1>&-; read line; exit 6");
    EXPECT_EQ(errorOf(child.wait(shortTime)), ETIMEDOUT);
    child.closeInput();
    EXPECT_EQ(statusOf(child), 6);
}

TEST_F(ChildProcessWait, SeesTheEndWhereSomebodyElseHoldsTheOutput)
{
    ChildProcess child = startShell("read line < \"$1\" & exit 7", { gate() });
    EXPECT_EQ(statusOf(child), 7);
    // Lets the one that holds it go.
    const Descriptor opened(::open(gate().c_str(), O_RDWR));
    EXPECT_EQ(::write(opened.number(), "\n", 1), 1);
    EXPECT_EQ(outputOf(child), "");
}

TEST_F(ChildProcessGoing, KillsAProgramThatRuns)
{
    std::int32_t identifier = 0;
    {
        const ChildProcess child = startShell("echo $$; read line < \"$1\"", { gate() });
        std::array<char, 16> buffer {};
        const auto count = child.read(buffer, longTime);
        ASSERT_TRUE(count);
        identifier = std::stoi(std::string(buffer.data(), *count));
        ASSERT_TRUE(platform::processExists(identifier));
    }
    EXPECT_FALSE(platform::processExists(identifier));
}

TEST_F(ChildProcessGoing, LeavesTheProgramToTheOneItWasMovedTo)
{
    std::optional<ChildProcess> first(start({ .arguments = { "/bin/cat" } }));
    ChildProcess second(std::move(*first));
    first.reset();
    ASSERT_TRUE(second.write("alive", longTime));
    second.closeInput();
    EXPECT_EQ(outputOf(second), "alive");
    EXPECT_EQ(statusOf(second), 0);
}

TEST_F(ChildProcessGoing, KeepsNoDescriptor)
{
    const int before = ::dup(STDIN_FILENO);
    ::close(before);
    {
        ChildProcess child = start({ .arguments = { "/bin/cat" } });
        child.closeInput();
        ASSERT_EQ(statusOf(child), 0);
    }
    const int after = ::dup(STDIN_FILENO);
    ::close(after);
    EXPECT_EQ(after, before);
}

} // namespace
