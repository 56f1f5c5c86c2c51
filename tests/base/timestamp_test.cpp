#include "base/timestamp.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <string_view>

namespace {

using namespace std::string_view_literals;

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

bool isRead(std::string_view text)
{
    return base::parseISO8601(text).has_value();
}

double secondsRead(std::string_view text)
{
    const auto parsed = base::parseISO8601(text);
    return parsed ? parsed->secondsSince2001 : notANumber;
}

std::string written(double secondsSince2001)
{
    return base::formatISO8601({ secondsSince2001 });
}

TEST(Timestamps, AreFiniteOrNot)
{
    EXPECT_TRUE(base::isFinite({ 0 }));
    EXPECT_TRUE(base::isFinite({ -std::numeric_limits<double>::max() }));
    EXPECT_FALSE(base::isFinite({ notANumber }));
    EXPECT_FALSE(base::isFinite({ infinity }));
    EXPECT_FALSE(base::isFinite({ -infinity }));
}

TEST(Timestamps, CountFrom1970WithAnOffset)
{
    EXPECT_EQ(base::secondsSince1970({ 0 }), 978307200.0);
    EXPECT_EQ(base::secondsSince1970({ -978307200.0 }), 0.0);
}

TEST(Timestamps, AreApartByLaterMinusEarlier)
{
    EXPECT_EQ(base::secondsBetween({ 10 }, { 12.5 }), 2.5);
    EXPECT_EQ(base::secondsBetween({ 12.5 }, { 10 }), -2.5);
    EXPECT_TRUE(std::isnan(base::secondsBetween({ notANumber }, { 1 })));
    EXPECT_TRUE(std::isnan(base::secondsBetween({ 1 }, { notANumber })));
}

TEST(ParseISO8601, CountsFrom2001)
{
    EXPECT_EQ(secondsRead("2001-01-01T00:00:00.000Z"), 0);
    EXPECT_EQ(secondsRead("2000-12-31T23:59:59.500Z"), -0.5);
    EXPECT_EQ(secondsRead("1970-01-01T00:00:00.000Z"), -978307200.0);
    EXPECT_EQ(secondsRead("2025-03-14T09:26:53.589Z"), 1741944413.589 - 978307200.0);
}

TEST(ParseISO8601, CutsTheFractionToMilliseconds)
{
    EXPECT_EQ(secondsRead("2001-01-01T00:00:01.5Z"), 1.5);
    EXPECT_EQ(secondsRead("2001-01-01T00:00:01.25Z"), 1.25);
    EXPECT_EQ(secondsRead("2001-01-01T00:00:01.2509Z"), 1.25);
    EXPECT_EQ(secondsRead("2001-01-01T00:00:01.250999999Z"), 1.25);
}

TEST(ParseISO8601, TakesOneToNineDigitsOfFraction)
{
    EXPECT_FALSE(isRead("2001-01-01T00:00:01Z"));
    EXPECT_FALSE(isRead("2001-01-01T00:00:01.Z"));
    for (std::size_t count = 1; count <= 9; ++count)
        EXPECT_TRUE(isRead("2001-01-01T00:00:01." + std::string(count, '1') + "Z")) << count;
    EXPECT_FALSE(isRead("2001-01-01T00:00:01." + std::string(10, '1') + "Z"));
}

TEST(ParseISO8601, SubtractsTheOffset)
{
    EXPECT_EQ(secondsRead("2001-01-01T01:30:00.0+0130"), 0);
    EXPECT_EQ(secondsRead("2001-01-01T01:30:00.0+01:30"), 0);
    EXPECT_EQ(secondsRead("2000-12-31T22:30:00.0-0130"), 0);
    EXPECT_EQ(secondsRead("2000-12-31T22:30:00.0-01:30"), 0);
    EXPECT_EQ(secondsRead("2001-01-01T00:00:00.0-00:00"), 0);
}

TEST(ParseISO8601, TakesOffsetsToTheEndOfTheDay)
{
    EXPECT_EQ(secondsRead("2001-01-01T23:59:00.0+23:59"), 0);
    EXPECT_EQ(secondsRead("2000-12-31T00:01:00.0-2359"), 0);
    for (const std::string_view zone : { "+2400", "+24:00", "+2360", "+23:60", "-9999" })
        EXPECT_FALSE(isRead("2001-01-01T00:00:00.0" + std::string(zone))) << zone;
}

TEST(ParseISO8601, RefusesOtherZones)
{
    for (const std::string_view zone : { "", "z", "+", "+01", "+1", "+013", "+01:3", "+1:30",
             "+01:", "+01.30", "+-130", "Z+0000", "ZZ", "+01300", "+01:300", "UTC", " Z", "Z " })
        EXPECT_FALSE(isRead("2001-01-01T00:00:00.0" + std::string(zone))) << zone;
}

TEST(ParseISO8601, KeepsEveryFieldInItsLimits)
{
    struct Row {
        std::string_view inside;
        std::string_view outside;
    };
    for (const auto& [inside, outside] : {
             Row { "0001-01-01T00:00:00.0Z", "0000-12-31T00:00:00.0Z" },
             Row { "9999-12-31T00:00:00.0Z", "10000-01-01T00:00:00.0Z" },
             Row { "2001-01-01T00:00:00.0Z", "2001-00-01T00:00:00.0Z" },
             Row { "2001-12-01T00:00:00.0Z", "2001-13-01T00:00:00.0Z" },
             Row { "2001-01-01T00:00:00.0Z", "2001-01-00T00:00:00.0Z" },
             Row { "2001-01-31T00:00:00.0Z", "2001-01-32T00:00:00.0Z" },
             Row { "2001-04-30T00:00:00.0Z", "2001-04-31T00:00:00.0Z" },
             Row { "2024-02-29T00:00:00.0Z", "2023-02-29T00:00:00.0Z" },
             Row { "2000-02-29T00:00:00.0Z", "1900-02-29T00:00:00.0Z" },
             Row { "2001-01-01T23:00:00.0Z", "2001-01-01T24:00:00.0Z" },
             Row { "2001-01-01T00:59:00.0Z", "2001-01-01T00:60:00.0Z" },
             Row { "2001-01-01T00:00:59.0Z", "2001-01-01T00:00:60.0Z" },
         }) {
        EXPECT_TRUE(isRead(inside)) << inside;
        EXPECT_FALSE(isRead(outside)) << outside;
    }
}

TEST(ParseISO8601, RefusesEveryOtherCharacterAtEveryPlace)
{
    constexpr std::string_view sound = "2001-01-01T01:01:01.111Z";
    ASSERT_TRUE(isRead(sound));
    for (std::size_t position = 0; position < sound.size(); ++position) {
        for (const char character : " ,;_tz/\0\xD9"sv) {
            std::string text(sound);
            text[position] = character;
            EXPECT_FALSE(isRead(text)) << text;
        }
    }
}

TEST(ParseISO8601, RefusesEveryPartOfATextAndAnythingAroundIt)
{
    constexpr std::string_view sound = "2001-01-01T01:01:01.111Z";
    for (std::size_t length = 0; length < sound.size(); ++length)
        EXPECT_FALSE(isRead(sound.substr(0, length))) << length;
    for (const std::string_view text :
        { " 2001-01-01T01:01:01.111Z"sv, "2001-01-01T01:01:01.111Z "sv,
            "2001-01-01T01:01:01.111Z\n"sv, "2001-01-01T01:01:01.111Z\0"sv,
            "+2001-01-01T01:01:01.111Z"sv,
            "\xEF\xBB\xBF"
            "2001-01-01T01:01:01.111Z"sv,
            "201-01-01T01:01:01.111Z"sv, "2001-1-01T01:01:01.111Z"sv, "2001-01-01T1:01:01.111Z"sv })
        EXPECT_FALSE(isRead(text)) << text;
}

// 4 October 1582 was followed by 15 October. Dates that were left out run on.
TEST(ParseISO8601, CountsInTheJulianCalendarBefore15October1582)
{
    const double changeOfCalendars = secondsRead("1582-10-15T00:00:00.0Z");
    EXPECT_EQ(secondsRead("1582-10-04T00:00:00.0Z"), changeOfCalendars - 86400);
    EXPECT_EQ(secondsRead("1582-10-05T00:00:00.0Z"), changeOfCalendars);
    EXPECT_EQ(secondsRead("1582-10-14T00:00:00.0Z"), changeOfCalendars + 9 * 86400);
    EXPECT_EQ(secondsRead("1582-10-16T00:00:00.0Z"), changeOfCalendars + 86400);
    EXPECT_EQ(
        secondsRead("1500-02-28T00:00:00.0Z"), secondsRead("1500-03-01T00:00:00.0Z") - 2 * 86400);
}

TEST(FormatISO8601, WritesAllDigits)
{
    EXPECT_EQ(written(0), "2001-01-01T00:00:00.000Z");
    EXPECT_EQ(written(763637213.589), "2025-03-14T09:26:53.589Z");
    EXPECT_EQ(written(-978307200.0), "1970-01-01T00:00:00.000Z");
    EXPECT_EQ(written(-978307200.25), "1969-12-31T23:59:59.750Z");
}

TEST(FormatISO8601, RoundsHalvesUp)
{
    EXPECT_EQ(written(0.0004), "2001-01-01T00:00:00.000Z");
    EXPECT_EQ(written(0.0625), "2001-01-01T00:00:00.063Z");
    EXPECT_EQ(written(-0.0625), "2000-12-31T23:59:59.938Z");
    EXPECT_EQ(written(-0.0004), "2001-01-01T00:00:00.000Z");
}

TEST(FormatISO8601, RoundsUpIntoTheNextSecondDayAndYear)
{
    EXPECT_EQ(written(1.9996), "2001-01-01T00:00:02.000Z");
    EXPECT_EQ(written(59.9996), "2001-01-01T00:01:00.000Z");
    EXPECT_EQ(written(86399.9996), "2001-01-02T00:00:00.000Z");
    EXPECT_EQ(written(31535999.9996), "2002-01-01T00:00:00.000Z");
    EXPECT_EQ(written(31535999.9994), "2001-12-31T23:59:59.999Z");
}

TEST(FormatISO8601, WritesLeapDays)
{
    EXPECT_EQ(written(secondsRead("2024-02-29T12:00:00.0Z")), "2024-02-29T12:00:00.000Z");
    EXPECT_EQ(written(secondsRead("2000-02-29T12:00:00.0Z")), "2000-02-29T12:00:00.000Z");
    EXPECT_EQ(written(secondsRead("1900-02-28T12:00:00.0Z") + 86400), "1900-03-01T12:00:00.000Z");
}

TEST(FormatISO8601, WritesTheJulianCalendarBefore15October1582)
{
    const double changeOfCalendars = secondsRead("1582-10-15T00:00:00.0Z");
    EXPECT_EQ(written(changeOfCalendars), "1582-10-15T00:00:00.000Z");
    EXPECT_EQ(written(changeOfCalendars - 1), "1582-10-04T23:59:59.000Z");
    EXPECT_EQ(written(secondsRead("1500-02-28T00:00:00.0Z") + 86400), "1500-02-29T00:00:00.000Z");
    EXPECT_EQ(written(secondsRead("0001-01-01T00:00:00.0Z")), "0001-01-01T00:00:00.000Z");
}

TEST(FormatISO8601, ReadsBackEveryDayOfFourCenturies)
{
    constexpr double day = 86400;
    constexpr double daysOfFourCenturies = 146097;
    const double first = secondsRead("1583-01-01T12:34:56.789Z");
    for (double index = 0; index < daysOfFourCenturies; ++index) {
        const double seconds = first + index * day;
        ASSERT_NEAR(secondsRead(written(seconds)), seconds, 0.0005) << written(seconds);
    }
}

TEST(FormatISO8601, TakesMoreDigitsForYearsPast9999)
{
    EXPECT_EQ(written(secondsRead("9999-12-31T23:59:59.999Z")), "9999-12-31T23:59:59.999Z");
    EXPECT_EQ(written(secondsRead("9999-12-31T23:59:59.999Z") + 1), "10000-01-01T00:00:00.999Z");
}

TEST(FormatISO8601, StopsWhereTheApplicationsCalendarEnds)
{
    constexpr std::string_view last = "5828963-12-20T00:00:00.000Z";
    EXPECT_EQ(written(183881190614400.0), last);
    EXPECT_EQ(written(183881190614400.0 - 86400), "5828963-12-19T00:00:00.000Z");
    EXPECT_EQ(written(183881190614401.0), last);
    EXPECT_EQ(written(std::numeric_limits<double>::max()), last);
}

TEST(FormatISO8601, SurvivesTheEarliestTimes)
{
    EXPECT_FALSE(written(-std::numeric_limits<double>::max()).empty());
    EXPECT_EQ(written(-std::numeric_limits<double>::max()), written(-183881190614400.0));
}

TEST(FormatISO8601, GivesNothingForWhatIsNotFinite)
{
    EXPECT_EQ(written(notANumber), "");
    EXPECT_EQ(written(infinity), "");
    EXPECT_EQ(written(-infinity), "");
}

} // namespace
