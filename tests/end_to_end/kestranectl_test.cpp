// The built tool, which starts the built host.

#include "tests/end_to_end/end_to_end_test.h"
#include "tests/support/host_process.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace {

using namespace end_to_end;
using support::HostOptions;
using support::HostProcess;

constexpr int success = 0;
// As waitpid(2) tells them.
constexpr int problem = 1 << 8;
constexpr int usage = 2 << 8;

class Kestranectl : public EndToEnd {
protected:
    Kestranectl()
    {
        if (!support::exists(root()))
            support::makeDirectory(root());
    }

    [[nodiscard]] HostOptions tool(const std::vector<std::string>& arguments) const
    {
        return {
            .executable = KESTRANECTL, .arguments = arguments, .environment = options().environment
        };
    }

    // A conversation with the host that was built.
    [[nodiscard]] HostOptions connection(const std::vector<std::string>& requests = {}) const
    {
        std::vector<std::string> arguments { "connect", "--host", options().executable };
        arguments.insert(arguments.end(), requests.begin(), requests.end());
        return tool(arguments);
    }
};

struct Outcome {
    std::string output;
    std::string error;
    int status = -1;
};

Outcome endOf(HostProcess& process)
{
    Outcome outcome;
    outcome.output = process.readOutputToEnd();
    outcome.status = process.wait();
    outcome.error = process.standardError();
    return outcome;
}

Outcome run(const HostOptions& options)
{
    HostProcess process(options);
    return endOf(process);
}

TEST_F(Kestranectl, ConnectHandsAnEventToTheApplication)
{
    const Outcome outcome = run(connection({ "activity=Example.com" }));
    EXPECT_EQ(outcome.error, "");
    EXPECT_EQ(outcome.status, success);
    EXPECT_EQ(outcome.output.find('\n'), outcome.output.size() - 1);
    EXPECT_EQ(parse(outcome.output).at("accepted"), true);
    EXPECT_EQ(parse(outcome.output).at("sessionRunning"), true);
    const auto events = inbox();
    ASSERT_EQ(events.size(), 2U);
    EXPECT_EQ(events.front().event.at("hostname"), "example.com");
    EXPECT_EQ(events.front().event.at("eventType"), "tabActivated");
    EXPECT_EQ(events.back().event.at("eventType"), "extensionDisconnected");
}

TEST_F(Kestranectl, ConnectLetsTheHostEndAsABrowserDoes)
{
    EXPECT_EQ(run(connection({ "ping" })).status, success);
    const object record = readiness();
    EXPECT_EQ(record.at("extensionVersion"), "0.0.0");
    EXPECT_EQ(record.at("connectionAvailable"), false);
}

TEST_F(Kestranectl, ConnectUsesTheBridgeDirectoryThatItIsTold)
{
    HostOptions elsewhere = connection({ "active", "--directory", root() });
    elsewhere.environment = { "MERROWIN_BRIDGE_DIR=/nonexistent" };
    EXPECT_EQ(run(elsewhere).status, success);
    EXPECT_EQ(inbox().size(), 2U);
}

TEST_F(Kestranectl, ConnectTellsWhatTheHostRefuses)
{
    bridge::BrowserBridgeState state = liveState();
    state.sessionRunning = false;
    leaveState(state);
    const Outcome outcome = run(connection({ "ping", "active", "{}" }));
    EXPECT_EQ(outcome.status, problem);
    EXPECT_EQ(outcome.error,
        "kestranectl: Request 2: Not accepted: No Kestrane session is currently running.\n"
        "kestranectl: Request 3: Not accepted: Malformed Kestrane native-messaging request.\n");
}

TEST_F(Kestranectl, ConnectAnswersEachLineOfItsInput)
{
    HostProcess process(connection());
    for (int i = 0; i < 3; ++i) {
        process.sendBytes("ping\n");
        const std::string answer = support::readSome(process.outputDescriptor(), 65536);
        EXPECT_EQ(parse(answer).at("accepted"), true);
    }
    process.closeInput();
    const Outcome outcome = endOf(process);
    EXPECT_EQ(outcome.output + outcome.error, "");
    EXPECT_EQ(outcome.status, success);
}

TEST_F(Kestranectl, FindsTheHostThatWasInstalledWithIt)
{
    namespace fs = std::filesystem;
    HostOptions installed = tool({ "connect", "ping" });
    installed.executable = directory() / "usr/bin/kestranectl";
    support::makeDirectory(directory() / "usr");
    support::makeDirectory(directory() / "usr/bin");
    fs::copy_file(KESTRANECTL, installed.executable);
    const Outcome without = run(installed);
    EXPECT_EQ(without.status, problem);
    EXPECT_NE(without.error.find("--host PATH"), std::string::npos) << without.error;

    fs::create_directories(directory() / "usr/libexec/kestrane");
    fs::copy_file(options().executable, directory() / "usr/libexec/kestrane/kestrane-native-host");
    const Outcome with = run(installed);
    EXPECT_EQ(with.error, "");
    EXPECT_EQ(with.status, success);
}

TEST_F(Kestranectl, ExplainsItself)
{
    for (const auto& words : std::vector<std::vector<std::string>> {
             { "--help" }, { "--version" }, { "watch", "--help" }, { "decode-length", "3" } }) {
        const Outcome outcome = run(tool(words));
        EXPECT_EQ(outcome.error, "");
        EXPECT_EQ(outcome.status, success);
        EXPECT_TRUE(outcome.output.ends_with('\n'));
    }
}

TEST_F(Kestranectl, EndsWithStatusTwoWhereTheWordsMakeNoSense)
{
    for (const auto& words : std::vector<std::vector<std::string>> {
             {}, { "wacht" }, { "connect", "pong" }, { "decode-length", "x" } }) {
        const Outcome outcome = run(tool(words));
        EXPECT_EQ(outcome.output, "");
        EXPECT_NE(outcome.error, "");
        EXPECT_EQ(outcome.status, usage);
    }
}

// What the tool says must not get into a file that it opens, nor a signal end it.
TEST_F(Kestranectl, WorksWithoutStandardStreams)
{
    HostOptions bare = connection({ "active" });
    bare.standardInput = bare.standardOutput = bare.standardError = HostOptions::closedStream;
    HostProcess process(bare);
    EXPECT_EQ(process.wait(), success);
    EXPECT_EQ(inbox().size(), 2U);
}

TEST_F(Kestranectl, EndsQuietlyWhereNobodyReadsItsOutput)
{
    support::Pipe output;
    HostOptions unread = connection();
    unread.standardOutput = output.writeEnd.number();
    HostProcess process(unread);
    output.writeEnd.close();
    output.readEnd.close();
    process.sendBytes("ping\n");
    EXPECT_EQ(process.wait(), problem);
    EXPECT_EQ(process.standardError(), "");
}

TEST_F(Kestranectl, SaysThatThereIsNoRoomForItsOutput)
{
    const support::Descriptor full(::open("/dev/full", O_WRONLY | O_CLOEXEC));
    if (full.number() < 0)
        GTEST_SKIP() << "this system has no /dev/full";
    HostOptions options = tool({ "--version" });
    options.standardOutput = full.number();
    HostProcess process(options);
    EXPECT_EQ(process.wait(), problem);
    EXPECT_EQ(process.standardError(),
        "kestranectl: The output cannot be written: No space left on device.\n");
}

} // namespace
