#include "fuzz/support/naive_records.h"

#include "fuzz/support/naive_text.h"
#include "fuzz/support/naive_time.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>

namespace fuzz {

namespace {

using enum FieldForm;

constexpr std::array<std::string_view, 8> eventTypes { "browserBecameActive", "tabActivated",
    "tabNavigated", "browserWindowFocused", "browserWindowBlurred", "tabClosed",
    "extensionDisconnected", "heartbeat" };
constexpr std::array<std::string_view, 2> resourceTypes { "website", "localPDF" };
constexpr std::array<std::string_view, 2> labelSources { "filename", "manual" };
constexpr std::array<std::string_view, 3> permissions { "enabled", "permissionRequired",
    "unsupported" };
constexpr std::array<std::string_view, 2> commandTypes { "showLocalPDF",
    "setFilenameLabelsEnabled" };

constexpr std::array<FieldRule, 13> eventFields { {
    { .key = "id", .form = uuid, .isRequired = true },
    { .key = "browserDisplayName", .isRequired = true },
    { .key = "browserBundleIdentifier", .isRequired = true },
    { .key = "hostname" },
    { .key = "temporaryTabIdentifier" },
    { .key = "timestamp", .form = time, .isRequired = true },
    { .key = "eventType", .form = oneOf, .isRequired = true, .texts = eventTypes },
    { .key = "isPrivate", .form = boolean, .writtenDefault = "false" },
    { .key = "resourceType",
        .form = oneOf,
        .texts = resourceTypes,
        .writtenDefault = "\"website\"" },
    { .key = "pdfIdentifier" },
    { .key = "pdfLabel" },
    { .key = "pdfLabelSource", .form = oneOf, .texts = labelSources },
    { .key = "localFilePermission", .form = oneOf, .texts = permissions },
} };

constexpr std::array<FieldRule, 6> requestFields { {
    { .key = "protocolVersion", .form = integer64, .isRequired = true },
    { .key = "type", .isRequired = true },
    { .key = "event", .form = record, .fields = eventFields },
    { .key = "browserBundleIdentifier" },
    { .key = "paused", .form = boolean },
    { .key = "extensionVersion" },
} };

constexpr std::array<FieldRule, 5> inboxEnvelopeFields { {
    { .key = "version", .form = integer64, .isRequired = true },
    { .key = "token", .isRequired = true },
    { .key = "sessionIdentifier", .form = uuid, .isRequired = true },
    { .key = "receivedAt", .form = seconds, .isRequired = true },
    { .key = "eventData", .form = base64, .isRequired = true },
} };

constexpr std::array<FieldRule, 7> stateFields { {
    { .key = "version", .form = integer64, .isRequired = true },
    { .key = "appProcessIdentifier", .form = integer32, .isRequired = true },
    { .key = "sessionRunning", .form = boolean, .isRequired = true },
    { .key = "sessionIdentifier", .form = uuid },
    { .key = "browserTrackingPaused", .form = boolean, .isRequired = true },
    { .key = "frontmostBrowserBundleIdentifier" },
    { .key = "updatedAt", .form = seconds, .isRequired = true },
} };

constexpr std::array<FieldRule, 3> preferencesFields { {
    { .key = "version", .form = integer64, .isRequired = true },
    { .key = "token", .isRequired = true },
    { .key = "filenameLabelsEnabled", .form = boolean, .isRequired = true },
} };

constexpr std::array<FieldRule, 7> commandFields { {
    { .key = "id", .form = uuid, .isRequired = true },
    { .key = "type", .form = oneOf, .isRequired = true, .texts = commandTypes },
    { .key = "browserBundleIdentifier", .isRequired = true },
    { .key = "sessionIdentifier", .form = uuid },
    { .key = "pdfIdentifier", .form = uuid },
    { .key = "filenameLabelsEnabled", .form = boolean },
    { .key = "createdAt", .form = seconds, .isRequired = true },
} };

constexpr std::array<FieldRule, 3> commandEnvelopeFields { {
    { .key = "version", .form = integer64, .isRequired = true },
    { .key = "token", .isRequired = true },
    { .key = "command", .form = record, .isRequired = true, .fields = commandFields },
} };

constexpr std::array<FieldRule, 7> readinessFields { {
    { .key = "version", .form = integer64, .isRequired = true },
    { .key = "browserBundleIdentifier", .isRequired = true },
    { .key = "extensionVersion", .isRequired = true },
    { .key = "nativeHostVersion", .isRequired = true },
    { .key = "protocolVersion", .form = integer64, .isRequired = true },
    { .key = "connectionAvailable", .form = boolean, .isRequired = true },
    { .key = "updatedAt", .form = seconds, .isRequired = true },
} };

constexpr std::array<FieldRule, 3> readinessEnvelopeFields { {
    { .key = "version", .form = integer64, .isRequired = true },
    { .key = "token", .isRequired = true },
    { .key = "readiness", .form = record, .isRequired = true, .fields = readinessFields },
} };

bool isDigitsAlone(std::string_view number)
{
    return number.find_first_not_of("-0123456789") == std::string_view::npos;
}

double valueOf(std::string_view number)
{
    return std::strtod(std::string(number).c_str(), nullptr);
}

// The digits of a number with fraction or exponent, moved to where the exponent puts them; none if
// the number is not whole. It must be less than 2^63, or there might be very many of them.
std::optional<std::string> writtenOut(const std::string& number)
{
    const std::size_t mark = std::min(number.find('e'), number.size());
    const std::string significand = number.substr(0, mark);
    const std::size_t point = std::min(significand.find('.'), mark);
    const std::string fraction = significand.substr(std::min(point + 1, mark));
    long long zeros = -static_cast<long long>(fraction.size());
    if (mark < number.size())
        zeros += std::strtoll(number.c_str() + mark + 1, nullptr, 10);

    const std::string sign = number.starts_with('-') ? "-" : "";
    std::string digits = significand.substr(sign.size(), point - sign.size()) + fraction;
    digits.erase(0, digits.find_first_not_of('0'));
    for (; zeros > 0; --zeros)
        digits += '0';
    for (; zeros < 0; ++zeros) {
        if (!digits.ends_with('0'))
            return std::nullopt;
        digits.pop_back();
    }
    return sign + digits;
}

// The whole number that is read, in digits; none for what is refused.
std::optional<std::string> wholeNumber(const std::string& number)
{
    if (isDigitsAlone(number))
        return number == "-0" ? "0" : number;
    const double value = valueOf(number);
    constexpr double twoToThe53rd = 9007199254740992.0;
    constexpr double twoToThe63rd = 9223372036854775808.0;
    if (std::fabs(value) >= twoToThe63rd || value != std::floor(value))
        return std::nullopt;
    if (std::fabs(value) >= twoToThe53rd)
        return writtenOut(number);
    return std::to_string(static_cast<long long>(value));
}

// Compares as texts: numbers have no zeros in front.
bool isInteger(const std::string& number, std::string_view lowest, std::string_view highest)
{
    const auto whole = wholeNumber(number);
    if (!whole)
        return false;
    const std::string_view limit = whole->starts_with('-') ? lowest : highest;
    return whole->size() < limit.size() || (whole->size() == limit.size() && *whole <= limit);
}

bool isSeconds(const std::string& number)
{
    const double value = valueOf(number);
    const bool isZero
        = number.substr(0, number.find('e')).find_first_of("123456789") == std::string::npos;
    return std::isfinite(value) && (value != 0 || isZero);
}

bool isNumber(const NaiveValue& value, FieldForm form)
{
    if (value.type != NaiveValue::Type::number)
        return false;
    if (form == integer64)
        return isInteger(value.text, "-9223372036854775808", "9223372036854775807");
    if (form == integer32)
        return isInteger(value.text, "-2147483648", "2147483647");
    return isSeconds(value.text);
}

bool isText(const NaiveValue& value, const FieldRule& rule)
{
    if (!value.isString())
        return false;
    switch (rule.form) {
    case uuid:
        return isNaiveUUID(value.text);
    case base64:
        return naiveBytes(value.text).has_value();
    case time:
        return naiveMilliseconds(value.text).has_value();
    case oneOf:
        return std::ranges::find(rule.texts, value.text) != rule.texts.end();
    default:
        return true;
    }
}

// NOLINTBEGIN(misc-no-recursion): records hold records that hold none
bool fits(const NaiveValue* value, const FieldRule& rule)
{
    if (value == nullptr || value->type == NaiveValue::Type::null)
        return !rule.isRequired;
    switch (rule.form) {
    case boolean:
        return value->type == NaiveValue::Type::boolean;
    case integer64:
    case integer32:
    case seconds:
        return isNumber(*value, rule.form);
    case record:
        return isRecord(*value, rule.fields);
    default:
        return isText(*value, rule);
    }
}

bool isSameValue(const NaiveValue& written, const NaiveValue& read, const FieldRule& rule)
{
    if (written.type != read.type)
        return false;
    switch (rule.form) {
    case boolean:
        return written.boolean == read.boolean;
    case integer64:
    case integer32:
        return written.text == wholeNumber(read.text);
    case seconds:
        return valueOf(written.text) == valueOf(read.text);
    case uuid:
        return written.text == naivelyUpperCased(read.text);
    case time:
        if (const auto milliseconds = naiveMilliseconds(read.text); hasPlainDate(*milliseconds))
            return written.text == naiveTimeText(*milliseconds);
        return true;
    case record:
        return saysTheSame(written, read, rule.fields);
    default:
        return written.text == read.text;
    }
}
// NOLINTEND(misc-no-recursion)

} // namespace

RecordRules requestRules()
{
    return requestFields;
}

RecordRules eventRules()
{
    return eventFields;
}

RecordRules inboxEnvelopeRules()
{
    return inboxEnvelopeFields;
}

RecordRules stateRules()
{
    return stateFields;
}

RecordRules preferencesRules()
{
    return preferencesFields;
}

RecordRules commandEnvelopeRules()
{
    return commandEnvelopeFields;
}

RecordRules commandRules()
{
    return commandFields;
}

RecordRules readinessEnvelopeRules()
{
    return readinessEnvelopeFields;
}

// NOLINTBEGIN(misc-no-recursion): records hold records that hold none
bool isRecord(const NaiveValue& value, RecordRules rules)
{
    return value.type == NaiveValue::Type::object
        && std::ranges::all_of(
            rules, [&value](const FieldRule& rule) { return fits(value.find(rule.key), rule); });
}
// NOLINTEND(misc-no-recursion)

std::optional<NaiveValue> soundRecord(std::string_view text, RecordRules rules)
{
    auto value = parseNaively(text);
    if (!value || !isRecord(*value, rules))
        return std::nullopt;
    return value;
}

// NOLINTNEXTLINE(misc-no-recursion): records hold records that hold none
bool saysTheSame(const NaiveValue& written, const NaiveValue& read, RecordRules rules)
{
    std::size_t expectedMembers = 0;
    for (const FieldRule& rule : rules) {
        const NaiveValue* const value = presentField(read, rule.key);
        const NaiveValue* const counterpart = written.find(rule.key);
        if (value == nullptr && rule.writtenDefault.empty()) {
            if (counterpart != nullptr)
                return false;
            continue;
        }
        ++expectedMembers;
        if (counterpart == nullptr)
            return false;
        const bool isSame = value == nullptr ? naiveText(*counterpart) == rule.writtenDefault
                                             : isSameValue(*counterpart, *value, rule);
        if (!isSame)
            return false;
    }
    return written.members.size() == expectedMembers;
}

const NaiveValue* presentField(const NaiveValue& record, std::string_view key)
{
    const NaiveValue* const value = record.find(key);
    return value == nullptr || value->type == NaiveValue::Type::null ? nullptr : value;
}

std::string textField(const NaiveValue& record, std::string_view key)
{
    return record.find(key)->text;
}

double numberField(const NaiveValue& record, std::string_view key)
{
    return valueOf(record.find(key)->text);
}

bool booleanField(const NaiveValue& record, std::string_view key)
{
    return record.find(key)->boolean;
}

} // namespace fuzz
