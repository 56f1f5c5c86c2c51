#pragma once
// Points in time.
//
// The one representation is seconds since 2001-01-01T00:00:00Z as a double, the form that the
// bridge records keep on disk, so that reading and writing back is exact. Every other form is a
// conversion at the edge.

#include <optional>
#include <string>
#include <string_view>

namespace base {

/// Seconds from 1970-01-01T00:00:00Z (POSIX.1-2017, "Seconds Since the Epoch") to
/// 2001-01-01T00:00:00Z.
inline constexpr double secondsFrom1970To2001 = 978307200.0;

struct Timestamp {
    double secondsSince2001 = 0;

    friend auto operator<=>(const Timestamp&, const Timestamp&) = default;
};

[[nodiscard]] bool isFinite(Timestamp timestamp);

[[nodiscard]] double secondsSince1970(Timestamp timestamp);

/// `later` minus `earlier`, in seconds; not a number if either is not.
[[nodiscard]] double secondsBetween(Timestamp earlier, Timestamp later);

/// Reads the ISO 8601 form "YYYY-MM-DDThh:mm:ss.f" with 1 to 9 digits of fraction, then "Z",
/// "+hhmm", "-hhmm", "+hh:mm" or "-hh:mm". The year runs from 0001, the date must exist in the
/// Gregorian calendar, hours end at 23, minutes and seconds at 59, offsets at 23:59. The fraction
/// is cut to milliseconds. Anything else yields none. Dates before 15 October 1582 count in the
/// Julian calendar, as they do for the application. The value is (milliseconds since 1970 / 1000.0)
/// - 978307200.0 in doubles, as the application computes it.
[[nodiscard]] std::optional<Timestamp> parseISO8601(std::string_view text);

/// Writes "YYYY-MM-DDThh:mm:ss.fffZ", rounded to the nearest millisecond, halves upwards. Years
/// past 9999 take more digits; instants after the last one that the application's calendar knows
/// are written as that one. A timestamp that is not finite gives an empty text.
[[nodiscard]] std::string formatISO8601(Timestamp timestamp);

} // namespace base
