#pragma once
// Why does it not work? Looks at everything between a browser and the application, in the order in
// which a browser and the host would, and says of each step whether it holds.

#include "base/timestamp.h"
#include "kestranectl/browser_locations.h"
#include "kestranectl/console.h"
#include "platform/file_system.h"

#include <cstdint>
#include <functional>
#include <optional>
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

/// What became of a host that was started as browsers do, with an empty input. If it was not
/// started, or has not ended in the time that it was given, neither of `status` and `signal` is
/// there.
struct HostProbe {
    std::optional<platform::FileError> startError {}; // why it was not started
    std::optional<int> status {}; // the exit status
    std::optional<int> signal {}; // the signal that ended it instead
    std::string output {}; // what it wrote to standard output, or the beginning of that
};

/// What the doctor asks of the system beside files; replaced in tests.
struct DoctorProbes {
    /// Starts the host with an empty input and waits for its end, for some seconds at most.
    std::function<HostProbe(const std::string& hostPath)> startHost;
    std::function<base::Timestamp()> now;
    std::function<bool(std::int32_t processIdentifier)> processExists;
};

/// Everything that is found, in the order of the look-up: per browser its manifest (user's, then
/// the system's; the first that is there counts, sound or not), who else could change it, the
/// extensions that it lets in, the executable; then the bridge directory, its token, the
/// application's state and process, preferences, commands that wait, events that wait, readiness.
/// Changes nothing; starts each executable that a manifest names once, with an empty input, to see
/// that it runs, but none that another user could have replaced. Texts are as they were found, to
/// be shown through `printable`.
[[nodiscard]] std::vector<Finding> examine(
    const DoctorOptions& options, const Surroundings& surroundings, const DoctorProbes& probes);

/// Prints the findings. A problem is status `problem`; notices and unknowns are not. A name that no
/// browser has, or an extension identifier that is none, is status `usage`.
[[nodiscard]] ExitStatus runDoctor(const DoctorOptions& options, const Surroundings& surroundings,
    const DoctorProbes& probes, const Console& console);

/// What a browser's complaint about a message of `length` bytes means: the four bytes of the number
/// as the text that was taken for a length.
[[nodiscard]] std::string explainLength(std::uint32_t length);

} // namespace kestranectl
