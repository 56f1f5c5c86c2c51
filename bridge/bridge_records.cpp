#include "bridge/bridge_records.h"

#include "base/base64.h"

#include <utility>

namespace bridge {

namespace {

base::JsonConversion bytesFromJson(const base::JsonToken& token, std::string& bytes)
{
    if (token.type != base::JsonToken::Type::string)
        return base::JsonConversion::typeMismatch;
    auto decoded = base::decodeBase64(token.text);
    if (!decoded)
        return base::JsonConversion::dataCorrupted;
    bytes = *std::move(decoded);
    return base::JsonConversion::converted;
}

void declareFields(base::JsonRecordReader& reader, BrowserBridgeEnvelope& envelope)
{
    reader.required("version", envelope.version);
    reader.required("token", envelope.token);
    reader.required("sessionIdentifier", envelope.sessionIdentifier);
    reader.required("receivedAt", envelope.receivedAt);
    reader.requiredWith<bytesFromJson>(
        "eventData", envelope.eventData, "eventData must be base64 text");
}

void declareFields(base::JsonRecordReader& reader, BrowserBridgeState& state)
{
    reader.required("version", state.version);
    reader.required("appProcessIdentifier", state.appProcessIdentifier);
    reader.required("sessionRunning", state.sessionRunning);
    reader.optional("sessionIdentifier", state.sessionIdentifier);
    reader.required("browserTrackingPaused", state.browserTrackingPaused);
    reader.optional("frontmostBrowserBundleIdentifier", state.frontmostBrowserBundleIdentifier);
    reader.required("updatedAt", state.updatedAt);
}

void declareFields(base::JsonRecordReader& reader, BrowserBridgePreferencesEnvelope& envelope)
{
    reader.required("version", envelope.version);
    reader.required("token", envelope.token);
    reader.required("filenameLabelsEnabled", envelope.filenameLabelsEnabled);
}

void declareFields(base::JsonRecordReader& reader, BrowserBridgeCommand& command)
{
    reader.required("id", command.id);
    reader.required("type", command.type);
    reader.required("browserBundleIdentifier", command.browserBundleIdentifier);
    reader.optional("sessionIdentifier", command.sessionIdentifier);
    reader.optional("pdfIdentifier", command.pdfIdentifier);
    reader.optional("filenameLabelsEnabled", command.filenameLabelsEnabled);
    reader.required("createdAt", command.createdAt);
}

void declareFields(base::JsonRecordReader& reader, BrowserBridgeReadiness& readiness)
{
    reader.required("version", readiness.version);
    reader.required("browserBundleIdentifier", readiness.browserBundleIdentifier);
    reader.required("extensionVersion", readiness.extensionVersion);
    reader.required("nativeHostVersion", readiness.nativeHostVersion);
    reader.required("protocolVersion", readiness.protocolVersion);
    reader.required("connectionAvailable", readiness.connectionAvailable);
    reader.required("updatedAt", readiness.updatedAt);
}

template <typename Record> DecodeResult<Record> decode(std::string_view text)
{
    Record record;
    base::JsonRecordReader reader;
    declareFields(reader, record);
    if (const auto read = base::readJson(text, reader); !read)
        return std::unexpected(read.error());
    return record;
}

// Decodes an envelope that holds its record as the object `key`.
template <typename Envelope, typename Record>
DecodeResult<Envelope> decodeEnvelope(
    std::string_view text, std::string_view key, Record Envelope::* member)
{
    Envelope envelope;
    base::JsonRecordReader inner;
    declareFields(inner, envelope.*member);
    base::JsonRecordReader reader;
    reader.required("version", envelope.version);
    reader.required("token", envelope.token);
    reader.requiredObject(key, inner);
    if (const auto read = base::readJson(text, reader); !read)
        return std::unexpected(read.error());
    return envelope;
}

} // namespace

DecodeResult<BrowserBridgeEnvelope> decodeBrowserBridgeEnvelope(std::string_view text)
{
    return decode<BrowserBridgeEnvelope>(text);
}

DecodeResult<BrowserBridgeState> decodeBrowserBridgeState(std::string_view text)
{
    return decode<BrowserBridgeState>(text);
}

DecodeResult<BrowserBridgePreferencesEnvelope> decodeBrowserBridgePreferencesEnvelope(
    std::string_view text)
{
    return decode<BrowserBridgePreferencesEnvelope>(text);
}

DecodeResult<BrowserBridgeCommandEnvelope> decodeBrowserBridgeCommandEnvelope(std::string_view text)
{
    return decodeEnvelope(text, "command", &BrowserBridgeCommandEnvelope::command);
}

DecodeResult<BrowserBridgeReadinessEnvelope> decodeBrowserBridgeReadinessEnvelope(
    std::string_view text)
{
    return decodeEnvelope(text, "readiness", &BrowserBridgeReadinessEnvelope::readiness);
}

EncodeResult encode(const BrowserBridgeEnvelope& envelope)
{
    base::JsonWriter writer;
    writer.member("version", envelope.version);
    writer.member("token", envelope.token);
    writer.member("sessionIdentifier", envelope.sessionIdentifier);
    writer.member("receivedAt", envelope.receivedAt);
    writer.member("eventData", base::encodeBase64(envelope.eventData));
    return std::move(writer).finish();
}

EncodeResult encode(const BrowserBridgeState& state)
{
    base::JsonWriter writer;
    writer.member("version", state.version);
    writer.member("appProcessIdentifier", state.appProcessIdentifier);
    writer.member("sessionRunning", state.sessionRunning);
    writer.member("sessionIdentifier", state.sessionIdentifier);
    writer.member("browserTrackingPaused", state.browserTrackingPaused);
    writer.member("frontmostBrowserBundleIdentifier", state.frontmostBrowserBundleIdentifier);
    writer.member("updatedAt", state.updatedAt);
    return std::move(writer).finish();
}

EncodeResult encode(const BrowserBridgePreferencesEnvelope& envelope)
{
    base::JsonWriter writer;
    writer.member("version", envelope.version);
    writer.member("token", envelope.token);
    writer.member("filenameLabelsEnabled", envelope.filenameLabelsEnabled);
    return std::move(writer).finish();
}

EncodeResult encode(const BrowserBridgeCommandEnvelope& envelope)
{
    base::JsonWriter writer;
    writer.member("version", envelope.version);
    writer.member("token", envelope.token);
    writer.beginObject("command");
    writeMembers(writer, envelope.command);
    writer.endObject();
    return std::move(writer).finish();
}

EncodeResult encode(const BrowserBridgeReadinessEnvelope& envelope)
{
    const BrowserBridgeReadiness& readiness = envelope.readiness;
    base::JsonWriter writer;
    writer.member("version", envelope.version);
    writer.member("token", envelope.token);
    writer.beginObject("readiness");
    writer.member("version", readiness.version);
    writer.member("browserBundleIdentifier", readiness.browserBundleIdentifier);
    writer.member("extensionVersion", readiness.extensionVersion);
    writer.member("nativeHostVersion", readiness.nativeHostVersion);
    writer.member("protocolVersion", readiness.protocolVersion);
    writer.member("connectionAvailable", readiness.connectionAvailable);
    writer.member("updatedAt", readiness.updatedAt);
    writer.endObject();
    return std::move(writer).finish();
}

void writeMembers(base::JsonWriter& writer, const BrowserBridgeCommand& command)
{
    writer.member("id", command.id);
    writer.member("type", command.type);
    writer.member("browserBundleIdentifier", command.browserBundleIdentifier);
    writer.member("sessionIdentifier", command.sessionIdentifier);
    writer.member("pdfIdentifier", command.pdfIdentifier);
    writer.member("filenameLabelsEnabled", command.filenameLabelsEnabled);
    writer.member("createdAt", command.createdAt);
}

} // namespace bridge
