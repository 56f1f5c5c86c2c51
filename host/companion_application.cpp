#include "host/companion_application.h"

#include <utility>

namespace host {

std::optional<bridge::BrowserBridgeState> liveAppState(
    base::Timestamp now, const HostEnvironment& environment)
{
    auto state = environment.store.readState(environment.fileSystem);
    if (!state)
        return std::nullopt;
    const double age = base::secondsBetween(state->updatedAt, now);
    const bool isFresh = age >= -stateMaximumLead && age <= stateMaximumAge; // false for no number
    if (state->appProcessIdentifier < 1 || !isFresh)
        return std::nullopt;
    // An application that crashed leaves a state that is fresh for a while.
    if (!environment.services.processExists(state->appProcessIdentifier))
        return std::nullopt;
    return *std::move(state);
}

bool isFrontmost(std::string_view browserBundleIdentifier, const bridge::BrowserBridgeState& state)
{
    return state.frontmostBrowserBundleIdentifier == browserBundleIdentifier;
}

} // namespace host
