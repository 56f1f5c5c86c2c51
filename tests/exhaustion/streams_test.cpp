// Standard streams that are closed, or not the browser's pipes.

#include "tests/exhaustion/exhaustion_test.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

namespace {

using namespace exhaustion;

std::string frameOf(const object& payload)
{
    return support::frame(boost::json::serialize(payload));
}

// The responses in a whole number of frames.
std::vector<object> responsesIn(std::string_view bytes)
{
    std::vector<object> responses;
    while (!bytes.empty()) {
        std::uint32_t length = 0;
        if (bytes.size() < sizeof length) {
            ADD_FAILURE() << "a frame is cut short";
            break;
        }
        std::memcpy(&length, bytes.data(), sizeof length);
        bytes.remove_prefix(sizeof length);
        EXPECT_LE(length, bytes.size());
        responses.push_back(parse(bytes.substr(0, length)));
        bytes.remove_prefix(std::min<std::size_t>(length, bytes.size()));
    }
    return responses;
}

class Streams : public Exhaustion {
protected:
    support::HostOptions optionsWithInput(int descriptor) const
    {
        support::HostOptions result = options();
        result.standardInput = descriptor;
        return result;
    }

    support::HostOptions optionsWithOutput(int descriptor) const
    {
        support::HostOptions result = options();
        result.standardOutput = descriptor;
        return result;
    }

    // The session is over before anything was asked.
    void expectEndWithoutTrace()
    {
        expectEnd();
        EXPECT_EQ(namesMadeByHost(), std::vector<std::string> {});
    }
};

// Which of the standard streams are closed when the host starts: bit by bit.
class ClosedStreams : public Streams, public testing::WithParamInterface<unsigned> {
protected:
    static bool isClosed(int stream)
    {
        return (GetParam() >> static_cast<unsigned>(stream) & 1U) != 0;
    }

    support::HostOptions optionsWithClosedStreams() const
    {
        support::HostOptions result = options();
        if (isClosed(STDIN_FILENO))
            result.standardInput = support::HostOptions::closedStream;
        if (isClosed(STDOUT_FILENO))
            result.standardOutput = support::HostOptions::closedStream;
        if (isClosed(STDERR_FILENO))
            result.standardError = support::HostOptions::closedStream;
        return result;
    }
};

// No file takes the place of a stream: nothing is read from one as a request, and no response gets
// into one. Without input there is no session, without output there are no answers; nobody misses
// the third.
TEST_P(ClosedStreams, AreTheEndOfTheSessionOrNotMissed)
{
    leaveCommand("1.command");
    leavePreferences(true);
    startHost(optionsWithClosedStreams());
    for (const object& payload : { ping(), activity() }) {
        send(payload);
        if (!isClosed(STDIN_FILENO) && !isClosed(STDOUT_FILENO)) {
            EXPECT_EQ(receive().at("accepted"), true);
        }
    }
    if (isClosed(STDIN_FILENO)) {
        expectEndWithoutTrace();
        EXPECT_TRUE(support::exists(pathOf("Commands/1.command")));
    } else {
        expectEndWithTraces(2);
        EXPECT_FALSE(support::exists(pathOf("Commands/1.command")));
    }
    for (const char* const name : { "bridge-token", "state.json", "preferences.json" }) {
        const std::string contents = support::readFile(pathOf(name));
        EXPECT_EQ(contents.find("nativeHostVersion"), std::string::npos) << name;
    }
}

INSTANTIATE_TEST_SUITE_P(InEveryCombination, ClosedStreams, testing::Range(0U, 8U));

TEST_F(Streams, AFileAsInputIsAnsweredRequestByRequest)
{
    support::writeFile(directory() / "requests",
        frameOf(ping()) + frameOf(request("nothing")) + frameOf(activity()));
    const support::Descriptor file(
        ::open((directory() / "requests").c_str(), O_RDONLY | O_CLOEXEC));
    startHost(optionsWithInput(file.number()));
    EXPECT_EQ(receive(), liveResponse());
    EXPECT_EQ(receive().at("error"), "Malformed Kestrane native-messaging request.");
    EXPECT_EQ(receive(), liveResponse());
    expectEndWithTraces(2);
}

TEST_F(Streams, AFileAsInputThatEndsWithinARequestEndsTheSessionThere)
{
    const std::string last = frameOf(activity());
    support::writeFile(directory() / "requests", frameOf(ping()) + last.substr(0, last.size() - 1));
    const support::Descriptor file(
        ::open((directory() / "requests").c_str(), O_RDONLY | O_CLOEXEC));
    startHost(optionsWithInput(file.number()));
    EXPECT_EQ(receive(), liveResponse());
    expectEndWithTraces(1);
}

// A frame of length zero ends the session, and so the first four bytes do.
TEST_F(Streams, ADeviceOfEndlessZerosIsTheEndOfTheSession)
{
    const support::Descriptor zeros(::open("/dev/zero", O_RDONLY | O_CLOEXEC));
    const support::Descriptor nobody(::open("/dev/null", O_WRONLY | O_CLOEXEC));
    ASSERT_GE(zeros.number(), 0);
    support::HostOptions fromZeros = optionsWithInput(zeros.number());
    fromZeros.standardOutput = nobody.number(); // which takes any number of answers
    startHost(fromZeros);
    expectEndWithoutTrace();
}

TEST_F(Streams, InputThatCannotBeReadIsTheEndOfTheSession)
{
    const support::Descriptor onlyForWriting(::open("/dev/null", O_WRONLY | O_CLOEXEC));
    startHost(optionsWithInput(onlyForWriting.number()));
    expectEndWithoutTrace();
}

class Terminal : public Streams {
protected:
    void SetUp() override
    {
        master_ = support::Descriptor(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
        if (master_.number() < 0 || ::grantpt(master_.number()) != 0
            || ::unlockpt(master_.number()) != 0)
            GTEST_SKIP() << "there are no terminals here: " << std::strerror(errno);
        std::array<char, 64> name {};
        ASSERT_EQ(::ptsname_r(master_.number(), name.data(), name.size()), 0);
        terminal_ = support::Descriptor(::open(name.data(), O_RDWR | O_NOCTTY | O_CLOEXEC));
        ASSERT_GE(terminal_.number(), 0) << std::strerror(errno);
    }

    // Has the terminal pass all bytes on as they are.
    void makeRaw() const
    {
        termios settings {};
        ASSERT_EQ(::tcgetattr(terminal_.number(), &settings), 0);
        ::cfmakeraw(&settings);
        ASSERT_EQ(::tcsetattr(terminal_.number(), TCSANOW, &settings), 0);
    }

    void startAtTerminal()
    {
        startHost(optionsWithInput(terminal_.number()));
        terminal_.close();
    }

    void type(std::string_view bytes) const
    {
        ASSERT_EQ(::write(master_.number(), bytes.data(), bytes.size()),
            static_cast<ssize_t>(bytes.size()));
    }

    void hangUp() { master_.close(); }

private:
    support::Descriptor master_;
    support::Descriptor terminal_;
};

// Letters are a length beyond all limits.
TEST_F(Terminal, WhoeverTypesALineEndsTheSession)
{
    startAtTerminal();
    type("help\n");
    expectEndWithoutTrace();
}

TEST_F(Terminal, TheEndOfInputEndsTheSession)
{
    startAtTerminal();
    type("\x04");
    expectEndWithoutTrace();
}

TEST_F(Terminal, ThatPassesAllBytesOnServesUntilItHangsUp)
{
    makeRaw();
    startAtTerminal();
    type(frameOf(ping()));
    EXPECT_EQ(receive(), liveResponse());
    type(frameOf(activity()));
    EXPECT_EQ(receive(), liveResponse());
    hangUp();
    expectEndWithTraces(2);
}

TEST_F(Streams, ASocketServesBothWays)
{
    std::array<int, 2> ends { -1, -1 };
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
    const support::Descriptor ours(ends[0]);
    support::Descriptor theirs(ends[1]);
    support::HostOptions overSocket = optionsWithInput(theirs.number());
    overSocket.standardOutput = theirs.number();
    startHost(overSocket);
    theirs.close();
    const std::string requests = frameOf(ping()) + frameOf(activity());
    ASSERT_EQ(::write(ours.number(), requests.data(), requests.size()),
        static_cast<ssize_t>(requests.size()));
    ASSERT_EQ(::shutdown(ours.number(), SHUT_WR), 0);
    EXPECT_EQ(responsesIn(support::readToEnd(ours.number())),
        (std::vector<object> { liveResponse(), liveResponse() }));
    expectEndWithTraces(2);
}

TEST_F(Streams, AFileAsOutputHoldsTheResponses)
{
    const support::Descriptor file(
        ::open((directory() / "responses").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    startHost(optionsWithOutput(file.number()));
    send(ping());
    send(activity());
    expectEndWithTraces(2);
    EXPECT_EQ(responsesIn(support::readFile(directory() / "responses")),
        (std::vector<object> { liveResponse(), liveResponse() }));
}

TEST_F(Streams, OutputThatNobodySeesDoesNotEndTheSession)
{
    for (const int mode : { O_WRONLY, O_RDONLY }) { // thrown away, and refused
        SCOPED_TRACE(mode);
        const support::Descriptor null(::open("/dev/null", mode | O_CLOEXEC));
        startHost(optionsWithOutput(null.number()));
        send(ping());
        send(activity());
        expectEndWithTraces(mode == O_WRONLY ? 2 : 4);
    }
}

} // namespace
