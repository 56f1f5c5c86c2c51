#include "tests/end_to_end/end_to_end_test.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <string>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using namespace end_to_end;

const object ping = request("readinessPing", { { "extensionVersion", "1.0.0" } });

std::string textOf(const object& json)
{
    return boost::json::serialize(json);
}

class Framing : public EndToEnd { };

TEST_F(Framing, ClosingTheInputBeforeAnyRequestLeavesNoTrace)
{
    host().closeInput();
    expectEnd();
    EXPECT_EQ(namesMadeByHost(), std::vector<std::string> {});
}

TEST_F(Framing, TakesAFrameInSingleBytes)
{
    for (const char byte : support::frame(textOf(ping)))
        host().sendBytes({ &byte, 1 });
    EXPECT_EQ(receive().at("accepted"), true);
    expectEnd();
}

TEST_F(Framing, AnswersSeveralFramesOfOneWriteInTheirOrder)
{
    host().sendBytes(support::frame(textOf(ping)) + support::frame("no JSON")
        + support::frame(textOf(request("openMerrowin", { { "protocolVersion", 2 } })))
        + support::frame(textOf(request("trackingPauseChanged", { { "paused", false } }))));
    EXPECT_EQ(receive().at("accepted"), true);
    EXPECT_EQ(receive().at("error"), "Malformed Kestrane native-messaging request.");
    EXPECT_EQ(receive().at("error"), "Unsupported Kestrane native-messaging protocol version.");
    EXPECT_EQ(receive().at("accepted"), true);
    expectEnd();
}

TEST_F(Framing, TakesTheEndOfAFrameAndTheBeginningOfTheNextInOneWrite)
{
    const std::string frames = support::frame(textOf(ping)) + support::frame(textOf(ping));
    host().sendBytes(std::string_view(frames).substr(0, frames.size() / 2 + 2));
    EXPECT_EQ(receive().at("accepted"), true);
    host().sendBytes(std::string_view(frames).substr(frames.size() / 2 + 2));
    EXPECT_EQ(receive().at("accepted"), true);
    expectEnd();
}

TEST_F(Framing, AFrameOfTheGreatestLengthIsAnswered)
{
    host().sendFrame(paddedTo(16384, ping));
    EXPECT_EQ(receive().at("accepted"), true);
    expectEnd();
}

TEST_F(Framing, AFrameOneByteTooLongEndsTheSessionUnanswered)
{
    host().sendFrame(paddedTo(16385, ping));
    EXPECT_EQ(host().readOutputToEnd(), "");
    expectEnd();
    EXPECT_EQ(namesMadeByHost(), std::vector<std::string> {});
}

TEST_F(Framing, AFrameThatIsTooLongRunsTheEndOfTheSession)
{
    EXPECT_EQ(ask(ping).at("accepted"), true);
    EXPECT_EQ(readiness().at("connectionAvailable"), true);
    host().sendFrame(paddedTo(16385, ping));
    EXPECT_EQ(host().readOutputToEnd(), ""); // with the input still open
    expectEnd();
    EXPECT_EQ(readiness().at("connectionAvailable"), false);
    ASSERT_EQ(inbox().size(), 1U);
    EXPECT_EQ(inbox().front().event.at("eventType"), "extensionDisconnected");
}

TEST_F(Framing, TheGreatestLengthThatCanBeNamedEndsTheSession)
{
    host().sendBytes(std::string(4, '\xFF') + textOf(ping));
    EXPECT_EQ(host().readOutputToEnd(), "");
    expectEnd();
}

TEST_F(Framing, AnEmptyFrameEndsTheSessionEvenIfMoreFramesFollow)
{
    host().sendBytes(
        support::frame(textOf(ping)) + support::frame("") + support::frame(textOf(ping)));
    EXPECT_EQ(receive().at("accepted"), true);
    EXPECT_EQ(host().readOutputToEnd(), "");
    expectEnd();
    EXPECT_EQ(readiness().at("connectionAvailable"), false);
}

TEST_F(Framing, ALengthCutShortEndsTheSessionUnanswered)
{
    for (const std::size_t count : { 1U, 2U, 3U }) {
        SCOPED_TRACE(count);
        startHost(options()).sendBytes(support::frame(textOf(ping)).substr(0, count));
        expectEnd();
    }
    EXPECT_EQ(namesMadeByHost(), std::vector<std::string> {});
}

TEST_F(Framing, APayloadCutShortEndsTheSessionUnanswered)
{
    const std::string whole = support::frame(textOf(ping));
    for (const std::size_t count : { std::size_t { 4 }, std::size_t { 5 }, whole.size() - 1 }) {
        SCOPED_TRACE(count);
        startHost(options()).sendBytes(whole.substr(0, count));
        expectEnd();
    }
    EXPECT_EQ(namesMadeByHost(), std::vector<std::string> {});
}

TEST_F(Framing, AFrameCutShortAfterARequestRunsTheEndOfTheSession)
{
    EXPECT_EQ(ask(ping).at("accepted"), true);
    host().sendBytes(support::frame(textOf(ping)).substr(0, 20));
    expectEnd();
    EXPECT_EQ(readiness().at("connectionAvailable"), false);
}

TEST_F(Framing, BytesThatAreNoJSONAreAnsweredAndTheSessionGoesOn)
{
    const std::array<std::string, 6> payloads { " ", std::string(1, '\0'), "\xFF\xFE", "{", "[]",
        std::string(16384, '[') };
    for (const std::string& payload : payloads) {
        SCOPED_TRACE(payload.substr(0, 8));
        host().sendFrame(payload);
        EXPECT_EQ(receive().at("error"), "Malformed Kestrane native-messaging request.");
    }
    expectEnd();
}

// A socket that keeps what was written with one call in one message shows the calls.
TEST_F(Framing, EveryResponseIsOneWriteForItsLengthAndOneForItsText)
{
    std::array<int, 2> ends { -1, -1 };
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_DGRAM, 0, ends.data()), 0);
    const support::Descriptor ours(ends[0]);
    support::Descriptor hosts(ends[1]);
    support::HostOptions withSocket = options();
    withSocket.standardOutput = hosts.number();
    startHost(withSocket);
    hosts.close();
    for (int requests = 0; requests < 3; ++requests)
        send(ping);
    host().closeInput();
    EXPECT_EQ(host().wait(), 0);

    std::array<char, 20000> buffer {};
    const auto nextMessage = [&] {
        const ssize_t count = ::recv(ours.number(), buffer.data(), buffer.size(), MSG_DONTWAIT);
        return count < 0 ? std::string()
                         : std::string(buffer.data(), static_cast<std::size_t>(count));
    };
    for (int responses = 0; responses < 3; ++responses) {
        const std::string length = nextMessage();
        const std::string text = nextMessage();
        EXPECT_EQ(length, support::frame(text).substr(0, 4));
        EXPECT_EQ(parse(text).at("accepted"), true);
    }
    EXPECT_EQ(nextMessage(), "");
}

// A tracer makes the first write to the output fail, which is that of a length. The output is a
// file because the tracer tells writes apart by their path.
TEST_F(Framing, AResponseWhoseLengthCannotBeWrittenIsAbandonedAndTheNextOneIsNot)
{
    constexpr const char* tracer = "/usr/bin/strace";
    support::HostProcess probe(
        { .executable = tracer, .arguments = { "-qqq", "-o", "/dev/null", "/bin/true" } });
    if (probe.wait() != 0)
        GTEST_SKIP() << "nothing can be traced with " << tracer << " here";
    const std::string path = directory() / "output";
    support::writeFile(path, "");
    support::Descriptor output(::open(path.c_str(), O_WRONLY | O_CLOEXEC));
    support::HostOptions traced = options();
    traced.executable = tracer;
    traced.arguments = { "-qqq", "-o", "/dev/null", "-P", path, "-e", "trace=write", "-e",
        "inject=write:error=EIO:when=1", KESTRANE_NATIVE_HOST };
    traced.environment.emplace_back("ASAN_OPTIONS=detect_leaks=0"); // It is a tracer, too.
    traced.standardOutput = output.number();
    startHost(traced);
    output.close();
    send(request("trackingPauseChanged", { { "paused", false } }));
    send(request("unknown"));
    expectEnd();

    const std::string written = support::readFile(path);
    ASSERT_GT(written.size(), 4U);
    EXPECT_EQ(written, support::frame(written.substr(4))); // one response
    EXPECT_EQ(parse(written.substr(4)).at("error"), "Malformed Kestrane native-messaging request.");
}

TEST_F(Framing, TheLengthIsInTheByteOrderOfTheMachine)
{
    // The answer without an application and without a bridge is always the same 237 bytes.
    support::HostOptions nowhere = options();
    nowhere.environment = { "MERROWIN_BRIDGE_DIR=" + (directory() / "missing") };
    startHost(nowhere).sendFrame(textOf(request("openMerrowin")));
    host().closeInput();
    const std::string expected
        = R"({"protocolVersion":1,"nativeHostVersion":"0.3.0","minimumProtocolVersion":1,)"
          R"("accepted":true,"appRunning":false,"sessionRunning":false,"browserFrontmost":false,)"
          R"("trackingPaused":false,"sessionIdentifier":null,"filenameLabelsEnabled":false})";
    EXPECT_EQ(host().readOutputToEnd(), support::frame(expected));
    expectEnd();
}

} // namespace
