#pragma once
// Decoded records in the form in which the vectors tell them: integers as decimal text, strings as
// base64, UUIDs as upper-case text, enumerations as their texts, times as the bits of their seconds
// since 2001, absent values left out.

#include <boost/json/object.hpp>

#include <optional>
#include <string_view>

namespace vectors {

/// What the program's decoder of that record makes of `text`, or none if it refuses it.
[[nodiscard]] std::optional<boost::json::object> describedRecord(
    std::string_view record, std::string_view text);

} // namespace vectors
