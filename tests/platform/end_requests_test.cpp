#include "platform/end_requests.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <poll.h>

namespace platform {
namespace {

constexpr std::array signalsToEnd { SIGINT, SIGTERM, SIGHUP };

using Handler = void (*)(int);

int callsOfTheOtherHandler = 0; // NOLINT(*-avoid-non-const-global-variables)

void otherHandler(int /*signal*/)
{
    ++callsOfTheOtherHandler;
}

// What happens at a signal, set for a scope: tests may be run by something that ignores some.
class ScopedDisposition {
public:
    ScopedDisposition(int signal, Handler handler)
        : signal_(signal)
        , previous_(std::signal(signal, handler))
    {
    }
    ScopedDisposition(const ScopedDisposition&) = delete;
    ScopedDisposition& operator=(const ScopedDisposition&) = delete;
    ~ScopedDisposition() { std::signal(signal_, previous_); }

private:
    int signal_;
    Handler previous_;
};

bool canBeRead(const EndRequests& requests)
{
    pollfd asked { .fd = requests.descriptor(), .events = POLLIN, .revents = 0 };
    return ::poll(&asked, 1, 0) == 1;
}

TEST(EndRequests, AreNotThereBeforeASignal)
{
    const auto requests = EndRequests::make();
    ASSERT_TRUE(requests);
    EXPECT_FALSE(canBeRead(*requests));
}

TEST(EndRequests, AreMadeByEachOfTheSignals)
{
    for (const int signal : signalsToEnd) {
        const ScopedDisposition ending(signal, SIG_DFL);
        const auto requests = EndRequests::make();
        ASSERT_TRUE(requests);
        ASSERT_EQ(std::raise(signal), 0);
        EXPECT_TRUE(canBeRead(*requests)) << signal;
        EXPECT_TRUE(canBeRead(*requests)) << "asked again, " << signal;
    }
}

TEST(EndRequests, LeaveIgnoredSignalsIgnored)
{
    for (const int signal : signalsToEnd) {
        const ScopedDisposition ignoring(signal, SIG_IGN);
        const auto requests = EndRequests::make();
        ASSERT_TRUE(requests);
        ASSERT_EQ(std::raise(signal), 0);
        EXPECT_FALSE(canBeRead(*requests)) << signal;
    }
}

TEST(EndRequests, GiveTheDispositionsOfBeforeBack)
{
    for (const int signal : signalsToEnd) {
        const ScopedDisposition other(signal, otherHandler);
        callsOfTheOtherHandler = 0;
        {
            const auto requests = EndRequests::make();
            ASSERT_TRUE(requests);
            ASSERT_EQ(std::raise(signal), 0);
            EXPECT_EQ(callsOfTheOtherHandler, 0) << signal;
        }
        ASSERT_EQ(std::raise(signal), 0);
        EXPECT_EQ(callsOfTheOtherHandler, 1) << signal;
    }
}

TEST(EndRequests, LeaveErrnoAndNeverWaitHoweverManyThereAre)
{
    const ScopedDisposition ending(SIGTERM, SIG_DFL);
    const auto requests = EndRequests::make();
    ASSERT_TRUE(requests);
    constexpr int moreThanAPipeHolds = 70000;
    for (int count = 0; count < moreThanAPipeHolds; ++count) {
        errno = ENOTTY;
        ASSERT_EQ(std::raise(SIGTERM), 0);
        ASSERT_EQ(errno, ENOTTY) << count;
    }
    EXPECT_TRUE(canBeRead(*requests));
}

TEST(EndRequests, CanBeMadeAgain)
{
    const ScopedDisposition ending(SIGINT, SIG_DFL);
    for (int round = 0; round < 2; ++round) {
        const auto requests = EndRequests::make();
        ASSERT_TRUE(requests);
        EXPECT_FALSE(canBeRead(*requests));
        ASSERT_EQ(std::raise(SIGINT), 0);
        EXPECT_TRUE(canBeRead(*requests));
    }
}

TEST(EndRequests, AreNotInherited)
{
    const auto requests = EndRequests::make();
    ASSERT_TRUE(requests);
    EXPECT_EQ(::fcntl(requests->descriptor(), F_GETFD), FD_CLOEXEC);
}

} // namespace
} // namespace platform
