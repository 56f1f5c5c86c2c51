#include "kestranectl/bridge_items.h"

#include "events/browser_activity_event.h"

#include <cerrno>
#include <concepts>
#include <optional>
#include <utility>

namespace kestranectl {

namespace {

FieldValue fieldValue(const std::string& text)
{
    return text;
}

FieldValue fieldValue(bool flag)
{
    return flag;
}

FieldValue fieldValue(std::integral auto number)
{
    return std::int64_t { number };
}

FieldValue fieldValue(const base::UUID& identifier)
{
    return base::upperCaseText(identifier);
}

FieldValue fieldValue(base::Timestamp time)
{
    return base::formatISO8601(time);
}

template <base::TextEnumeration Enumeration> FieldValue fieldValue(Enumeration value)
{
    return std::string(base::text(value));
}

// Collects what a record says; what is absent is left out.
class Fields {
public:
    template <typename Value> Fields& add(std::string_view key, const Value& value)
    {
        fields_.push_back({ .key = key, .value = fieldValue(value) });
        return *this;
    }

    template <typename Value> Fields& add(std::string_view key, const std::optional<Value>& value)
    {
        return value ? add(key, *value) : *this;
    }

    template <typename Value> Fields& addUncounted(std::string_view key, const Value& value)
    {
        add(key, value).fields_.back().counts = false;
        return *this;
    }

    [[nodiscard]] std::vector<Field> take() { return std::move(fields_); }

private:
    std::vector<Field> fields_;
};

// What is wrong with a record for those who read it, besides its contents.
template <typename Envelope>
std::string envelopeProblem(const Envelope& envelope, std::string_view token)
{
    if (envelope.version != bridge::recordVersion)
        return "the record has version " + std::to_string(envelope.version) + ", not 1";
    if (envelope.token != token)
        return "the record does not carry the bridge's token";
    return {};
}

std::vector<Field> fieldsOf(const bridge::BrowserBridgeState& state, bool appRunning)
{
    return Fields()
        .add("appRunning", appRunning)
        .add("appProcessIdentifier", state.appProcessIdentifier)
        .add("sessionRunning", state.sessionRunning)
        .add("sessionIdentifier", state.sessionIdentifier)
        .add("browserTrackingPaused", state.browserTrackingPaused)
        .add("frontmostBrowserBundleIdentifier", state.frontmostBrowserBundleIdentifier)
        .addUncounted("updatedAt", state.updatedAt)
        .take();
}

std::vector<Field> fieldsOf(const bridge::BrowserBridgeReadiness& readiness)
{
    return Fields()
        .add("browserBundleIdentifier", readiness.browserBundleIdentifier)
        .add("extensionVersion", readiness.extensionVersion)
        .add("nativeHostVersion", readiness.nativeHostVersion)
        .add("protocolVersion", readiness.protocolVersion)
        .add("connectionAvailable", readiness.connectionAvailable)
        .add("updatedAt", readiness.updatedAt)
        .take();
}

std::vector<Field> fieldsOf(const bridge::BrowserBridgeCommand& command)
{
    return Fields()
        .add("type", command.type)
        .add("browserBundleIdentifier", command.browserBundleIdentifier)
        .add("pdfIdentifier", command.pdfIdentifier)
        .add("filenameLabelsEnabled", command.filenameLabelsEnabled)
        .add("sessionIdentifier", command.sessionIdentifier)
        .add("id", command.id)
        .add("createdAt", command.createdAt)
        .take();
}

std::vector<Field> fieldsOf(
    const events::BrowserActivityEvent& event, const bridge::BrowserBridgeEnvelope& envelope)
{
    return Fields()
        .add("eventType", event.eventType)
        .add("hostname", event.hostname)
        .add("resourceType", event.resourceType)
        .add("pdfIdentifier", event.pdfIdentifier)
        .add("pdfLabel", event.pdfLabel)
        .add("pdfLabelSource", event.pdfLabelSource)
        .add("browserBundleIdentifier", event.browserBundleIdentifier)
        .add("browserDisplayName", event.browserDisplayName)
        .add("temporaryTabIdentifier", event.temporaryTabIdentifier)
        .add("isPrivate", event.isPrivate)
        .add("localFilePermission", event.localFilePermission)
        .add("timestamp", event.timestamp)
        .add("id", event.id)
        .add("sessionIdentifier", envelope.sessionIdentifier)
        .add("receivedAt", envelope.receivedAt)
        .take();
}

// Reads a file and hands its record to `describe`. What does not decode is an item, too.
template <typename Record>
bridge::StoreResult<BridgeItem> readItem(const platform::Location& location,
    std::int64_t maximumBytes, const platform::FileSystem& files,
    bridge::DecodeResult<Record> (*decode)(std::string_view), const auto& describe)
{
    const auto contents = bridge::readLimitedRegularFile(location, maximumBytes, files);
    if (!contents)
        return std::unexpected(contents.error());
    const auto record = decode(*contents);
    if (!record)
        return BridgeItem { .problem = reason(record.error()), .secret = *contents };
    return describe(*record);
}

BridgeItem describeEvent(const bridge::BrowserBridgeEnvelope& envelope, std::string_view token)
{
    const auto event = events::decodeBrowserActivityEvent(envelope.eventData);
    if (!event)
        return { .problem = "the event in the record: " + reason(event.error()) };
    return { .fields = fieldsOf(*event, envelope), .problem = envelopeProblem(envelope, token) };
}

} // namespace

std::string reason(const bridge::StoreFailure& failure)
{
    const auto* const json = std::get_if<base::JsonError>(&failure);
    if (json == nullptr || json->key.empty())
        return bridge::message(failure);
    return bridge::message(failure) + " (" + std::string(json->key) + ')';
}

bool isAbsence(const bridge::StoreFailure& failure)
{
    const auto* const error = std::get_if<platform::FileError>(&failure);
    return error != nullptr && error->code == ENOENT;
}

bridge::StoreResult<BridgeItem> readStateItem(const host::HostEnvironment& environment)
{
    if (const auto live = host::liveAppState(environment.services.now(), environment))
        return BridgeItem { .fields = fieldsOf(*live, true) };
    const auto state = environment.store.readState(environment.fileSystem);
    if (!state)
        return std::unexpected(state.error());
    return BridgeItem { .fields = fieldsOf(*state, false) };
}

bridge::StoreResult<BridgeItem> readPreferencesItem(
    const platform::Location& location, std::string_view token, const platform::FileSystem& files)
{
    return readItem(location, bridge::maximumPreferencesBytes, files,
        bridge::decodeBrowserBridgePreferencesEnvelope,
        [token](const bridge::BrowserBridgePreferencesEnvelope& envelope) {
            return BridgeItem {
                .fields
                = Fields().add("filenameLabelsEnabled", envelope.filenameLabelsEnabled).take(),
                .problem = envelopeProblem(envelope, token),
            };
        });
}

bridge::StoreResult<BridgeItem> readReadinessItem(
    const platform::Location& location, std::string_view token, const platform::FileSystem& files)
{
    constexpr auto limit = static_cast<std::int64_t>(bridge::maximumReadinessEnvelopeBytes);
    return readItem(location, limit, files, bridge::decodeBrowserBridgeReadinessEnvelope,
        [token](const bridge::BrowserBridgeReadinessEnvelope& envelope) {
            return BridgeItem { .fields = fieldsOf(envelope.readiness),
                .problem = envelopeProblem(envelope, token) };
        });
}

bridge::StoreResult<BridgeItem> readCommandItem(
    const platform::Location& location, std::string_view token, const platform::FileSystem& files)
{
    return readItem(location, bridge::maximumCommandBytes, files,
        bridge::decodeBrowserBridgeCommandEnvelope,
        [token](const bridge::BrowserBridgeCommandEnvelope& envelope) {
            return BridgeItem { .fields = fieldsOf(envelope.command),
                .problem = envelopeProblem(envelope, token) };
        });
}

bridge::StoreResult<BridgeItem> readEventItem(
    const platform::Location& location, std::string_view token, const platform::FileSystem& files)
{
    constexpr auto limit = static_cast<std::int64_t>(bridge::maximumEventEnvelopeBytes);
    const auto contents = bridge::readLimitedRegularFile(location, limit, files);
    if (!contents)
        return std::unexpected(contents.error());
    const auto envelope = bridge::decodeBrowserBridgeEnvelope(*contents);
    if (!envelope)
        return BridgeItem { .problem = reason(envelope.error()) };
    return describeEvent(*envelope, token);
}

} // namespace kestranectl
