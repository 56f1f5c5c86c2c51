#include "events/event_validation.h"

#include "base/unicode_text.h"
#include "base/uuid.h"
#include "events/supported_browsers.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace events {

namespace {

using Error = BrowserEventValidationError;
using Case = BrowserEventValidationError::Case;

// All in bytes of UTF-8.
constexpr std::size_t maximumDisplayNameLength = 128;
constexpr std::size_t maximumHostnameLength = 253;
constexpr std::size_t maximumHostnameLabelLength = 63;
constexpr std::size_t maximumTabIdentifierLength = 128;
constexpr std::size_t maximumPDFIdentifierLength = 64;
constexpr std::size_t maximumPDFLabelLength = 160;

constexpr bool isDigit(char character)
{
    return character >= '0' && character <= '9';
}

constexpr bool isLowerCaseLetter(char character)
{
    return character >= 'a' && character <= 'z';
}

constexpr bool isUpperCaseLetter(char character)
{
    return character >= 'A' && character <= 'Z';
}

constexpr char lowerCase(char character)
{
    return isUpperCaseLetter(character) ? static_cast<char>(character - 'A' + 'a') : character;
}

// Lower-cases what can still pass the rules for host names and UUIDs, which allow nothing but
// ASCII: the only code point outside ASCII whose lower case is ASCII is U+212A, the Kelvin sign.
std::string lowerCased(std::string_view text)
{
    constexpr std::string_view kelvinSign = "\xE2\x84\xAA";
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        if (text.starts_with(kelvinSign)) {
            result += 'k';
            text.remove_prefix(kelvinSign.size());
        } else {
            result += lowerCase(text.front());
            text.remove_prefix(1);
        }
    }
    return result;
}

bool holdsControlCharacter(std::string_view text)
{
    return !base::allScalars(
        text, [](char32_t scalar) { return !base::isControlCharacter(scalar); });
}

bool isHostnameLabel(std::string_view label)
{
    if (label.empty() || label.size() > maximumHostnameLabelLength)
        return false;
    if (label.front() == '-' || label.back() == '-')
        return false;
    return std::ranges::all_of(label, [](char character) {
        return isDigit(character) || isLowerCaseLetter(character) || character == '-';
    });
}

std::optional<std::string> normalizedTabIdentifier(std::string_view identifier)
{
    identifier = base::trimmed(identifier);
    if (identifier.empty() || identifier.size() > maximumTabIdentifierLength)
        return std::nullopt;
    const bool isSound = std::ranges::all_of(identifier, [](char character) {
        return isDigit(character) || isLowerCaseLetter(character) || isUpperCaseLetter(character)
            || character == '-' || character == '.' || character == '_' || character == ':';
    });
    return isSound ? std::optional(std::string(identifier)) : std::nullopt;
}

std::optional<std::string> normalizedPDFIdentifier(std::string_view identifier)
{
    std::string result = lowerCased(base::trimmed(identifier));
    if (result.size() > maximumPDFIdentifierLength || !base::parseUUID(result))
        return std::nullopt;
    return result;
}

std::optional<std::string> normalizedPDFLabel(std::string_view label)
{
    label = base::trimmed(label);
    if (label.empty() || label.size() > maximumPDFLabelLength)
        return std::nullopt;
    // A label is a name, never a path.
    if (label.find_first_of("/\\") != std::string_view::npos || holdsControlCharacter(label))
        return std::nullopt;
    return std::string(label);
}

std::optional<Case> timeFailure(
    base::Timestamp timestamp, base::Timestamp now, const ValidatorSettings& settings)
{
    if (!base::isFinite(timestamp) || !base::isFinite(now))
        return Case::malformedPayload;
    const double age = base::secondsBetween(timestamp, now);
    if (age > settings.maximumAge)
        return Case::timestampTooOld;
    if (age < -settings.maximumFutureSkew)
        return Case::timestampTooFarInFuture;
    return std::nullopt;
}

bool isValidDisplayName(std::string_view name)
{
    name = base::trimmed(name);
    return !name.empty() && name.size() <= maximumDisplayNameLength && !holdsControlCharacter(name);
}

// Replaces `field`, if it is there, by what `normalize` makes of it; false if that is nothing.
template <typename Normalize>
bool normalizeField(std::optional<std::string>& field, Normalize normalize)
{
    if (!field)
        return true;
    auto normalized = normalize(*field);
    if (!normalized)
        return false;
    field = std::move(normalized);
    return true;
}

std::optional<Case> labelFailure(BrowserActivityEvent& event)
{
    if (!normalizeField(event.pdfLabel, normalizedPDFLabel))
        return Case::invalidPDFLabel;
    if (!event.pdfLabelSource)
        return std::nullopt;
    const bool isLocalPDF = event.resourceType == BrowserActivityResourceType::localPDF;
    if (!event.pdfLabel || !isLocalPDF)
        return Case::invalidPDFLabelSource;
    return std::nullopt;
}

// An event that was decoded can hold no other value; one that was built otherwise might.
bool isAllowed(BrowserLocalFilePermission permission)
{
    constexpr auto allowed = base::allValues<BrowserLocalFilePermission>();
    return std::ranges::find(allowed, permission) != allowed.end();
}

std::optional<Case> combinationFailure(const BrowserActivityEvent& event)
{
    const bool hasHostname = event.hostname.has_value();
    const bool hasTab = event.temporaryTabIdentifier.has_value();
    const bool hasPDF = event.pdfIdentifier.has_value();
    const bool isLocalPDF = event.resourceType == BrowserActivityResourceType::localPDF;
    const auto failUnless = [](bool isSound, Case failure) {
        return isSound ? std::nullopt : std::optional(failure);
    };
    switch (event.eventType) {
    case BrowserActivityEventType::browserBecameActive:
    case BrowserActivityEventType::tabActivated:
    case BrowserActivityEventType::tabNavigated:
    case BrowserActivityEventType::browserWindowFocused:
    case BrowserActivityEventType::heartbeat:
        if (event.isPrivate)
            return std::nullopt; // What it must not hold was refused before.
        if (isLocalPDF)
            return failUnless(hasPDF && !hasHostname && !hasTab, Case::invalidFieldCombination);
        return failUnless(!hasPDF && hasHostname == hasTab, Case::invalidFieldCombination);
    case BrowserActivityEventType::browserWindowBlurred:
    case BrowserActivityEventType::extensionDisconnected:
        return failUnless(!hasHostname && !hasTab && !hasPDF, Case::invalidFieldCombination);
    case BrowserActivityEventType::tabClosed:
        return failUnless(
            !event.isPrivate && !hasHostname && hasPDF == isLocalPDF && hasTab == !isLocalPDF,
            Case::invalidFieldCombination);
    }
    return Case::invalidFieldCombination;
}

// The checks of the fields, in their order; brings the texts of `event` into normal form on the
// way.
std::optional<Case> fieldFailure(BrowserActivityEvent& event)
{
    if (!isValidDisplayName(event.browserDisplayName))
        return Case::invalidBrowserDisplayName;
    if (!normalizeField(event.hostname, normalizedHostname))
        return Case::invalidHostname;
    if (!normalizeField(event.temporaryTabIdentifier, normalizedTabIdentifier))
        return Case::invalidTemporaryTabIdentifier;
    if (!normalizeField(event.pdfIdentifier, normalizedPDFIdentifier))
        return Case::invalidPDFIdentifier;
    if (const auto failure = labelFailure(event))
        return failure;
    if (event.localFilePermission && !isAllowed(*event.localFilePermission))
        return Case::invalidLocalFilePermission;
    const bool namesWhatWasSeen
        = event.hostname || event.temporaryTabIdentifier || event.pdfIdentifier || event.pdfLabel;
    if (event.isPrivate && namesWhatWasSeen)
        return Case::privateBrowsingDataRejected;
    return combinationFailure(event);
}

} // namespace

std::string message(const BrowserEventValidationError& error)
{
    switch (error.errorCase) {
    case Case::payloadTooLarge:
        return "The browser event is " + std::to_string(error.actualBytes) + " bytes; the limit is "
            + std::to_string(error.maximumBytes) + " bytes.";
    case Case::unsupportedBrowser:
        return "The browser bundle identifier is not allowed: " + error.browserBundleIdentifier;
    case Case::emptyPayload:
        return "The browser event is empty.";
    case Case::malformedPayload:
        return "The browser event is not valid Kestrane JSON.";
    case Case::invalidBrowserDisplayName:
        return "The browser display name is invalid.";
    case Case::invalidHostname:
        return "The browser hostname is invalid.";
    case Case::invalidTemporaryTabIdentifier:
        return "The temporary browser tab identifier is invalid.";
    case Case::invalidPDFIdentifier:
        return "The local PDF identifier is invalid.";
    case Case::invalidPDFLabel:
        return "The local PDF label is invalid.";
    case Case::invalidPDFLabelSource:
        return "The local PDF label source is invalid.";
    case Case::invalidLocalFilePermission:
        return "The local-file permission status is invalid.";
    case Case::invalidFieldCombination:
        return "The event contains fields that are not valid for its event type.";
    case Case::privateBrowsingDataRejected:
        return "Kestrane does not accept hostnames or tab identifiers from private browsing.";
    case Case::timestampTooOld:
        return "The browser event timestamp is too old.";
    case Case::timestampTooFarInFuture:
        break;
    }
    return "The browser event timestamp is too far in the future.";
}

std::expected<BrowserActivityEvent, BrowserEventValidationError> validate(
    const BrowserActivityEvent& event, base::Timestamp now, const ValidatorSettings& settings)
{
    if (const auto failure = timeFailure(event.timestamp, now, settings))
        return std::unexpected(Error { .errorCase = *failure });
    const auto browser = supportedBrowser(event.browserBundleIdentifier);
    if (!browser) {
        return std::unexpected(Error { .errorCase = Case::unsupportedBrowser,
            .browserBundleIdentifier = event.browserBundleIdentifier });
    }
    BrowserActivityEvent result = event;
    if (const auto failure = fieldFailure(result))
        return std::unexpected(Error { .errorCase = *failure });
    result.browserBundleIdentifier = bundleIdentifier(*browser);
    result.browserDisplayName = displayName(*browser);
    return result;
}

std::optional<std::string> normalizedHostname(std::string_view hostname)
{
    std::string result = lowerCased(base::trimmed(hostname));
    if (result.ends_with('.'))
        result.pop_back();
    if (result.empty() || result.size() > maximumHostnameLength)
        return std::nullopt;
    for (std::string_view rest = result;;) {
        const std::size_t dot = rest.find('.');
        if (!isHostnameLabel(rest.substr(0, dot)))
            return std::nullopt;
        if (dot == std::string_view::npos)
            return result;
        rest.remove_prefix(dot + 1);
    }
}

} // namespace events
