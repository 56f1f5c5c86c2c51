#pragma once
// The JSON records in the bridge directory: the contract between the host and the application.
//
// Every file holds one record. Required fields must be there and of their type; optional ones may
// be absent or null; unknown keys are ignored. Versions are read as they are: whether a record of
// that version is accepted is for its reader to decide. Time stamps are numbers of seconds since
// 2001, UUIDs upper-case text (either case is read).

#include "base/enumeration.h"
#include "base/json_reader.h"
#include "base/json_writer.h"
#include "base/timestamp.h"
#include "base/uuid.h"

#include <array>
#include <cstdint>
#include <expected>
#include <optional>
#include <string>
#include <string_view>

namespace bridge {

/// The version that every record is written with, and the only one that is accepted.
inline constexpr std::int64_t recordVersion = 1;

/// One accepted browser event, in "Inbox".
struct BrowserBridgeEnvelope {
    std::int64_t version = recordVersion;
    std::string token;
    base::UUID sessionIdentifier; // the running session
    base::Timestamp receivedAt; // when the host received the event
    std::string eventData; // the bytes of the event's JSON; base64 in the record

    friend bool operator==(const BrowserBridgeEnvelope&, const BrowserBridgeEnvelope&) = default;
};

/// The application's state, in "state.json".
struct BrowserBridgeState {
    std::int64_t version = recordVersion;
    std::int32_t appProcessIdentifier = 0;
    bool sessionRunning = false;
    std::optional<base::UUID> sessionIdentifier;
    bool browserTrackingPaused = false;
    std::optional<std::string> frontmostBrowserBundleIdentifier;
    base::Timestamp updatedAt; // when the application last wrote the file

    friend bool operator==(const BrowserBridgeState&, const BrowserBridgeState&) = default;
};

/// The user's preferences for the extension, in "preferences.json".
struct BrowserBridgePreferencesEnvelope {
    std::int64_t version = recordVersion;
    std::string token;
    bool filenameLabelsEnabled
        = false; // whether local PDF files may be labelled by their file names

    friend bool operator==(
        const BrowserBridgePreferencesEnvelope&, const BrowserBridgePreferencesEnvelope&)
        = default;
};

enum class BrowserBridgeCommandType : std::uint8_t { showLocalPDF, setFilenameLabelsEnabled };

/// What the application asks the extension to do. Which optional fields go with which type is not
/// checked: they are passed on as they are.
struct BrowserBridgeCommand {
    base::UUID id;
    BrowserBridgeCommandType type = BrowserBridgeCommandType::showLocalPDF;
    std::string browserBundleIdentifier; // the browser that is to carry it out
    std::optional<base::UUID> sessionIdentifier; // the session that it belongs to
    std::optional<base::UUID> pdfIdentifier; // the PDF to show
    std::optional<bool> filenameLabelsEnabled; // the new setting
    base::Timestamp createdAt;

    friend bool operator==(const BrowserBridgeCommand&, const BrowserBridgeCommand&) = default;
};

/// One command, in "Commands".
struct BrowserBridgeCommandEnvelope {
    std::int64_t version = recordVersion;
    std::string token;
    BrowserBridgeCommand command;

    friend bool operator==(const BrowserBridgeCommandEnvelope&, const BrowserBridgeCommandEnvelope&)
        = default;
};

/// What the host reports about one browser's extension.
struct BrowserBridgeReadiness {
    std::int64_t version = recordVersion;
    std::string browserBundleIdentifier;
    std::string extensionVersion; // as the extension reported it
    std::string nativeHostVersion;
    std::int64_t protocolVersion = 0; // of native messaging
    bool connectionAvailable = false; // whether the extension is connected to the host
    base::Timestamp updatedAt;

    friend bool operator==(const BrowserBridgeReadiness&, const BrowserBridgeReadiness&) = default;
};

/// One browser's report, in "Readiness".
struct BrowserBridgeReadinessEnvelope {
    std::int64_t version = recordVersion;
    std::string token;
    BrowserBridgeReadiness readiness;

    friend bool operator==(
        const BrowserBridgeReadinessEnvelope&, const BrowserBridgeReadinessEnvelope&)
        = default;
};

template <typename Record> using DecodeResult = std::expected<Record, base::JsonError>;
using EncodeResult = std::expected<std::string, base::JsonError>;

/// A record is decoded completely or not at all.
[[nodiscard]] DecodeResult<BrowserBridgeEnvelope> decodeBrowserBridgeEnvelope(
    std::string_view text);
[[nodiscard]] DecodeResult<BrowserBridgeState> decodeBrowserBridgeState(std::string_view text);
[[nodiscard]] DecodeResult<BrowserBridgePreferencesEnvelope> decodeBrowserBridgePreferencesEnvelope(
    std::string_view text);
[[nodiscard]] DecodeResult<BrowserBridgeCommandEnvelope> decodeBrowserBridgeCommandEnvelope(
    std::string_view text);
[[nodiscard]] DecodeResult<BrowserBridgeReadinessEnvelope> decodeBrowserBridgeReadinessEnvelope(
    std::string_view text);

/// Compact JSON in the order of the fields; absent optional fields are left out. Fails with
/// invalidValue for a time stamp that is not finite.
[[nodiscard]] EncodeResult encode(const BrowserBridgeEnvelope& envelope);
[[nodiscard]] EncodeResult encode(const BrowserBridgeState& state);
[[nodiscard]] EncodeResult encode(const BrowserBridgePreferencesEnvelope& envelope);
[[nodiscard]] EncodeResult encode(const BrowserBridgeCommandEnvelope& envelope);
[[nodiscard]] EncodeResult encode(const BrowserBridgeReadinessEnvelope& envelope);

/// Writes the members of a command into the object that is open in `writer`.
void writeMembers(base::JsonWriter& writer, const BrowserBridgeCommand& command);

} // namespace bridge

template <> struct base::EnumerationTexts<bridge::BrowserBridgeCommandType> {
    static constexpr std::array<std::string_view, 2> texts { "showLocalPDF",
        "setFilenameLabelsEnabled" };
};
