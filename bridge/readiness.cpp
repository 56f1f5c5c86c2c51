#include "bridge/bridge_store.h"

#include "bridge/version_string.h"
#include "events/supported_browsers.h"

namespace bridge {

namespace {

constexpr std::int64_t acceptedProtocolVersion = 1;

bool isSound(const BrowserBridgeReadiness& readiness)
{
    return readiness.version == recordVersion
        && events::supportedBrowser(readiness.browserBundleIdentifier).has_value()
        && isValidVersionString(readiness.extensionVersion)
        && isValidVersionString(readiness.nativeHostVersion)
        && readiness.protocolVersion == acceptedProtocolVersion;
}

} // namespace

StoreResult<void> BrowserBridgeStore::writeReadiness(const BrowserBridgeReadiness& readiness,
    std::string_view token, const platform::FileSystem& fileSystem) const
{
    if (!isSound(readiness))
        return std::unexpected(BrowserBridgeStoreError::malformedEnvelope);
    const auto encoded = encode(
        BrowserBridgeReadinessEnvelope { .token = std::string(token), .readiness = readiness });
    if (!encoded)
        return std::unexpected(encoded.error());
    if (encoded->size() > maximumReadinessEnvelopeBytes)
        return std::unexpected(BrowserBridgeStoreError::payloadTooLarge);

    const std::string directory = appendingPathComponent(rootURL, readinessDirectoryName);
    if (const auto ensured = ensurePrivateDirectory(directory, fileSystem); !ensured)
        return std::unexpected(ensured.error());
    const auto browser = events::supportedBrowser(readiness.browserBundleIdentifier);
    const std::string name = std::string(events::readinessKey(browser)) + ".readiness";
    const auto written
        = writePrivateFileAtomically(*encoded, appendingPathComponent(directory, name), fileSystem);
    if (!written)
        return std::unexpected(written.error());
    return {};
}

} // namespace bridge
