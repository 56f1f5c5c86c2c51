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

Judgement soundIf(bool isSound)
{
    return isSound ? Judgement::sound : Judgement::refused;
}

bool isDigitsAlone(std::string_view number)
{
    return number.find_first_not_of("-0123456789") == std::string_view::npos;
}

// Compares as texts: JSON numbers have no zeros in front.
bool fits(std::string_view number, std::string_view lowest, std::string_view highest)
{
    const bool isNegative = number.starts_with('-');
    const std::string_view limit = isNegative ? lowest : highest;
    return number.size() < limit.size() || (number.size() == limit.size() && number <= limit);
}

double valueOf(std::string_view number)
{
    return std::strtod(std::string(number).c_str(), nullptr);
}

Judgement judgeInteger(std::string_view number, std::string_view lowest, std::string_view highest)
{
    if (isDigitsAlone(number))
        return soundIf(fits(number, lowest, highest));
    const double value = valueOf(number);
    if (value != std::floor(value) || std::fabs(value) > -valueOf(lowest))
        return Judgement::refused;
    constexpr double twoToThe53rd = 9007199254740992.0;
    if (std::fabs(value) >= twoToThe53rd)
        return Judgement::doubtful;
    return soundIf(value >= valueOf(lowest) && value <= valueOf(highest));
}

Judgement judgeSeconds(std::string_view number)
{
    const double value = valueOf(number);
    const std::string_view significand = number.substr(0, number.find('e'));
    const bool vanishes
        = value == 0 && significand.find_first_of("123456789") != std::string_view::npos;
    return soundIf(std::isfinite(value) && !vanishes);
}

Judgement judgeNumber(const NaiveValue& value, FieldForm form)
{
    if (value.type != NaiveValue::Type::number)
        return Judgement::refused;
    if (form == integer64)
        return judgeInteger(value.text, "-9223372036854775808", "9223372036854775807");
    if (form == integer32)
        return judgeInteger(value.text, "-2147483648", "2147483647");
    return judgeSeconds(value.text);
}

bool isSoundText(const NaiveValue& value, const FieldRule& rule)
{
    if (!value.isString())
        return false;
    switch (rule.form) {
    case uuid:
        return isNaiveUUID(value.text);
    case base64:
        return isNaiveBase64(value.text);
    case time:
        return naiveMilliseconds(value.text).has_value();
    case oneOf:
        return std::ranges::find(rule.texts, value.text) != rule.texts.end();
    default:
        return true;
    }
}

// NOLINTBEGIN(misc-no-recursion): records hold records that hold none
Judgement judgeField(const NaiveValue* value, const FieldRule& rule)
{
    if (value == nullptr || value->type == NaiveValue::Type::null)
        return soundIf(!rule.isRequired);
    switch (rule.form) {
    case boolean:
        return soundIf(value->type == NaiveValue::Type::boolean);
    case integer64:
    case integer32:
    case seconds:
        return judgeNumber(*value, rule.form);
    case record:
        return judgeRecord(*value, rule.fields);
    default:
        return soundIf(isSoundText(*value, rule));
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
        if (isDigitsAlone(read.text) && read.text != "-0")
            return written.text == read.text;
        return valueOf(written.text) == valueOf(read.text);
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

// NOLINTNEXTLINE(misc-no-recursion): records hold records that hold none
Judgement judgeRecord(const NaiveValue& value, RecordRules rules)
{
    if (value.type != NaiveValue::Type::object)
        return Judgement::refused;
    Judgement worst = Judgement::sound;
    for (const FieldRule& rule : rules)
        worst = std::min(worst, judgeField(value.find(rule.key), rule));
    return worst;
}

std::optional<NaiveValue> soundRecord(std::string_view text, RecordRules rules)
{
    auto value = parseNaively(text);
    if (!value || judgeRecord(*value, rules) != Judgement::sound)
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
