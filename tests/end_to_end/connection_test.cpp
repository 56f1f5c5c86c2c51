#include "tests/end_to_end/end_to_end_test.h"

#include <gtest/gtest.h>

#include <csignal>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

using namespace end_to_end;

const object ping = request("readinessPing", { { "extensionVersion", "1.0.0" } });

class Connection : public EndToEnd {
protected:
    // What a session that identified the browser leaves behind at its end.
    void expectTracesOfTheEnd()
    {
        ASSERT_FALSE(readiness().empty());
        EXPECT_EQ(readiness().at("connectionAvailable"), false);
        const auto events = inbox();
        ASSERT_EQ(events.size(), 1U);
        EXPECT_EQ(events.front().event.at("eventType"), "extensionDisconnected");
    }
};

TEST_F(Connection, ArgumentsAreIgnored)
{
    support::HostOptions withArguments = options();
    withArguments.arguments = { "chrome-extension://abcdefghijklmnop/", "--help", "", "--version" };
    startHost(withArguments);
    EXPECT_EQ(ask(ping).at("accepted"), true);
    expectEnd();
    expectTracesOfTheEnd();
}

TEST_F(Connection, TheEndOfTheInputEndsTheSession)
{
    EXPECT_EQ(ask(ping).at("accepted"), true);
    EXPECT_EQ(readiness().at("connectionAvailable"), true);
    EXPECT_EQ(inbox().size(), 0U);
    expectEnd();
    expectTracesOfTheEnd();
}

TEST_F(Connection, ABrowserThatReadsNoMoreDoesNotEndTheSession)
{
    host().closeOutput();
    for (int requests = 0; requests < 3; ++requests)
        send(ping);
    host().closeInput();
    EXPECT_EQ(host().wait(), 0);
    EXPECT_EQ(host().standardError(), "");
    expectTracesOfTheEnd();
}

TEST_F(Connection, ABrowserThatDiesWhileItIsAnsweredLeavesTheTracesOfTheEnd)
{
    send(ping);
    host().closeOutput();
    host().closeInput();
    EXPECT_EQ(host().wait(), 0);
    EXPECT_EQ(host().standardError(), "");
    expectTracesOfTheEnd();
}

TEST_F(Connection, AFullDeviceAsOutputDoesNotEndTheSession)
{
    const support::Descriptor full(::open("/dev/full", O_WRONLY | O_CLOEXEC));
    if (full.number() < 0)
        GTEST_SKIP() << "this system has no /dev/full";
    support::HostOptions toFullDevice = options();
    toFullDevice.standardOutput = full.number();
    startHost(toFullDevice);
    send(ping);
    expectEnd();
    expectTracesOfTheEnd();
}

TEST_F(Connection, FilesBeyondTheSizeLimitAreRefusedAndTheSessionGoesOn)
{
    support::HostOptions limited = options();
    limited.beforeStart = [] {
        const rlimit limit { .rlim_cur = 16, .rlim_max = 16 };
        ::setrlimit(RLIMIT_FSIZE, &limit);
        std::signal(SIGXFSZ, SIG_DFL);
    };
    startHost(limited);
    const object answer = ask(activity());
    EXPECT_EQ(answer.at("accepted"), false);
    EXPECT_EQ(answer.at("error"), "File too large");
    EXPECT_EQ(ask(ping).at("accepted"), true);
    expectEnd();
    EXPECT_EQ(support::namesIn(pathOf("Inbox")), std::vector<std::string> {});
    EXPECT_EQ(support::namesIn(pathOf("Readiness")), std::vector<std::string> {});
}

TEST_F(Connection, ClosedInputIsTheEndOfTheSession)
{
    support::HostOptions withoutInput = options();
    withoutInput.standardInput = support::HostOptions::closedStream;
    startHost(withoutInput);
    expectEnd();
    EXPECT_EQ(namesMadeByHost(), std::vector<std::string> {});
}

TEST_F(Connection, ClosedOutputDoesNotEndTheSession)
{
    support::HostOptions withoutOutput = options();
    withoutOutput.standardOutput = support::HostOptions::closedStream;
    startHost(withoutOutput);
    leaveCommand("1.command");
    send(ping);
    send(ping);
    expectEnd();
    expectTracesOfTheEnd();
    // No file took the place of the stream and received a response.
    for (const char* const name : { "bridge-token", "state.json" }) {
        const std::string contents = support::readFile(pathOf(name));
        EXPECT_EQ(contents.find("nativeHostVersion"), std::string::npos) << name;
    }
}

TEST_F(Connection, ClosedErrorStreamIsNotMissed)
{
    support::HostOptions withoutError = options();
    withoutError.standardError = support::HostOptions::closedStream;
    startHost(withoutError);
    EXPECT_EQ(ask(ping).at("accepted"), true);
    expectEnd();
    expectTracesOfTheEnd();
}

TEST_F(Connection, NoStreamAtAllIsTheEndOfTheSession)
{
    support::HostOptions without = options();
    without.standardInput = support::HostOptions::closedStream;
    without.standardOutput = support::HostOptions::closedStream;
    without.standardError = support::HostOptions::closedStream;
    startHost(without);
    expectEnd();
    EXPECT_EQ(namesMadeByHost(), std::vector<std::string> {});
}

TEST_F(Connection, TheNullDeviceAsInputIsTheEndOfTheSession)
{
    const support::Descriptor null(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    support::HostOptions fromNull = options();
    fromNull.standardInput = null.number();
    startHost(fromNull);
    expectEnd();
    EXPECT_EQ(namesMadeByHost(), std::vector<std::string> {});
}

TEST_F(Connection, ADirectoryAsInputIsTheEndOfTheSession)
{
    const support::Descriptor ours(
        ::open(directory().path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    support::HostOptions fromDirectory = options();
    fromDirectory.standardInput = ours.number();
    startHost(fromDirectory);
    expectEnd();
    EXPECT_EQ(namesMadeByHost(), std::vector<std::string> {});
}

TEST_F(Connection, InputThatDoesNotBlockIsWaitedFor)
{
    support::Pipe pipe;
    ASSERT_EQ(::fcntl(pipe.readEnd.number(), F_SETFL, O_NONBLOCK), 0);
    support::HostOptions notBlocking = options();
    notBlocking.standardInput = pipe.readEnd.number();
    startHost(notBlocking);
    pipe.readEnd.close();
    const std::string bytes = support::frame(boost::json::serialize(ping));
    for (const std::string_view piece :
        { std::string_view(bytes).substr(0, 9), std::string_view(bytes).substr(9) })
        ASSERT_EQ(::write(pipe.writeEnd.number(), piece.data(), piece.size()),
            static_cast<ssize_t>(piece.size()));
    EXPECT_EQ(receive().at("accepted"), true);
    pipe.writeEnd.close();
    expectEnd();
}

TEST_F(Connection, EveryHostServesItsOwnConnection)
{
    support::HostProcess other(options());
    other.sendFrame(boost::json::serialize(activity({ { "localFilePermission", "enabled" } })));
    const auto answer = other.readFrame();
    ASSERT_TRUE(answer);
    EXPECT_EQ(parse(*answer).at("localFilePermission"), "enabled");
    EXPECT_FALSE(ask(ping).contains("localFilePermission"));
    expectEnd();
    other.closeInput();
    EXPECT_EQ(other.wait(), 0);
    EXPECT_EQ(inbox().size(), 3U); // the event, and one end of each connection
}

} // namespace
