#pragma once
// The ISO 8601 form of event times once more, by the arithmetic of Julian day numbers.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace fuzz {

/// The milliseconds since 1970 of a text of the form "YYYY-MM-DDThh:mm:ss.f" and a zone; none for
/// any other. Dates before 15 October 1582 count by the Julian calendar.
[[nodiscard]] std::optional<std::int64_t> naiveMilliseconds(std::string_view text);

/// Seconds since 2001, as the application computes them.
[[nodiscard]] double naiveSecondsSince2001(std::int64_t milliseconds);

/// Whether the instant is one whose text can be read back: the calendar never changed after 1582,
/// and four digits of year last to 9999.
[[nodiscard]] bool hasPlainDate(std::int64_t milliseconds);

/// "YYYY-MM-DDThh:mm:ss.fffZ" of an instant with a plain date.
[[nodiscard]] std::string naiveTimeText(std::int64_t milliseconds);

} // namespace fuzz
