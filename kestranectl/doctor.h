#pragma once
// Why does it not work? Looks at everything between a browser and the application, in the order in
// which a browser and the host would, and says of each step whether it holds.

#include "kestranectl/browser_locations.h"
#include "kestranectl/console.h"

#include <cstdint>
#include <string>
#include <vector>

namespace kestranectl {

struct DoctorOptions {
    std::vector<std::string> browsers {}; // names; none: every one that the user has
    std::string extensionIdentifier {}; // empty: any
    std::string bridgeDirectory {}; // empty: the host's own rule
    bool json = false; // one JSON object per line and finding
};

enum class Verdict : std::uint8_t {
    good,
    notice, // works, but not as it should, or says something worth knowing
    bad, // does not work
    unknown // the system does not let this be seen; absence is never concluded from that
};

struct Finding {
    Verdict verdict = Verdict::good;
    std::string subject; // "manifest", "executable", "token", ...
    std::string text; // one sentence
    std::string advice {}; // what to do; empty where there is nothing to do
};

/// Everything that is found, in the order of the look-up: per browser its manifest (user's, then
/// the system's), the executable, the directories above both; then the bridge directory, its token,
/// the application's state and process, preferences, commands that wait, events that wait,
/// readiness. Changes nothing; starts the host once, with an empty input, to see that it runs.
[[nodiscard]] std::vector<Finding> examine(
    const DoctorOptions& options, const Surroundings& surroundings);

/// Prints the findings. A problem is status `problem`; notices and unknowns are not.
[[nodiscard]] ExitStatus runDoctor(
    const DoctorOptions& options, const Surroundings& surroundings, const Console& console);

/// What a browser's complaint about a message of `length` bytes means: the four bytes of the number
/// as the text that was taken for a length.
[[nodiscard]] std::string explainLength(std::uint32_t length);

} // namespace kestranectl
