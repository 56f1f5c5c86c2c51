#include "events/browser_activity_event.h"

#include "base/json_writer.h"

namespace events {

namespace {

base::JsonConversion timestampFromJson(const base::JsonToken& token, base::Timestamp& timestamp)
{
    if (token.type != base::JsonToken::Type::string)
        return base::JsonConversion::typeMismatch;
    const auto parsed = base::parseISO8601(token.text);
    if (!parsed)
        return base::JsonConversion::dataCorrupted;
    timestamp = *parsed;
    return base::JsonConversion::converted;
}

} // namespace

void declareFields(base::JsonRecordReader& reader, BrowserActivityEvent& event)
{
    reader.required("id", event.id);
    reader.required("browserDisplayName", event.browserDisplayName);
    reader.required("browserBundleIdentifier", event.browserBundleIdentifier);
    reader.optional("hostname", event.hostname);
    reader.optional("temporaryTabIdentifier", event.temporaryTabIdentifier);
    reader.required("eventType", event.eventType);
    reader.optional("isPrivate", event.isPrivate);
    reader.optional("resourceType", event.resourceType);
    reader.optional("pdfIdentifier", event.pdfIdentifier);
    reader.optional("pdfLabel", event.pdfLabel);
    reader.optional("pdfLabelSource", event.pdfLabelSource);
    reader.optional("localFilePermission", event.localFilePermission);
    reader.requiredWith<timestampFromJson>(
        "timestamp", event.timestamp, "timestamp must be an ISO-8601 string");
}

std::expected<BrowserActivityEvent, base::JsonError> decodeBrowserActivityEvent(
    std::string_view text)
{
    BrowserActivityEvent event;
    base::JsonRecordReader reader;
    declareFields(reader, event);
    if (const auto read = base::readJson(text, reader); !read)
        return std::unexpected(read.error());
    return event;
}

std::expected<std::string, base::JsonError> encode(const BrowserActivityEvent& event)
{
    base::JsonWriter writer;
    writer.member("id", event.id);
    writer.member("browserDisplayName", event.browserDisplayName);
    writer.member("browserBundleIdentifier", event.browserBundleIdentifier);
    writer.member("hostname", event.hostname);
    writer.member("temporaryTabIdentifier", event.temporaryTabIdentifier);
    writer.member("timestamp", base::formatISO8601(event.timestamp));
    writer.member("eventType", event.eventType);
    writer.member("isPrivate", event.isPrivate);
    writer.member("resourceType", event.resourceType);
    writer.member("pdfIdentifier", event.pdfIdentifier);
    writer.member("pdfLabel", event.pdfLabel);
    writer.member("pdfLabelSource", event.pdfLabelSource);
    writer.member("localFilePermission", event.localFilePermission);
    return std::move(writer).finish();
}

} // namespace events
