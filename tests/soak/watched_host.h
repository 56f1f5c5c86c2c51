#pragma once
// A running host that nobody waits for longer than a time limit.

#include "tests/system_calls/reference_session.h"

#include <chrono>
#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace soak {

/// The host said nothing within the time limit.
class Hang : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// No answer takes longer, however busy the machine is.
inline constexpr std::chrono::seconds timeLimit { 10 };

class WatchedHost {
public:
    WatchedHost(const std::string& executable, const std::string& bridgeDirectory);
    WatchedHost(const WatchedHost&) = delete;
    WatchedHost& operator=(const WatchedHost&) = delete;
    /// Kills it if it still runs.
    ~WatchedHost();

    [[nodiscard]] pid_t processIdentifier() const { return connection_.processIdentifier(); }

    /// Whether all bytes were taken; false when the host is gone.
    bool send(std::string_view bytes) const;

    /// An answer's payload, valid until the next call; none when the host is gone. Throws Hang.
    [[nodiscard]] std::optional<std::string_view> receive();

    [[nodiscard]] std::optional<std::string_view> ask(std::string_view frame);

    void closeInput() { connection_.closeInput(); }

    /// Whether SIGKILL ended it; false when it had ended by itself.
    bool kill();

    /// Closes the input and waits for the end; yields the exit status, or 128 and more for a
    /// signal. Throws Hang.
    int finish();

    /// How many descriptors are open in the host.
    [[nodiscard]] std::size_t openDescriptors() const;

    /// A figure of /proc/PID/status in kB, "VmRSS" for one.
    [[nodiscard]] std::size_t memory(std::string_view figure) const;

    /// How long it could have run so far but other programs did.
    [[nodiscard]] std::chrono::nanoseconds waitingTime() const;

private:
    [[nodiscard]] std::string systemFile(const char* name) const;
    // False at the end of the output.
    bool fill(char* bytes, std::size_t count) const;

    reference::Connection connection_;
    std::string answer_;
};

} // namespace soak
