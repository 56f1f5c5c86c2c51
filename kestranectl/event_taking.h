#pragma once
// Taking events out of "Inbox", as the application does.

#include "host/companion_application.h"
#include "kestranectl/bridge_snapshot.h"

#include <string>
#include <vector>

namespace kestranectl {

/// Deletes the events that `snapshot` holds: everything that was looked at and nothing that came
/// later. What is no regular file stays. Yields a sentence for each that could not be deleted.
[[nodiscard]] std::vector<std::string> takeEvents(
    const BridgeSnapshot& snapshot, const host::HostEnvironment& environment);

} // namespace kestranectl
