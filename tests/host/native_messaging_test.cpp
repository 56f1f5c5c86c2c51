#include "host/native_messaging.h"

#include "tests/support/host_process.h"
#include "tests/support/samples.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <csignal>
#include <limits>
#include <string>
#include <thread>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace host {
namespace {

void writeTo(const support::Descriptor& descriptor, std::string_view bytes)
{
    ASSERT_EQ(::write(descriptor.number(), bytes.data(), bytes.size()),
        static_cast<ssize_t>(bytes.size()));
}

// What is left in a pipe whose other end is closed first.
std::string restOf(support::Pipe& pipe)
{
    pipe.writeEnd.close();
    return support::readToEnd(pipe.readEnd.number());
}

std::string lengthOnly(std::uint32_t length)
{
    return support::frame(std::string(length, 'x')).substr(0, sizeof length);
}

// Reads one message from a stream of exactly these bytes.
std::optional<std::string> messageIn(std::string_view bytes)
{
    support::Pipe pipe;
    writeTo(pipe.writeEnd, bytes);
    pipe.writeEnd.close();
    return readMessage(pipe.readEnd.number());
}

TEST(ReadMessage, YieldsThePayloadOfOneFrame)
{
    EXPECT_EQ(messageIn(support::frame("{}")), "{}");
    EXPECT_EQ(messageIn(support::frame("x")), "x");
    EXPECT_EQ(messageIn(support::frame(std::string("\0\xFF", 2))), std::string("\0\xFF", 2));
}

TEST(ReadMessage, TakesALengthInTheByteOrderOfTheMachine)
{
    if constexpr (std::endian::native != std::endian::little)
        GTEST_SKIP() << "the bytes below are those of a little-endian machine";
    EXPECT_EQ(messageIn(std::string("\x02\x00\x00\x00{}", 6)), "{}");
    EXPECT_EQ(messageIn(std::string("\x2C\x01\x00\x00", 4) + std::string(300, 'x')),
        std::string(300, 'x'));
}

TEST(ReadMessage, TakesFramesInSingleBytes)
{
    support::Pipe pipe;
    const std::string payload = "a payload of some length";
    std::optional<std::string> message;
    std::thread reader([&] { message = readMessage(pipe.readEnd.number()); });
    for (const char byte : support::frame(payload))
        writeTo(pipe.writeEnd, { &byte, 1 });
    reader.join();
    EXPECT_EQ(message, payload);
}

TEST(ReadMessage, ReadsNothingBeyondTheFrame)
{
    support::Pipe pipe;
    const std::string rest = support::frame("second") + support::frame("third");
    writeTo(pipe.writeEnd, support::frame("first") + rest);
    EXPECT_EQ(readMessage(pipe.readEnd.number()), "first");
    EXPECT_EQ(restOf(pipe), rest);
}

TEST(ReadMessage, YieldsFramesOneAfterTheOther)
{
    support::Pipe pipe;
    writeTo(pipe.writeEnd, support::frame("first") + support::frame("second"));
    pipe.writeEnd.close();
    EXPECT_EQ(readMessage(pipe.readEnd.number()), "first");
    EXPECT_EQ(readMessage(pipe.readEnd.number()), "second");
    EXPECT_EQ(readMessage(pipe.readEnd.number()), std::nullopt);
}

TEST(ReadMessage, EndsAtALengthOfZeroAndLeavesWhatFollows)
{
    support::Pipe pipe;
    writeTo(pipe.writeEnd, support::frame("") + support::frame("more"));
    EXPECT_EQ(readMessage(pipe.readEnd.number()), std::nullopt);
    EXPECT_EQ(restOf(pipe), support::frame("more"));
}

TEST(ReadMessage, TakesTheGreatestLength)
{
    const std::string payload(maximumMessageBytes, 'x');
    EXPECT_EQ(payload.size(), 16384U);
    EXPECT_EQ(messageIn(support::frame(payload)), payload);
}

TEST(ReadMessage, EndsAtAGreaterLengthAndLeavesThePayload)
{
    support::Pipe pipe;
    const std::string payload(16385, 'x');
    writeTo(pipe.writeEnd, support::frame(payload));
    EXPECT_EQ(readMessage(pipe.readEnd.number()), std::nullopt);
    EXPECT_EQ(restOf(pipe), payload);
}

TEST(ReadMessage, EndsAtTheGreatestNumberThatALengthCanBe)
{
    EXPECT_EQ(messageIn(std::string(4, '\xFF') + std::string(100, 'x')), std::nullopt);
}

TEST(ReadMessage, EndsAtTheEndOfTheInput)
{
    EXPECT_EQ(messageIn(""), std::nullopt);
}

TEST(ReadMessage, EndsInsideALength)
{
    for (const std::size_t count : { 1U, 2U, 3U })
        EXPECT_EQ(messageIn(support::frame("payload").substr(0, count)), std::nullopt) << count;
}

TEST(ReadMessage, EndsInsideAPayload)
{
    for (const std::size_t count : { 4U, 5U, 10U })
        EXPECT_EQ(messageIn(support::frame("payload").substr(0, count)), std::nullopt) << count;
    EXPECT_EQ(messageIn(support::frame("payload").substr(0, 11)), "payload");
}

TEST(ReadMessage, EndsAtAReadError)
{
    constexpr int noDescriptor = -1;
    EXPECT_EQ(readMessage(noDescriptor), std::nullopt);
    const support::Descriptor directory(::open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    EXPECT_EQ(readMessage(directory.number()), std::nullopt);
}

TEST(ReadExactly, YieldsAsManyBytesAsAskedFor)
{
    support::Pipe pipe;
    writeTo(pipe.writeEnd, "abcdef");
    EXPECT_EQ(readExactly(pipe.readEnd.number(), 4), "abcd");
    EXPECT_EQ(restOf(pipe), "ef");
}

TEST(ReadExactly, YieldsNothingOfAnInputThatIsTooShort)
{
    support::Pipe pipe;
    writeTo(pipe.writeEnd, "abc");
    pipe.writeEnd.close();
    EXPECT_EQ(readExactly(pipe.readEnd.number(), 4), std::nullopt);
}

// A response whose JSON has exactly `size` bytes.
NativeHostResponse responseOfSize(std::size_t size)
{
    NativeHostResponse response;
    response.error = "";
    const std::size_t used = encode(response).value_or("").size();
    response.error = std::string(size - used, 'x');
    EXPECT_EQ(encode(response).value_or("").size(), size);
    return response;
}

std::string written(const NativeHostResponse& response)
{
    support::Pipe pipe;
    writeResponse(pipe.writeEnd.number(), response);
    return restOf(pipe);
}

TEST(WriteResponse, WritesTheLengthAndTheJSON)
{
    const NativeHostResponse response { .accepted = true };
    EXPECT_EQ(written(response), support::frame(encode(response).value_or("")));
}

TEST(WriteResponse, PrefixesThreeHundredBytesWithTheirLengthInNativeByteOrder)
{
    if constexpr (std::endian::native != std::endian::little)
        GTEST_SKIP() << "the bytes below are those of a little-endian machine";
    const std::string bytes = written(responseOfSize(300));
    EXPECT_EQ(bytes.substr(0, 4), std::string("\x2C\x01\x00\x00", 4));
    EXPECT_EQ(bytes.size(), 304U);
}

TEST(WriteResponse, WritesTheGreatestLength)
{
    const std::string bytes = written(responseOfSize(16384));
    EXPECT_EQ(bytes.substr(0, 4), lengthOnly(16384));
    EXPECT_EQ(bytes.size(), 4U + 16384U);
}

TEST(WriteResponse, WritesNothingOfALongerResponse)
{
    EXPECT_EQ(written(responseOfSize(16385)), "");
    EXPECT_EQ(written(responseOfSize(100000)), "");
}

TEST(WriteResponse, WritesNothingOfAResponseThatCannotBeEncoded)
{
    NativeHostResponse response;
    response.command = support::command().command;
    EXPECT_NE(written(response), "");
    response.command->createdAt = { std::numeric_limits<double>::infinity() };
    EXPECT_EQ(written(response), "");
}

// A socket that keeps what was written with one call in one message shows the calls.
TEST(WriteResponse, TakesOneCallForTheLengthAndOneForTheJSON)
{
    std::array<int, 2> ends { -1, -1 };
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_DGRAM, 0, ends.data()), 0);
    const support::Descriptor readEnd(ends[0]);
    const support::Descriptor writeEnd(ends[1]);
    writeResponse(writeEnd.number(), NativeHostResponse {});
    const auto nextMessage = [&readEnd] {
        std::array<char, 1024> buffer {};
        const ssize_t count = ::recv(readEnd.number(), buffer.data(), buffer.size(), MSG_DONTWAIT);
        return std::string(buffer.data(), count < 0 ? 0 : static_cast<std::size_t>(count));
    };
    const std::string json = encode(NativeHostResponse {}).value_or("");
    EXPECT_EQ(nextMessage(), support::frame(json).substr(0, 4));
    EXPECT_EQ(nextMessage(), json);
    EXPECT_EQ(nextMessage(), "");
}

TEST(WriteResponse, SaysNothingOfAPipeThatNobodyReads)
{
    std::signal(SIGPIPE, SIG_IGN);
    support::Pipe pipe;
    pipe.readEnd.close();
    writeResponse(pipe.writeEnd.number(), NativeHostResponse {});
    EXPECT_NE(::fcntl(pipe.writeEnd.number(), F_GETFD), -1); // the descriptor is left as it was
}

TEST(WriteResponse, SaysNothingOfADescriptorThatIsNotOpen)
{
    support::Pipe pipe;
    const int number = pipe.writeEnd.number();
    pipe.writeEnd.close();
    writeResponse(number, NativeHostResponse {});
    EXPECT_EQ(support::readToEnd(pipe.readEnd.number()), "");
}

} // namespace
} // namespace host
