#include "bridge/bridge_store.h"

#include "base/decimal_text.h"
#include "bridge/private_file.h"
#include "platform/random.h"

#include <cstdlib>
#include <tuple>

namespace bridge {

namespace {

// Microseconds since 1970, cut, not rounded. No clock gives a time outside the range of the count,
// and there is no file name for one, so such a time is a mistake in this program.
long long microsecondsSince1970(base::Timestamp time)
{
    constexpr double twoToThe63rd = 9223372036854775808.0;
    const double microseconds = base::secondsSince1970(time) * 1000000.0;
    const bool fits = microseconds >= -twoToThe63rd && microseconds < twoToThe63rd;
    if (!fits)
        std::abort();
    return static_cast<long long>(microseconds);
}

// Names sort by time as plain text; the UUID keeps two events of one microsecond apart.
platform::FileResult<std::string> eventFileName(base::Timestamp receivedAt)
{
    const auto uuid = platform::randomUUID();
    if (!uuid)
        return std::unexpected(uuid.error());
    constexpr std::size_t countWidth = 20;
    std::string name;
    name.reserve(sizeof "00001731729600123456-3F2504E0-4F89-11D3-9A0C-0305E82C3301.event");
    base::appendDecimal(name, microsecondsSince1970(receivedAt), countWidth);
    name += '-';
    name += base::upperCaseText(*uuid);
    name += ".event";
    return name;
}

} // namespace

StoreResult<void> BrowserBridgeStore::writeInboxEvent(std::string_view eventData,
    std::string_view token, const base::UUID& sessionIdentifier, base::Timestamp receivedAt,
    const platform::FileSystem& fileSystem) const
{
    if (eventData.size() > maximumEventDataBytes)
        return std::unexpected(BrowserBridgeStoreError::payloadTooLarge);
    const BrowserBridgeEnvelope envelope { .token = std::string(token),
        .sessionIdentifier = sessionIdentifier,
        .receivedAt = receivedAt,
        .eventData = std::string(eventData) };
    const auto encoded = encode(envelope);
    if (!encoded)
        return std::unexpected(encoded.error());
    // Base64 adds a third and every "/" in it is escaped, so event data within its limit can still
    // be too long here.
    if (encoded->size() > maximumEventEnvelopeBytes)
        return std::unexpected(BrowserBridgeStoreError::payloadTooLarge);

    const std::string directory = appendingPathComponent(rootURL, inboxDirectoryName);
    if (const auto ensured = ensurePrivateDirectory(directory, fileSystem); !ensured)
        return std::unexpected(ensured.error());
    const auto name = eventFileName(receivedAt);
    if (!name)
        return std::unexpected(name.error());
    // The name is fresh, so its hidden twin is too.
    auto file = TemporaryFile::write(
        *encoded, appendingPathComponent(directory, '.' + *name + ".temporary"), fileSystem);
    if (!file)
        return std::unexpected(file.error());
    if (const auto renamed = file->renameTo(appendingPathComponent(directory, *name)); !renamed)
        return std::unexpected(renamed.error());
    file->giveUpName();
    if (const auto set = file->makePrivate(); !set)
        return std::unexpected(set.error());
    return {};
}

} // namespace bridge
