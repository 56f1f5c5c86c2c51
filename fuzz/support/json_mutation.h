#pragma once
// Makes sound records, and spoils them as a person with a grudge would.

#include "fuzz/support/naive_records.h"

#include <optional>
#include <random>
#include <string>
#include <string_view>

namespace fuzz {

using Random = std::minstd_rand;

/// A number below `count`, which must not be 0.
[[nodiscard]] std::size_t pick(Random& random, std::size_t count);

/// A sound record with values that other records refer to, and sometimes one that is not.
[[nodiscard]] std::string inventedRecord(RecordRules rules, Random& random);

/// The text with one thing changed in its tree of values; none if it is not JSON.
[[nodiscard]] std::optional<std::string> mutatedJson(std::string_view text, Random& random);

} // namespace fuzz
