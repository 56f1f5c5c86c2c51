#include "platform/request_departure.h"

#include <gtest/gtest.h>

#include <vector>

namespace platform {
namespace {

using std::chrono::milliseconds;
using Time = std::chrono::steady_clock::time_point;

// Only functions without a context can tell the time.
// NOLINTBEGIN(cppcoreguidelines-avoid-non-const-global-variables)
Time currentTime;
std::vector<std::chrono::steady_clock::duration> passed;
// NOLINTEND(cppcoreguidelines-avoid-non-const-global-variables)

constexpr DepartureClock testClock {
    .now = [] { return currentTime; },
    .pass = [](std::chrono::steady_clock::duration time) { passed.push_back(time); },
};

class RequestDepartureAtTheEnd : public testing::Test {
protected:
    RequestDepartureAtTheEnd()
    {
        currentTime = Time(milliseconds(1'000'000));
        passed.clear();
    }

    static void advance(milliseconds time) { currentTime += time; }
};

TEST_F(RequestDepartureAtTheEnd, DoesNotWaitWithoutARequest)
{
    {
        const RequestDeparture departure(testClock);
        advance(milliseconds(1));
    }
    EXPECT_TRUE(passed.empty());
}

TEST_F(RequestDepartureAtTheEnd, WaitsUntilTheRequestIsOldEnough)
{
    {
        RequestDeparture departure(testClock);
        departure.noteRequest();
        advance(milliseconds(123));
    }
    EXPECT_EQ(passed, std::vector<std::chrono::steady_clock::duration> { milliseconds(377) });
}

TEST_F(RequestDepartureAtTheEnd, WaitsTheWholeTimeForARequestOfThisMoment)
{
    {
        RequestDeparture departure(testClock);
        departure.noteRequest();
    }
    EXPECT_EQ(passed, std::vector<std::chrono::steady_clock::duration> { milliseconds(500) });
}

TEST_F(RequestDepartureAtTheEnd, WaitsToTheLastMillisecondAndNoLonger)
{
    {
        RequestDeparture departure(testClock);
        departure.noteRequest();
        advance(milliseconds(499));
    }
    EXPECT_EQ(passed, std::vector<std::chrono::steady_clock::duration> { milliseconds(1) });
    passed.clear();
    {
        RequestDeparture departure(testClock);
        departure.noteRequest();
        advance(milliseconds(500));
    }
    EXPECT_TRUE(passed.empty());
}

TEST_F(RequestDepartureAtTheEnd, CountsFromTheLastRequest)
{
    {
        RequestDeparture departure(testClock);
        departure.noteRequest();
        advance(milliseconds(5000));
        departure.noteRequest();
        advance(milliseconds(100));
    }
    EXPECT_EQ(passed, std::vector<std::chrono::steady_clock::duration> { milliseconds(400) });
}

TEST(SystemDepartureClock, TellsTheTimeAndLetsItPass)
{
    const DepartureClock& clock = systemDepartureClock();
    const auto before = clock.now();
    clock.pass(std::chrono::microseconds(1));
    EXPECT_GE(clock.now() - before, std::chrono::microseconds(1));
}

} // namespace
} // namespace platform
