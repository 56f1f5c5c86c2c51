#pragma once
// The application on the other side of the bridge directory: whether it runs, and how to open it.

#include "base/timestamp.h"
#include "bridge/bridge_store.h"
#include "platform/file_system.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>

namespace host {

/// A state older than this many seconds is stale.
inline constexpr double stateMaximumAge = 10.0;

/// A state whose time stamp lies more than this many seconds ahead of the host's clock is refused.
inline constexpr double stateMaximumLead = 2.0;

/// What the host asks of the system around it, apart from files.
struct Services {
    std::function<base::Timestamp()> now;
    std::function<bool(std::int32_t processIdentifier)> processExists;
    std::function<void()> openCompanionApplication; // returns at once; the outcome is not reported
};

/// What the host works with: one bridge directory on one file system, and the services.
struct HostEnvironment {
    bridge::BrowserBridgeStore store;
    const platform::FileSystem& fileSystem;
    Services services;
};

/// The application's state if it describes a running application: it can be read, its time stamp is
/// at most 10 seconds before and 2 seconds after `now` (both inclusive), its process identifier is
/// at least 1, and that process exists. Nothing is remembered from one call to the next.
[[nodiscard]] std::optional<bridge::BrowserBridgeState> liveAppState(
    base::Timestamp now, const HostEnvironment& environment);

/// Whether the state says that the browser with this bundle identifier is the frontmost
/// application; identifiers are compared exactly.
[[nodiscard]] bool isFrontmost(
    std::string_view browserBundleIdentifier, const bridge::BrowserBridgeState& state);

} // namespace host
