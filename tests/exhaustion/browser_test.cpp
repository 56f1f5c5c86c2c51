// A browser that leaves its end of the pipe alone.

#include "tests/exhaustion/exhaustion_test.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

using namespace exhaustion;

// Bytes that lie in a pipe.
int bytesIn(const support::Pipe& pipe)
{
    int count = -1;
    EXPECT_EQ(::ioctl(pipe.readEnd.number(), FIONREAD, &count), 0) << std::strerror(errno);
    return count;
}

// With blocking pipes, and with an output that is set not to block.
class SilentBrowser : public Exhaustion, public testing::WithParamInterface<bool> {
protected:
    SilentBrowser()
    {
        // The least that there can be: a page.
        EXPECT_GT(::fcntl(output.writeEnd.number(), F_SETPIPE_SZ, 1), 0) << std::strerror(errno);
        const int flags = GetParam() ? O_NONBLOCK : 0;
        EXPECT_EQ(::fcntl(output.writeEnd.number(), F_SETFL, flags), 0) << std::strerror(errno);
        support::HostOptions overPipes = options();
        overPipes.standardInput = input.readEnd.number();
        overPipes.standardOutput = output.writeEnd.number();
        startHost(overPipes);
        output.writeEnd.close();
    }

    // Sends requests, every other of them malformed, and reads no answer.
    void sendRequests(int count) const
    {
        const std::string sound = support::frame(boost::json::serialize(ping()));
        const std::string malformed = support::frame("{");
        for (int number = 0; number < count; ++number) {
            const std::string& bytes = number % 2 == 0 ? sound : malformed;
            ASSERT_EQ(::write(input.writeEnd.number(), bytes.data(), bytes.size()),
                static_cast<ssize_t>(bytes.size()));
        }
    }

    // Whether the host comes to rest: for a thousand looks in a row it waits, takes no time of the
    // processor, and moves no byte.
    bool comesToRest()
    {
        constexpr int looks = 1000;
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        int unchanged = 0;
        for (Observation before; unchanged < looks; ::sched_yield()) {
            const Observation now = observe(host().identifier());
            unchanged = now == before && now.state == 'S' ? unchanged + 1 : 0;
            before = now;
            if (std::chrono::steady_clock::now() > deadline)
                return false;
        }
        return true;
    }

    void expectToWaitForTheBrowser()
    {
        EXPECT_TRUE(comesToRest());
        EXPECT_GT(bytesIn(output), 0);
        EXPECT_GT(bytesIn(input), 0) << "the host is not waiting for room, but for requests";
    }

    void closeInput()
    {
        input.readEnd.close(); // This process held it only to look at it.
        input.writeEnd.close();
    }

    support::Pipe input;
    support::Pipe output;
};

constexpr int manyRequests = 100;

TEST_P(SilentBrowser, IsWaitedForAndGetsEveryAnswerInItsOrder)
{
    sendRequests(manyRequests);
    expectToWaitForTheBrowser();
    closeInput();
    const std::string bytes = support::readToEnd(output.readEnd.number());
    std::string_view rest = bytes;
    int answers = 0;
    for (; rest.size() > sizeof(std::uint32_t); ++answers) {
        std::uint32_t length = 0;
        std::memcpy(&length, rest.data(), sizeof length);
        ASSERT_LE(sizeof length + length, rest.size());
        EXPECT_EQ(parse(rest.substr(sizeof length, length)).at("accepted"), answers % 2 == 0);
        rest.remove_prefix(sizeof length + length);
    }
    EXPECT_EQ(answers, manyRequests);
    EXPECT_EQ(rest.size(), 0U);
    expectEndWithTraces(1);
}

TEST_P(SilentBrowser, ThatGoesIsTheEndOfTheSession)
{
    sendRequests(manyRequests);
    expectToWaitForTheBrowser();
    closeInput();
    output.readEnd.close();
    expectEndWithTraces(1);
}

TEST_P(SilentBrowser, ThatAsksNothingIsWaitedForAtNoCost)
{
    sendRequests(1);
    EXPECT_TRUE(comesToRest());
    EXPECT_EQ(bytesIn(input), 0);
    closeInput();
    expectEndWithTraces(1);
}

INSTANTIATE_TEST_SUITE_P(WithBothKindsOfPipe, SilentBrowser, testing::Bool());

} // namespace
