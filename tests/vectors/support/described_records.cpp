#include "tests/vectors/support/described_records.h"

#include "bridge/bridge_records.h"
#include "events/browser_activity_event.h"
#include "host/messages.h"
#include "tests/vectors/support/text_encodings.h"

#include <boost/json/value.hpp>

#include <array>
#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>

namespace vectors {

namespace {

std::string textOf(const base::UUID& uuid)
{
    std::string text;
    for (const std::uint8_t byte : uuid.bytes) {
        std::array<char, 3> digits {};
        std::ignore = std::snprintf(digits.data(), digits.size(), "%02X", unsigned { byte });
        text += digits.data();
        if (text.size() == 8 || text.size() == 13 || text.size() == 18 || text.size() == 23)
            text += '-';
    }
    return text;
}

// Members of an object, written one after another.
class Description {
public:
    Description& with(const char* key, bool value) { return set(key, boost::json::value(value)); }
    Description& with(const char* key, std::int64_t value)
    {
        return set(key, std::to_string(value));
    }
    Description& with(const char* key, const std::string& value)
    {
        return set(key, base64OfBytes(value));
    }
    Description& with(const char* key, const base::UUID& value) { return set(key, textOf(value)); }
    Description& with(const char* key, base::Timestamp value)
    {
        return set(key, bitsOf(value.secondsSince2001));
    }
    Description& with(const char* key, const boost::json::object& value)
    {
        return set(key, boost::json::value(value));
    }

    template <base::TextEnumeration Enumeration>
    Description& with(const char* key, Enumeration value)
    {
        return set(key, std::string(base::text(value)));
    }

    template <typename Value> Description& with(const char* key, const std::optional<Value>& value)
    {
        return value ? with(key, *value) : *this;
    }

    [[nodiscard]] const boost::json::object& members() const { return members_; }

private:
    Description& set(const char* key, const std::string& value)
    {
        return set(key, boost::json::value(boost::json::string_view(value)));
    }

    Description& set(const char* key, boost::json::value value)
    {
        members_[key] = std::move(value);
        return *this;
    }

    boost::json::object members_;
};

boost::json::object described(const events::BrowserActivityEvent& event)
{
    return Description()
        .with("id", event.id)
        .with("browserDisplayName", event.browserDisplayName)
        .with("browserBundleIdentifier", event.browserBundleIdentifier)
        .with("hostname", event.hostname)
        .with("temporaryTabIdentifier", event.temporaryTabIdentifier)
        .with("timestamp", event.timestamp)
        .with("eventType", event.eventType)
        .with("isPrivate", event.isPrivate)
        .with("resourceType", event.resourceType)
        .with("pdfIdentifier", event.pdfIdentifier)
        .with("pdfLabel", event.pdfLabel)
        .with("pdfLabelSource", event.pdfLabelSource)
        .with("localFilePermission", event.localFilePermission)
        .members();
}

boost::json::object described(const host::NativeHostRequest& request)
{
    Description description;
    if (request.event)
        description.with("event", described(*request.event));
    return description.with("protocolVersion", request.protocolVersion)
        .with("type", request.type)
        .with("browserBundleIdentifier", request.browserBundleIdentifier)
        .with("paused", request.paused)
        .with("extensionVersion", request.extensionVersion)
        .members();
}

boost::json::object described(const bridge::BrowserBridgeState& state)
{
    return Description()
        .with("version", state.version)
        .with("appProcessIdentifier", std::int64_t { state.appProcessIdentifier })
        .with("sessionRunning", state.sessionRunning)
        .with("sessionIdentifier", state.sessionIdentifier)
        .with("browserTrackingPaused", state.browserTrackingPaused)
        .with("frontmostBrowserBundleIdentifier", state.frontmostBrowserBundleIdentifier)
        .with("updatedAt", state.updatedAt)
        .members();
}

boost::json::object described(const bridge::BrowserBridgePreferencesEnvelope& envelope)
{
    return Description()
        .with("version", envelope.version)
        .with("token", envelope.token)
        .with("filenameLabelsEnabled", envelope.filenameLabelsEnabled)
        .members();
}

boost::json::object described(const bridge::BrowserBridgeCommandEnvelope& envelope)
{
    const bridge::BrowserBridgeCommand& command = envelope.command;
    const Description inner = Description()
                                  .with("id", command.id)
                                  .with("type", command.type)
                                  .with("browserBundleIdentifier", command.browserBundleIdentifier)
                                  .with("sessionIdentifier", command.sessionIdentifier)
                                  .with("pdfIdentifier", command.pdfIdentifier)
                                  .with("filenameLabelsEnabled", command.filenameLabelsEnabled)
                                  .with("createdAt", command.createdAt);
    return Description()
        .with("version", envelope.version)
        .with("token", envelope.token)
        .with("command", inner.members())
        .members();
}

template <typename Result> std::optional<boost::json::object> describedResult(const Result& result)
{
    return result ? std::optional(described(*result)) : std::nullopt;
}

} // namespace

std::optional<boost::json::object> describedRecord(std::string_view record, std::string_view text)
{
    if (record == "NativeHostRequest")
        return describedResult(host::decodeNativeHostRequest(text));
    if (record == "BrowserActivityEvent")
        return describedResult(events::decodeBrowserActivityEvent(text));
    if (record == "BrowserBridgeState")
        return describedResult(bridge::decodeBrowserBridgeState(text));
    if (record == "BrowserBridgePreferencesEnvelope")
        return describedResult(bridge::decodeBrowserBridgePreferencesEnvelope(text));
    if (record == "BrowserBridgeCommandEnvelope")
        return describedResult(bridge::decodeBrowserBridgeCommandEnvelope(text));
    throw std::invalid_argument("no such record: " + std::string(record));
}

} // namespace vectors
