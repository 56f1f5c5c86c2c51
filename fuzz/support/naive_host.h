#pragma once
// What the host must make of a request, and of the end of a session, by rules that are written down
// one after the other.

#include "fuzz/support/naive_directory.h"

#include <optional>
#include <string>
#include <string_view>

namespace fuzz {

/// What a session leaves behind for the next request.
struct NaiveMemory {
    bool knowsBrowser = false;
    std::optional<std::string> extensionVersion {};
    std::optional<std::string> permission {};

    friend bool operator==(const NaiveMemory&, const NaiveMemory&) = default;
};

struct NaiveReadiness {
    std::string extensionVersion;
    bool connectionAvailable = false;
};

struct Prediction {
    // What was there.
    double now = 0;
    std::optional<std::string> token {};
    std::optional<NaiveValue> state {}; // the live one

    // The answer.
    bool accepted = false;
    std::string error {};
    std::optional<std::string> browser {};
    bool filenameLabelsEnabled = false;
    CommandOutcome commands {}; // the first one accepted is handed on

    // The effects.
    NaiveMemory memory {}; // afterwards
    /// The event that is relayed, as JSON members; its "id" is missing if the host makes it up.
    std::optional<NaiveValue> event {};
    std::optional<NaiveReadiness> readiness {};
    bool opensApplication = false;

    /// Whether it was for the files to decide that the request is accepted or refused.
    bool restsOnFiles = false;
};

[[nodiscard]] Prediction predict(
    std::string_view payload, const NaiveSurroundings& surroundings, const NaiveMemory& memory);

/// What the end of a session leads to; it has no answer.
[[nodiscard]] Prediction predictEnd(
    const NaiveSurroundings& surroundings, const NaiveMemory& memory);

} // namespace fuzz
