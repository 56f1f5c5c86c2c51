#pragma once
// What every decoder of a record must do with every text.

#include "fuzz/support/claims.h"
#include "fuzz/support/naive_records.h"
#include "fuzz/support/naive_time.h"

#include <string>
#include <string_view>

namespace fuzz {

/// Whether a record that was read holds no event time that cannot be written in a form that is read
/// again: before the calendar changed in 1582, or outside the years of four digits.
[[nodiscard]] inline bool hasPlainTime(const NaiveValue& record)
{
    const NaiveValue* const time = presentField(record, "timestamp");
    if (time == nullptr || !time->isString())
        return true;
    const auto milliseconds = naiveMilliseconds(time->text);
    return !milliseconds || hasPlainDate(*milliseconds);
}

/// Claims that `decode` takes exactly the texts that the rules take, that what `encode` writes says
/// the same, and that decoding this gives the same record again.
template <typename Decode, typename Encode>
void checkRecord(std::string_view text, RecordRules rules, Decode decode, Encode encode)
{
    const auto decoded = decode(text);
    const auto value = soundRecord(text, rules);
    requireFor(decoded.has_value() == value.has_value(),
        "the decoder and the rules agree on what is a record", text);
    if (!decoded)
        return;

    const auto written = encode(*decoded);
    requireFor(written.has_value(), "a record that was decoded can be encoded", text);
    const auto writtenValue = parseNaively(*written);
    requireFor(writtenValue.has_value(), "what is encoded is JSON", *written);
    requireFor(saysTheSame(*writtenValue, *value, rules),
        "what is encoded says the same as what was decoded", text);
    const NaiveValue* const event = presentField(*value, "event");
    if (!hasPlainTime(*value) || (event != nullptr && !hasPlainTime(*event)))
        return;
    const auto again = decode(*written);
    requireFor(again.has_value() && *again == *decoded,
        "decoding what was encoded gives the same record", text);
}

} // namespace fuzz
