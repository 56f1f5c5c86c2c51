#pragma once
// What the tests of exhausted resources share: limits that are set on a running host, and what must
// be true of the bridge directory whatever ran out.

#include "tests/end_to_end/end_to_end_test.h"

#include <string>
#include <string_view>

#include <sys/resource.h>
#include <sys/types.h>

namespace exhaustion {

using namespace end_to_end;

/// What the limits of processes are told apart by.
using Resource = decltype(RLIMIT_FSIZE);

inline constexpr std::string_view applicationNotRunning = "Kestrane is not running.";

[[nodiscard]] object ping(std::string_view version = "1.0.0");

/// What of a process can be seen from outside while it neither runs nor is ended.
struct Observation {
    char state = ' '; // as /proc names it: 'S' waits, 'R' runs
    std::string timeRun; // grows whenever it runs; in no certain unit

    bool operator==(const Observation&) const = default;
};

[[nodiscard]] Observation observe(pid_t process);

class Exhaustion : public EndToEnd {
protected:
    /// Chrome runs in a session; `members` as for `response`.
    [[nodiscard]] static object liveResponse(const object& members = {});

    /// The answer to an event that was refused for a reason of the system's.
    [[nodiscard]] static object refusal(std::string_view error);

    /// Sets the limit of the running host; the test can take it back.
    void setLimit(Resource resource, rlim_t value);
    void liftLimit(Resource resource) { setLimit(resource, RLIM_INFINITY); }

    /// Expects whole, private records under final names and nothing else.
    void expectNothingUnfinished() const;

    /// Expects `count` events, each whole.
    void expectEvents(std::size_t count) const { EXPECT_EQ(inbox().size(), count); }

    /// Expects the host to end as it does with every resource there: readiness withdrawn, and
    /// `count` events in all, the last of which says that the extension is gone.
    void expectEndWithTraces(std::size_t count);

    /// Expects that a host of its own can do everything, whatever was left by those before.
    void expectNextHostToServe();

private:
    void expectTraces(std::size_t count) const;
};

} // namespace exhaustion
