#include "platform/request_departure.h"

#include <thread>

namespace platform {

const DepartureClock& systemDepartureClock()
{
    static constexpr DepartureClock clock {
        .now = std::chrono::steady_clock::now,
        .pass = [](std::chrono::steady_clock::duration time) { std::this_thread::sleep_for(time); },
    };
    return clock;
}

RequestDeparture::~RequestDeparture()
{
    if (!lastRequest_)
        return;
    const auto age = clock_.now() - *lastRequest_;
    if (age < departureTime)
        clock_.pass(departureTime - age);
}

} // namespace platform
