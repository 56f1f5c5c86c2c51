#include "platform/clock.h"

#include <ctime>
#include <tuple>

namespace platform {

base::Timestamp currentTime()
{
    constexpr double nanosecondsPerSecond = 1e9;
    timespec time {};
    std::ignore = ::clock_gettime(CLOCK_REALTIME, &time); // Every system has this clock.
    // The whole seconds are converted first, so that no digit of the fraction is lost to the larger
    // number.
    const double seconds = static_cast<double>(time.tv_sec) - base::secondsFrom1970To2001;
    return { seconds + static_cast<double>(time.tv_nsec) / nanosecondsPerSecond };
}

} // namespace platform
