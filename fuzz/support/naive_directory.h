#pragma once
// What the host must find in the bridge directory, derived once more from the items as they lie
// there.

#include "fuzz/support/memory_items.h"
#include "fuzz/support/naive_json.h"

#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace fuzz {

struct NaiveSurroundings {
    const MemoryTree& tree;
    double now = 0;
    bool processExists = false;
};

[[nodiscard]] std::optional<std::string> findToken(const MemoryTree& tree);

/// The state of an application that runs.
[[nodiscard]] std::optional<NaiveValue> findLiveState(const NaiveSurroundings& surroundings);

/// The identifier of the session that runs, in upper case.
[[nodiscard]] std::optional<std::string> runningSession(const std::optional<NaiveValue>& state);

/// Whether the application allows file names as labels.
[[nodiscard]] bool allowsFilenameLabels(
    const MemoryTree& tree, const std::optional<std::string>& token);

/// What the extension is told when nothing can be written into "Inbox"; empty if it can. One that
/// is missing is made.
[[nodiscard]] std::string inboxRefusal(const MemoryTree& tree);

/// Whether Chrome's readiness can be written.
[[nodiscard]] bool canTakeReadiness(const MemoryTree& tree);

/// What becomes of the files in "Commands".
struct CommandOutcome {
    std::vector<NaiveValue> accepted {};
    std::set<std::string> removed {}; // names
};

/// The commands for a browser and the session that runs, if one does.
[[nodiscard]] CommandOutcome predictCommands(const NaiveSurroundings& surroundings,
    std::string_view token, std::string_view browser, const std::optional<std::string>& session);

} // namespace fuzz
