#pragma once
// Decides whether a decoded event may go to the application, and brings it into its normal form.

#include "base/timestamp.h"
#include "events/browser_activity_event.h"

#include <cstdint>
#include <expected>
#include <optional>
#include <string>
#include <string_view>

namespace events {

/// Limits in bytes and seconds.
struct ValidatorSettings {
    std::int64_t maximumPayloadBytes = 16384; // for payloadTooLarge; no check of `validate` uses it
    double maximumAge = 120.0; // oldest accepted time stamp, before now
    double maximumFutureSkew = 30.0; // newest accepted time stamp, after now
};

/// Why an event was refused.
struct BrowserEventValidationError {
    enum class Case : std::uint8_t {
        payloadTooLarge,
        unsupportedBrowser,
        emptyPayload,
        malformedPayload,
        invalidBrowserDisplayName,
        invalidHostname,
        invalidTemporaryTabIdentifier,
        invalidPDFIdentifier,
        invalidPDFLabel,
        invalidPDFLabelSource,
        invalidLocalFilePermission,
        invalidFieldCombination,
        privateBrowsingDataRejected,
        timestampTooOld,
        timestampTooFarInFuture
    };

    Case errorCase = Case::malformedPayload;
    std::int64_t actualBytes = 0; // payloadTooLarge alone
    std::int64_t maximumBytes = 0; // payloadTooLarge alone
    std::string browserBundleIdentifier {}; // unsupportedBrowser alone: the identifier as received

    friend bool operator==(const BrowserEventValidationError&, const BrowserEventValidationError&)
        = default;
};

/// The user-facing text of `error`.
[[nodiscard]] std::string message(const BrowserEventValidationError& error);

/// Checks `event` against the clock and every field's rule and returns it in normal form: texts
/// trimmed, host name and PDF identifier in lower case, the host name without one final dot,
/// browser name and identifier as the browser table has them. The first failing check decides; they
/// run in this order: time stamp, browser, display name, host name, tab identifier, PDF identifier,
/// PDF label and its source, local-file permission, private browsing, combination of fields. Both
/// ends of the accepted time span are inclusive. Texts must be well-formed UTF-8; lengths count its
/// bytes.
[[nodiscard]] std::expected<BrowserActivityEvent, BrowserEventValidationError> validate(
    const BrowserActivityEvent& event, base::Timestamp now, const ValidatorSettings& settings);

/// Normalises a host name: trimmed, in lower case, without one final dot. Yields none unless 1 to
/// 253 bytes remain that are labels of 1 to 63 letters, digits and hyphens of ASCII, joined by
/// dots, none beginning or ending with a hyphen (RFC 1123 section 2.1, RFC 1035 section 2.3.4).
/// Internationalised names must come in their ASCII form.
[[nodiscard]] std::optional<std::string> normalizedHostname(std::string_view hostname);

} // namespace events
