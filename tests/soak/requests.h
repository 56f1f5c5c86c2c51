#pragma once
// Requests as an extension sends them, each with what may come back.

#include "tests/soak/checks.h"
#include "tests/soak/randomness.h"

#include <optional>
#include <string>
#include <string_view>

namespace soak {

enum class Outcome : unsigned char {
    relayed, // accepted, and an event left, if the application lets it
    accepted, // whatever the application does
    refused // always, with the same reason
};

struct Message {
    std::string frame {}; // with its length
    Outcome outcome = Outcome::accepted;
    std::string reason {}; // of what is refused
    std::string identifier {}; // of the event that is relayed
    bool endsTracking = false; // an event for that is left, if the application lets it
};

/// A valid event of a random kind from a page, a window or a local document.
[[nodiscard]] Message activity(Random& random, bool withVersion);
[[nodiscard]] Message ping();
[[nodiscard]] Message pauseOrResumption(bool paused);
/// An event that breaks a rule.
[[nodiscard]] Message refusedActivity(Random& random);
/// No request at all, or one that the host does not serve.
[[nodiscard]] Message malformed(Random& random);

/// Any of them: of a hundred 70 activities, 8 pings, 4 pauses, 4 resumptions, 9 refused activities
/// and 5 malformed ones.
[[nodiscard]] Message anyRequest(Random& random);

/// What is wrong with the answer to a message; empty if nothing is. `answer` itself is sound.
[[nodiscard]] std::string wrongOutcome(const Message& message, const AnswerCheck& answer);

/// Why the host, not the system, may refuse to relay a valid event.
[[nodiscard]] bool isReasonOfState(std::string_view reason);

} // namespace soak
