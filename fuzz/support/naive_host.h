#pragma once
// What the host must make of a request, derived once more from the files as they lie there, by
// rules that are written down one after the other.

#include "fuzz/support/memory_file_system.h"
#include "fuzz/support/naive_json.h"

#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace fuzz {

/// What a session has left behind for the next request.
struct NaiveMemory {
    bool knowsBrowser = false;
    std::optional<std::string> extensionVersion {};
    std::optional<std::string> permission {};
};

struct NaiveSurroundings {
    const MemoryTree& tree;
    double now = 0;
    bool processExists = false;
};

/// What becomes of the files in "Commands".
struct CommandOutcome {
    std::optional<NaiveValue> first {};
    std::vector<NaiveValue> accepted {};
    std::set<std::string> removed {}; // names
};

struct Prediction {
    bool accepted = false;
    std::string error {};
    std::optional<NaiveValue> state {}; // the live one
    std::optional<std::string> browser {};
    bool filenameLabelsEnabled = false;
    CommandOutcome commands {};
    /// The event that is relayed, as JSON members; its "id" and "timestamp" are missing if the host
    /// makes them up.
    std::optional<NaiveValue> event {};
    bool publishesReadiness = false;
    bool opensApplication = false;
};

/// None where the rules leave the outcome open. Changes `memory` as the request does. The bridge
/// directory itself must be a plain directory, 0700.
[[nodiscard]] std::optional<Prediction> predict(
    std::string_view payload, const NaiveSurroundings& surroundings, NaiveMemory& memory);

/// The commands for a browser, from the files of "Commands"; none where the rules leave it open.
[[nodiscard]] std::optional<CommandOutcome> predictCommands(const NaiveSurroundings& surroundings,
    std::string_view token, std::string_view browser, const std::optional<std::string>& session);

/// Whether `version` is 1 to 32 digits and full stops; none if it holds anything but ASCII.
[[nodiscard]] std::optional<bool> isNaiveVersion(std::string_view version);

} // namespace fuzz
