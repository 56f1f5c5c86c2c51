#include "platform/clock.h"

#include <gtest/gtest.h>

#include <chrono>

namespace {

double secondsOfSystemClock()
{
    using namespace std::chrono;
    constexpr sys_days start = 2001y / January / 1;
    return duration<double>(system_clock::now() - start).count();
}

// The system's clock counts whole microseconds with some libraries, and doubles of this size are an
// eighth of one apart.
constexpr double rounding = 2e-6;

TEST(CurrentTime, LiesBetweenTwoReadingsOfTheSystemsClock)
{
    for (int round = 0; round < 1000; ++round) {
        const double before = secondsOfSystemClock();
        const double now = platform::currentTime().secondsSince2001;
        const double after = secondsOfSystemClock();
        EXPECT_GE(now, before - rounding);
        EXPECT_LE(now, after + rounding);
    }
}

TEST(CurrentTime, HasAFraction)
{
    bool hasFraction = false;
    for (int round = 0; round < 100; ++round) {
        const double now = platform::currentTime().secondsSince2001;
        hasFraction = hasFraction || now != static_cast<double>(static_cast<long long>(now));
    }
    EXPECT_TRUE(hasFraction);
}

} // namespace
