#pragma once
// What one request did to the directory, and the claims that hold whatever it was.

#include "fuzz/support/memory_file_system.h"

#include <optional>
#include <set>
#include <string>
#include <vector>

namespace fuzz {

struct WrittenFile {
    std::string name;
    std::string contents;
};

struct Effects {
    std::vector<WrittenFile> newEvents {};
    std::optional<WrittenFile> changedReadiness {};
    std::set<std::string> removedCommands {}; // names
};

/// Compares the items before and after. Claims that nothing changed but what the host may change:
/// whole new events in the inbox, Chrome's readiness file, commands that are gone; that these
/// files are 0600, unless a call has failed, and their directories 0700; and that no other file is
/// left, unless that call was to remove it.
[[nodiscard]] Effects findEffects(
    const MemoryTree& before, const MemoryTree& after, FailedCall failedCall = FailedCall::none);

/// The readiness file as it lies there, or none.
[[nodiscard]] std::optional<std::string> readinessContents(const MemoryTree& tree);

} // namespace fuzz
