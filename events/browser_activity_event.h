#pragma once
// What the extension reports about browsing: one event record, its enumerations and its JSON form.

#include "base/enumeration.h"
#include "base/json_reader.h"
#include "base/timestamp.h"
#include "base/uuid.h"

#include <array>
#include <cstdint>
#include <expected>
#include <optional>
#include <string>
#include <string_view>

namespace events {

enum class BrowserActivityEventType : std::uint8_t {
    browserBecameActive,
    tabActivated,
    tabNavigated,
    browserWindowFocused,
    browserWindowBlurred,
    tabClosed,
    extensionDisconnected,
    heartbeat
};

/// What the tab shows.
enum class BrowserActivityResourceType : std::uint8_t { website, localPDF };

/// Where the label of a local PDF came from.
enum class BrowserPDFLabelSource : std::uint8_t { filename, manual };

/// Whether the extension may read local files.
enum class BrowserLocalFilePermission : std::uint8_t { enabled, permissionRequired, unsupported };

struct BrowserActivityEvent {
    base::UUID id; // chosen by the extension
    std::string browserDisplayName;
    std::string browserBundleIdentifier;
    std::optional<std::string> hostname; // of the active web page
    std::optional<std::string> temporaryTabIdentifier; // not stable across sessions
    base::Timestamp timestamp; // when it happened
    BrowserActivityEventType eventType = BrowserActivityEventType::heartbeat;
    bool isPrivate = false; // from a private window
    BrowserActivityResourceType resourceType = BrowserActivityResourceType::website;
    std::optional<std::string> pdfIdentifier; // a UUID's text
    std::optional<std::string> pdfLabel;
    std::optional<BrowserPDFLabelSource> pdfLabelSource;
    std::optional<BrowserLocalFilePermission> localFilePermission;

    friend bool operator==(const BrowserActivityEvent&, const BrowserActivityEvent&) = default;
};

/// Declares the event's fields in the order in which their failures count: all of them in the
/// record's order but the time stamp, which is last. Nothing but each value's type and form is
/// checked; unknown keys are ignored. A time stamp whose text is not of the form of
/// `base::parseISO8601` fails with dataCorrupted and the description "timestamp must be an ISO-8601
/// string".
void declareFields(base::JsonRecordReader& reader, BrowserActivityEvent& event);

/// Decodes one event from a JSON text.
[[nodiscard]] std::expected<BrowserActivityEvent, base::JsonError> decodeBrowserActivityEvent(
    std::string_view text);

/// The event as JSON, in the record's order; absent fields are left out. The time stamp is written
/// by `base::formatISO8601`.
[[nodiscard]] std::expected<std::string, base::JsonError> encode(const BrowserActivityEvent& event);

} // namespace events

template <> struct base::EnumerationTexts<events::BrowserActivityEventType> {
    static constexpr std::array<std::string_view, 8> texts { "browserBecameActive", "tabActivated",
        "tabNavigated", "browserWindowFocused", "browserWindowBlurred", "tabClosed",
        "extensionDisconnected", "heartbeat" };
};

template <> struct base::EnumerationTexts<events::BrowserActivityResourceType> {
    static constexpr std::array<std::string_view, 2> texts { "website", "localPDF" };
};

template <> struct base::EnumerationTexts<events::BrowserPDFLabelSource> {
    static constexpr std::array<std::string_view, 2> texts { "filename", "manual" };
};

template <> struct base::EnumerationTexts<events::BrowserLocalFilePermission> {
    static constexpr std::array<std::string_view, 3> texts { "enabled", "permissionRequired",
        "unsupported" };
};
