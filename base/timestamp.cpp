#include "base/timestamp.h"

#include "base/decimal_text.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <tuple>

namespace base {

namespace {

// 5828963-12-20T00:00:00Z, where the calendar of the application's library ends, in seconds since
// 2001.
constexpr double lastWritableSecond = 183881190614400.0;

// The application's calendar is the Julian one until 4 October 1582, the Gregorian one from 15
// October 1582 on.
constexpr std::chrono::sys_days firstGregorianDay { std::chrono::year { 1582 } / 10 / 15 };

// Both calendars repeat after some years, and this day is 1 March 2000 in each.
struct CalendarCycle {
    std::int64_t days = 0;
    std::int64_t years = 0;
    std::chrono::sys_days firstOfMarch2000;
};

constexpr std::chrono::sys_days gregorianFirstOfMarch2000 { std::chrono::year { 2000 } / 3 / 1 };
constexpr CalendarCycle gregorianCycle { 146097, 400, gregorianFirstOfMarch2000 };
constexpr CalendarCycle julianCycle { 1461, 4,
    gregorianFirstOfMarch2000 + std::chrono::days { 13 } };

// Takes a text apart from the front; remembers whether everything so far was as expected.
class Cursor {
public:
    explicit Cursor(std::string_view text)
        : rest_(text)
    {
    }

    [[nodiscard]] bool matched() const { return matched_; }
    [[nodiscard]] bool atEnd() const { return rest_.empty(); }

    [[nodiscard]] bool nextIsDigit() const
    {
        return !rest_.empty() && rest_.front() >= '0' && rest_.front() <= '9';
    }

    char next()
    {
        if (rest_.empty()) {
            matched_ = false;
            return '\0';
        }
        const char character = rest_.front();
        rest_.remove_prefix(1);
        return character;
    }

    bool skip(char expected)
    {
        if (rest_.empty() || rest_.front() != expected)
            return false;
        rest_.remove_prefix(1);
        return true;
    }

    void expect(char expected) { matched_ = skip(expected) && matched_; }

    int digits(int count)
    {
        int value = 0;
        for (int index = 0; index < count; ++index) {
            if (!nextIsDigit()) {
                matched_ = false;
                return 0;
            }
            value = value * 10 + (next() - '0');
        }
        return value;
    }

    int number(int digitCount, int lowest, int highest)
    {
        const int value = digits(digitCount);
        matched_ = matched_ && value >= lowest && value <= highest;
        return value;
    }

    // One to nine digits after the decimal separator; those after the third carry less than a
    // millisecond.
    int milliseconds()
    {
        constexpr int longestFraction = 9;
        int value = 0;
        int count = 0;
        for (; nextIsDigit() && count < longestFraction; ++count) {
            const int digit = next() - '0';
            if (count < 3)
                value = value * 10 + digit;
        }
        for (int index = count; index < 3; ++index)
            value *= 10;
        matched_ = matched_ && count > 0;
        return value;
    }

    // The offset from UTC, in minutes.
    int zoneOffset()
    {
        const char mark = next();
        if (mark == 'Z')
            return 0;
        matched_ = matched_ && (mark == '+' || mark == '-');
        const int hours = number(2, 0, 23);
        std::ignore = skip(':'); // Both +hhmm and +hh:mm are in use.
        const int minutes = hours * 60 + number(2, 0, 59);
        return mark == '-' ? -minutes : minutes;
    }

private:
    std::string_view rest_;
    bool matched_ = true;
};

// The day of a date, which must exist in the Gregorian calendar. Those that the change of calendars
// left out run on.
std::chrono::sys_days dayOf(std::chrono::year_month_day date)
{
    const std::chrono::sys_days day { date };
    if (day >= firstGregorianDay)
        return day;
    const int year = static_cast<int>(date.year()) - (date.month() < std::chrono::March ? 1 : 0);
    return day + std::chrono::days { year / 100 - year / 400 - 2 };
}

struct WrittenDate {
    std::int64_t year = 0;
    std::chrono::month month {};
    std::chrono::day day {};
};

// std::chrono counts years in sixteen bits, so the date is looked up in the cycle that begins in
// 2000, and the cycles before or after it are added to the year.
WrittenDate dateOf(std::chrono::sys_days day)
{
    const CalendarCycle& cycle = day < firstGregorianDay ? julianCycle : gregorianCycle;
    const std::int64_t daysSince2000 = (day - cycle.firstOfMarch2000).count();
    std::int64_t cycles = daysSince2000 / cycle.days;
    if (daysSince2000 % cycle.days < 0)
        --cycles;
    const std::chrono::days dayInCycle { daysSince2000 - cycles * cycle.days };
    const std::chrono::year_month_day date { gregorianFirstOfMarch2000 + dayInCycle };
    return { static_cast<int>(date.year()) + cycles * cycle.years, date.month(), date.day() };
}

// The greatest whole number that is not above `value`, which must fit.
std::int64_t roundedDown(double value)
{
    const auto whole = static_cast<std::int64_t>(value);
    return static_cast<double>(whole) > value ? whole - 1 : whole;
}

} // namespace

bool isFinite(Timestamp timestamp)
{
    return std::isfinite(timestamp.secondsSince2001);
}

double secondsSince1970(Timestamp timestamp)
{
    return timestamp.secondsSince2001 + secondsFrom1970To2001;
}

double secondsBetween(Timestamp earlier, Timestamp later)
{
    return later.secondsSince2001 - earlier.secondsSince2001;
}

std::optional<Timestamp> parseISO8601(std::string_view text)
{
    Cursor cursor(text);
    const int year = cursor.number(4, 1, 9999);
    cursor.expect('-');
    const int month = cursor.number(2, 1, 12);
    cursor.expect('-');
    const int day = cursor.number(2, 1, 31);
    cursor.expect('T');
    const int hour = cursor.number(2, 0, 23);
    cursor.expect(':');
    const int minute = cursor.number(2, 0, 59);
    cursor.expect(':');
    const int second = cursor.number(2, 0, 59);
    cursor.expect('.');
    const int millisecond = cursor.milliseconds();
    const int offset = cursor.zoneOffset();
    const std::chrono::year_month_day date { std::chrono::year { year },
        std::chrono::month { static_cast<unsigned>(month) },
        std::chrono::day { static_cast<unsigned>(day) } };
    if (!cursor.matched() || !cursor.atEnd() || !date.ok())
        return std::nullopt;
    const auto instant = dayOf(date) + std::chrono::hours { hour }
        + std::chrono::minutes { minute - offset } + std::chrono::seconds { second }
        + std::chrono::milliseconds { millisecond };
    const auto milliseconds = static_cast<double>(instant.time_since_epoch().count());
    return Timestamp { milliseconds / 1000.0 - secondsFrom1970To2001 };
}

std::string formatISO8601(Timestamp timestamp)
{
    if (!isFinite(timestamp))
        return {};
    const double seconds
        = std::clamp(timestamp.secondsSince2001, -lastWritableSecond, lastWritableSecond);
    const std::int64_t milliseconds = roundedDown((seconds + secondsFrom1970To2001) * 1000.0 + 0.5);

    const std::chrono::sys_time<std::chrono::milliseconds> instant { std::chrono::milliseconds {
        milliseconds } };
    const auto day = std::chrono::floor<std::chrono::days>(instant);
    const WrittenDate date = dateOf(day);
    const std::chrono::hh_mm_ss time { instant - day };

    std::string text;
    text.reserve(sizeof "2001-01-01T00:00:00.000Z");
    const auto append = [&text](std::int64_t number, std::size_t width, char mark) {
        appendDecimal(text, number, width);
        text += mark;
    };
    append(date.year, 4, '-');
    append(static_cast<unsigned>(date.month), 2, '-');
    append(static_cast<unsigned>(date.day), 2, 'T');
    append(time.hours().count(), 2, ':');
    append(time.minutes().count(), 2, ':');
    append(time.seconds().count(), 2, '.');
    append(time.subseconds().count(), 3, 'Z');
    return text;
}

} // namespace base
