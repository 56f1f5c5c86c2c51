#include "fuzz/support/naive_time.h"

#include <array>
#include <cstdio>
#include <cstdlib>

namespace fuzz {

namespace {

constexpr std::int64_t millisecondsPerDay = 86400000;
constexpr std::int64_t julianDayOf1970 = 2440588;

// The number of days from 1 January 4713 BC (Julian) to a date, counted from the March before it.
std::int64_t julianDay(std::int64_t year, std::int64_t month, std::int64_t day, bool isGregorian)
{
    const std::int64_t monthsBack = (14 - month) / 12;
    const std::int64_t years = year + 4800 - monthsBack;
    const std::int64_t months = month + 12 * monthsBack - 3;
    const std::int64_t days = day + (153 * months + 2) / 5 + 365 * years + years / 4;
    return isGregorian ? days - years / 100 + years / 400 - 32045 : days - 32083;
}

// The instants at which the year 1583 begins and the year 10000 does.
constexpr std::int64_t beginOf1583 = -12212553600000;
constexpr std::int64_t beginOf10000 = 253402300800000;

// Holds a text against a form in which "d" stands for a digit and "s" for a sign; anything else
// stands for itself.
bool hasForm(std::string_view text, std::string_view form)
{
    if (text.size() != form.size())
        return false;
    for (std::size_t index = 0; index < form.size(); ++index) {
        const char found = text[index];
        const bool fits = form[index] == 'd' ? found >= '0' && found <= '9'
            : form[index] == 's'             ? found == '+' || found == '-'
                                             : found == form[index];
        if (!fits)
            return false;
    }
    return true;
}

std::int64_t number(std::string_view digits)
{
    return std::atoll(std::string(digits).c_str()); // NOLINT(cert-err34-c): digits alone
}

bool dateExists(std::int64_t year, std::int64_t month, std::int64_t day)
{
    const bool isLeapYear = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
    const std::array<std::int64_t, 13> lastDays { 0, 31, isLeapYear ? 29 : 28, 31, 30, 31, 30, 31,
        31, 30, 31, 30, 31 };
    return year >= 1 && month >= 1 && month <= 12 && day >= 1
        && day <= lastDays.at(static_cast<std::size_t>(month));
}

// The offset of "Z", "+hhmm" or "+hh:mm" in minutes.
std::optional<std::int64_t> zoneMinutes(std::string_view zone)
{
    if (zone == "Z")
        return 0;
    if (!hasForm(zone, "sdddd") && !hasForm(zone, "sdd:dd"))
        return std::nullopt;
    const std::int64_t hours = number(zone.substr(1, 2));
    const std::int64_t minutes = number(zone.substr(zone.size() - 2));
    if (hours > 23 || minutes > 59)
        return std::nullopt;
    const std::int64_t offset = hours * 60 + minutes;
    return zone.front() == '-' ? -offset : offset;
}

} // namespace

std::optional<std::int64_t> naiveMilliseconds(std::string_view text)
{
    constexpr std::string_view form = "dddd-dd-ddTdd:dd:dd.";
    const std::string_view plain = text.substr(0, form.size());
    if (!hasForm(plain, form))
        return std::nullopt;
    const std::int64_t year = number(plain.substr(0, 4));
    const std::int64_t month = number(plain.substr(5, 2));
    const std::int64_t day = number(plain.substr(8, 2));
    const std::int64_t hour = number(plain.substr(11, 2));
    const std::int64_t minute = number(plain.substr(14, 2));
    const std::int64_t second = number(plain.substr(17, 2));
    if (!dateExists(year, month, day) || hour > 23 || minute > 59 || second > 59)
        return std::nullopt;

    const std::string_view rest = text.substr(form.size());
    const std::string_view fraction = rest.substr(0, rest.find_first_of("Z+-"));
    if (fraction.empty() || fraction.size() > 9
        || fraction.find_first_not_of("0123456789") != std::string_view::npos)
        return std::nullopt;
    const auto offset = zoneMinutes(rest.substr(fraction.size()));
    if (!offset)
        return std::nullopt;

    const bool isGregorian = year * 10000 + month * 100 + day >= 15821015;
    const std::int64_t days = julianDay(year, month, day, isGregorian) - julianDayOf1970;
    const std::int64_t minutes = hour * 60 + minute - *offset;
    const std::int64_t milliseconds = number((std::string(fraction) + "00").substr(0, 3));
    return days * millisecondsPerDay + minutes * 60000 + second * 1000 + milliseconds;
}

double naiveSecondsSince2001(std::int64_t milliseconds)
{
    return static_cast<double>(milliseconds) / 1000.0 - 978307200.0;
}

bool hasPlainDate(std::int64_t milliseconds)
{
    return milliseconds >= beginOf1583 && milliseconds < beginOf10000;
}

std::string naiveTimeText(std::int64_t milliseconds)
{
    // Richards' way from a Julian day number to a Gregorian date; all of it is positive here.
    const std::int64_t day
        = milliseconds / millisecondsPerDay - (milliseconds % millisecondsPerDay < 0 ? 1 : 0);
    const std::int64_t time = milliseconds - day * millisecondsPerDay;
    const std::int64_t julian = day + julianDayOf1970;
    const std::int64_t f = julian + 1401 + (4 * julian + 274277) / 146097 * 3 / 4 - 38;
    const std::int64_t e = 4 * f + 3;
    const std::int64_t h = 5 * (e % 1461 / 4) + 2;
    const std::int64_t dayOfMonth = h % 153 / 5 + 1;
    const std::int64_t month = (h / 153 + 2) % 12 + 1;
    const std::int64_t year = e / 1461 - 4716 + (14 - month) / 12;

    std::array<char, 96> text {};
    const auto part = [](std::int64_t value) { return static_cast<long long>(value); };
    static_cast<void>(
        std::snprintf(text.data(), text.size(), "%04lld-%02lld-%02lldT%02lld:%02lld:%02lld.%03lldZ",
            part(year), part(month), part(dayOfMonth), part(time / 3600000),
            part(time / 60000 % 60), part(time / 1000 % 60), part(time % 1000)));
    return text.data();
}

} // namespace fuzz
