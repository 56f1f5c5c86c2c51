// Reading and writing where calls are interrupted, cut short or told to come back later.

#include "platform/descriptor_io.h"
#include "tests/support/as_other_user.h"
#include "tests/support/host_process.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <string>
#include <thread>

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

namespace {

using support::Pipe;

constexpr std::size_t moreThanAPipeHolds = 3'000'000;

void setNonBlocking(int descriptor)
{
    ASSERT_EQ(::fcntl(descriptor, F_SETFL, ::fcntl(descriptor, F_GETFL) | O_NONBLOCK), 0);
}

// What a reader finds that takes as much as it can get at once.
std::string readAll(int descriptor)
{
    std::string all;
    std::array<char, 4096> buffer {};
    for (;;) {
        const auto count = platform::readSome(descriptor, buffer);
        EXPECT_TRUE(count);
        if (!count || *count == 0)
            return all;
        all.append(buffer.data(), *count);
    }
}

// Bytes in which a lost or repeated piece shows.
std::string countedBytes(std::size_t size)
{
    std::string bytes;
    for (std::size_t number = 0; bytes.size() < size; ++number)
        bytes += std::to_string(number) + ' ';
    bytes.resize(size);
    return bytes;
}

TEST(ReadSome, GivesWhatIsThereAndNotMore)
{
    const Pipe pipe;
    ASSERT_EQ(::write(pipe.writeEnd.number(), "abc", 3), 3);
    std::array<char, 8> buffer {};
    ASSERT_EQ(platform::readSome(pipe.readEnd.number(), buffer), 3U);
    EXPECT_EQ(std::string(buffer.data()), "abc");
}

TEST(ReadSome, GivesAtMostWhatTheBufferTakes)
{
    const Pipe pipe;
    ASSERT_EQ(::write(pipe.writeEnd.number(), "abc", 3), 3);
    std::array<char, 2> buffer {};
    EXPECT_EQ(platform::readSome(pipe.readEnd.number(), buffer), 2U);
    EXPECT_EQ(platform::readSome(pipe.readEnd.number(), buffer), 1U);
}

TEST(ReadSome, GivesZeroAtTheEnd)
{
    Pipe pipe;
    pipe.writeEnd.close();
    std::array<char, 8> buffer {};
    EXPECT_EQ(platform::readSome(pipe.readEnd.number(), buffer), 0U);
    EXPECT_EQ(platform::readSome(pipe.readEnd.number(), buffer), 0U);
}

TEST(ReadSome, FailsForADescriptorThatIsNotOpenOrNotForReading)
{
    const Pipe pipe;
    std::array<char, 8> buffer {};
    EXPECT_EQ(platform::readSome(-1, buffer).error().code, EBADF);
    EXPECT_EQ(platform::readSome(pipe.writeEnd.number(), buffer).error().code, EBADF);
}

TEST(ReadSome, WaitsOnADescriptorThatDoesNotBlock)
{
    Pipe pipe;
    setNonBlocking(pipe.readEnd.number());
    const std::string bytes = countedBytes(moreThanAPipeHolds);
    std::thread writer([&] {
        EXPECT_TRUE(platform::writeAll(pipe.writeEnd.number(), bytes));
        pipe.writeEnd.close();
    });
    EXPECT_TRUE(readAll(pipe.readEnd.number()) == bytes);
    writer.join();
}

TEST(WriteAll, CompletesWhatThePipeDoesNotTakeAtOnce)
{
    Pipe pipe;
    const std::string bytes = countedBytes(moreThanAPipeHolds);
    std::string arrived;
    std::thread reader([&] { arrived = readAll(pipe.readEnd.number()); });
    EXPECT_TRUE(platform::writeAll(pipe.writeEnd.number(), bytes));
    pipe.writeEnd.close();
    reader.join();
    EXPECT_TRUE(arrived == bytes);
}

TEST(WriteAll, WaitsOnADescriptorThatDoesNotBlock)
{
    Pipe pipe;
    setNonBlocking(pipe.writeEnd.number());
    const std::string bytes = countedBytes(moreThanAPipeHolds);
    std::string arrived;
    std::thread reader([&] { arrived = readAll(pipe.readEnd.number()); });
    EXPECT_TRUE(platform::writeAll(pipe.writeEnd.number(), bytes));
    pipe.writeEnd.close();
    reader.join();
    EXPECT_TRUE(arrived == bytes);
}

TEST(WriteAll, WritesNothingWhereThereIsNothing)
{
    Pipe pipe;
    EXPECT_TRUE(platform::writeAll(pipe.writeEnd.number(), ""));
    pipe.writeEnd.close();
    EXPECT_EQ(readAll(pipe.readEnd.number()), "");
    EXPECT_TRUE(platform::writeAll(-1, ""));
}

TEST(WriteAll, FailsForADescriptorThatIsNotOpenOrNotForWriting)
{
    const Pipe pipe;
    EXPECT_EQ(platform::writeAll(-1, "abc").error().code, EBADF);
    EXPECT_EQ(platform::writeAll(pipe.readEnd.number(), "abc").error().code, EBADF);
}

// The signal's disposition for a scope.
class ScopedDisposition {
public:
    ScopedDisposition(int signal, void (*handler)(int))
        : signal_(signal)
    {
        struct sigaction action {};
        action.sa_handler = handler; // without SA_RESTART: calls are to be interrupted
        EXPECT_EQ(::sigaction(signal, &action, &previous_), 0);
    }
    ScopedDisposition(const ScopedDisposition&) = delete;
    ScopedDisposition& operator=(const ScopedDisposition&) = delete;
    ~ScopedDisposition() { ::sigaction(signal_, &previous_, nullptr); }

private:
    int signal_;
    struct sigaction previous_ {};
};

TEST(WriteAll, FailsOnAPipeThatNobodyReads)
{
    const ScopedDisposition ignored(SIGPIPE, SIG_IGN);
    Pipe pipe;
    pipe.readEnd.close();
    EXPECT_EQ(platform::writeAll(pipe.writeEnd.number(), "abc").error().code, EPIPE);
}

TEST(WriteAll, FailsWhenTheReaderGoesInTheMiddle)
{
    for (const bool blocks : { true, false }) {
        SCOPED_TRACE(blocks ? "blocking" : "non-blocking");
        const ScopedDisposition ignored(SIGPIPE, SIG_IGN);
        Pipe pipe;
        if (!blocks)
            setNonBlocking(pipe.writeEnd.number());
        std::thread reader([&] {
            std::array<char, 100'000> buffer {};
            EXPECT_TRUE(platform::readSome(pipe.readEnd.number(), buffer));
            pipe.readEnd.close();
        });
        const auto written
            = platform::writeAll(pipe.writeEnd.number(), std::string(moreThanAPipeHolds, 'x'));
        reader.join();
        ASSERT_FALSE(written);
        EXPECT_EQ(written.error().code, EPIPE);
    }
}

std::atomic<int> interruptions = 0;

// Sends signals to the thread that makes it until it is destroyed.
class Interrupter {
public:
    Interrupter()
    {
        interruptions = 0;
        thread_ = std::thread([this] {
            while (!isToStop_)
                ::pthread_kill(interrupted_, SIGUSR1);
        });
    }
    Interrupter(const Interrupter&) = delete;
    Interrupter& operator=(const Interrupter&) = delete;
    ~Interrupter()
    {
        isToStop_ = true;
        thread_.join();
    }

private:
    ScopedDisposition disposition_ { SIGUSR1, [](int) { ++interruptions; } };
    pthread_t interrupted_ = ::pthread_self();
    std::atomic<bool> isToStop_ = false;
    std::thread thread_;
};

// The other side begins when this side was interrupted often while it could not go on.
void waitForInterruptions(int count)
{
    while (interruptions < count)
        std::this_thread::yield();
}

TEST(ReadSome, GoesOnAfterInterruptions)
{
    for (const bool blocks : { true, false }) {
        SCOPED_TRACE(blocks ? "blocking" : "non-blocking");
        const Pipe pipe;
        if (!blocks)
            setNonBlocking(pipe.readEnd.number());
        const Interrupter interrupter;
        std::thread writer([&] {
            waitForInterruptions(100);
            EXPECT_EQ(::write(pipe.writeEnd.number(), "abc", 3), 3);
        });
        std::array<char, 8> buffer {};
        EXPECT_EQ(platform::readSome(pipe.readEnd.number(), buffer), 3U);
        writer.join();
    }
}

TEST(WriteAll, GoesOnAfterInterruptions)
{
    for (const bool blocks : { true, false }) {
        SCOPED_TRACE(blocks ? "blocking" : "non-blocking");
        Pipe pipe;
        if (!blocks)
            setNonBlocking(pipe.writeEnd.number());
        const std::string bytes = countedBytes(moreThanAPipeHolds);
        std::string arrived;
        const Interrupter interrupter;
        std::thread reader([&] {
            waitForInterruptions(100);
            arrived = readAll(pipe.readEnd.number());
        });
        EXPECT_TRUE(platform::writeAll(pipe.writeEnd.number(), bytes));
        pipe.writeEnd.close();
        reader.join();
        EXPECT_TRUE(arrived == bytes);
    }
}

} // namespace
