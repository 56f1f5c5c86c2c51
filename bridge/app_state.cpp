#include "bridge/bridge_store.h"

#include <utility>

namespace bridge {

StoreResult<BrowserBridgeState> BrowserBridgeStore::readState(
    const platform::FileSystem& fileSystem) const
{
    const auto contents = readLimitedRegularFile(
        appendingPathComponent(rootURL, stateFileName), maximumStateBytes, fileSystem);
    if (!contents)
        return std::unexpected(contents.error());
    auto state = decodeBrowserBridgeState(*contents);
    if (!state)
        return std::unexpected(state.error());
    if (state->version != recordVersion)
        return std::unexpected(BrowserBridgeStoreError::malformedEnvelope);
    return *std::move(state);
}

std::optional<bool> BrowserBridgeStore::readPreferences(
    std::string_view token, const platform::FileSystem& fileSystem) const
{
    const auto contents = readLimitedRegularFile(
        appendingPathComponent(rootURL, preferencesFileName), maximumPreferencesBytes, fileSystem);
    if (!contents)
        return std::nullopt;
    const auto preferences = decodeBrowserBridgePreferencesEnvelope(*contents);
    if (!preferences)
        return std::nullopt;
    if (preferences->version != recordVersion || preferences->token != token)
        return std::nullopt;
    return preferences->filenameLabelsEnabled;
}

} // namespace bridge
