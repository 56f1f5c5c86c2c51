#include "kestranectl/event_file.h"

#include <optional>
#include <span>

namespace kestranectl {

namespace {

using bridge::BrowserBridgeStoreError;

std::optional<bridge::StoreFailure> refusal(const platform::FileAttributes& attributes)
{
    if (attributes.kind != platform::FileKind::regular)
        return BrowserBridgeStoreError::malformedEnvelope;
    if (attributes.size > bridge::maximumEventEnvelopeBytes)
        return BrowserBridgeStoreError::payloadTooLarge;
    return std::nullopt;
}

// Links and sockets cannot even be opened; they are refused for what they are.
bridge::StoreFailure openingFailure(const platform::Location& location,
    platform::FileError openingError, const platform::FileSystem& fileSystem)
{
    const auto attributes = fileSystem.attributes(location);
    if (!attributes)
        return attributes.error();
    return refusal(*attributes).value_or(openingError);
}

} // namespace

bridge::StoreResult<std::string> readEventFile(
    const platform::Location& location, const platform::FileSystem& fileSystem)
{
    const auto file = fileSystem.openForReading(location);
    if (!file)
        return std::unexpected(openingFailure(location, file.error(), fileSystem));
    const auto attributes = fileSystem.attributes(*file);
    if (!attributes)
        return std::unexpected(attributes.error());
    if (const auto refused = refusal(*attributes))
        return std::unexpected(*refused);

    // One byte more, so that a file that has grown is noticed.
    std::string contents(bridge::maximumEventEnvelopeBytes + 1, '\0');
    std::size_t total = 0;
    while (total < contents.size()) {
        const auto count = fileSystem.read(*file, std::span(contents).subspan(total));
        if (!count)
            return std::unexpected(count.error());
        if (*count == 0)
            break;
        total += *count;
    }
    if (total == contents.size())
        return std::unexpected(BrowserBridgeStoreError::payloadTooLarge);
    contents.resize(total);
    return contents;
}

} // namespace kestranectl
