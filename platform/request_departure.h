#pragma once
// Time for requests to leave the process before it ends.
//
// On macOS a request to open an application is handed to a queue of the framework's, which sends it
// to the system from a thread of its own, and nobody tells when it has: a process that ends at that
// moment takes the request with it. The extension often asks for the application and disconnects in
// one breath, so the host would lose what a person has just clicked on.

#include <chrono>
#include <optional>

namespace platform {

/// How old a request is before the process may end. A browser kills a host two seconds after it has
/// closed the connection (Chromium, base/process/kill_posix.cc), so this leaves three quarters of
/// that for all the rest.
inline constexpr std::chrono::milliseconds departureTime { 500 };

/// What tells the time and lets it pass; replaced in tests.
struct DepartureClock {
    std::chrono::steady_clock::time_point (*now)();
    void (*pass)(std::chrono::steady_clock::duration);
};

[[nodiscard]] const DepartureClock& systemDepartureClock();

class RequestDeparture {
public:
    explicit RequestDeparture(const DepartureClock& clock = systemDepartureClock())
        : clock_(clock)
    {
    }
    RequestDeparture(RequestDeparture&&) = delete;
    RequestDeparture& operator=(RequestDeparture&&) = delete;
    RequestDeparture(const RequestDeparture&) = delete;
    RequestDeparture& operator=(const RequestDeparture&) = delete;

    /// Waits until the last request is `departureTime` old; not at all if there was none.
    ~RequestDeparture();

    /// A request was made just now.
    void noteRequest() { lastRequest_ = clock_.now(); }

private:
    const DepartureClock& clock_;
    std::optional<std::chrono::steady_clock::time_point> lastRequest_;
};

} // namespace platform
