#pragma once
// What the three long runs are told, and how each is called.

#include "tests/soak/findings.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace soak {

struct Settings {
    std::string host; // the executable
    std::string directory; // where the bridge directories are made
    std::uint64_t seed = 0;
    std::size_t amount = 0; // kills, seconds or requests
};

/// Kills hosts at random instants while a reader looks at everything that they leave.
void killHosts(const Settings& settings, Findings& findings);

/// Lets eight hosts work on a directory that an application rewrites and an attacker spoils all the
/// time.
void surviveAttacks(const Settings& settings, Findings& findings);

/// Sends requests in one session and watches what the host takes of the machine.
void makeManyRequests(const Settings& settings, Findings& findings);

} // namespace soak
