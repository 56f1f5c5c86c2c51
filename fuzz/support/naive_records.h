#pragma once
// The records once more: as tables of their fields, and rules that say for any JSON value whether
// it is such a record.

#include "fuzz/support/naive_json.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace fuzz {

enum class FieldForm : std::uint8_t {
    text,
    boolean,
    integer64,
    integer32,
    seconds, // a finite number
    uuid,
    base64,
    time, // ISO 8601
    oneOf, // one of some texts
    record
};

struct FieldRule {
    std::string_view key;
    FieldForm form = FieldForm::text;
    bool isRequired = false;
    std::span<const std::string_view> texts {}; // of oneOf
    std::span<const FieldRule> fields {}; // of record
    std::string_view writtenDefault {}; // JSON that is written when there is no value
};

using RecordRules = std::span<const FieldRule>;

[[nodiscard]] RecordRules requestRules();
[[nodiscard]] RecordRules eventRules();
[[nodiscard]] RecordRules inboxEnvelopeRules();
[[nodiscard]] RecordRules stateRules();
[[nodiscard]] RecordRules preferencesRules();
[[nodiscard]] RecordRules commandEnvelopeRules();
[[nodiscard]] RecordRules commandRules();
[[nodiscard]] RecordRules readinessEnvelopeRules();

/// Whether the value is such a record: whole numbers may have a fraction or an exponent, up to 2^53
/// wherever the nearest double is whole, beyond it where the number itself is.
[[nodiscard]] bool isRecord(const NaiveValue& value, RecordRules rules);

/// The text's record as a tree if it is one.
[[nodiscard]] std::optional<NaiveValue> soundRecord(std::string_view text, RecordRules rules);

/// Whether `written`, what the encoder made of the record, says the same as `read`, what was
/// decoded: the same fields with the same values, and none besides.
[[nodiscard]] bool saysTheSame(
    const NaiveValue& written, const NaiveValue& read, RecordRules rules);

/// The value of a field of a sound record; null if it has none.
[[nodiscard]] const NaiveValue* presentField(const NaiveValue& record, std::string_view key);

// The value of a field that a sound record has, in each form.
[[nodiscard]] std::string textField(const NaiveValue& record, std::string_view key);
[[nodiscard]] double numberField(const NaiveValue& record, std::string_view key);
[[nodiscard]] bool booleanField(const NaiveValue& record, std::string_view key);

} // namespace fuzz
