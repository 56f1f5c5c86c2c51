#include "base/json_writer.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace {

enum class Answer : std::uint8_t { yes, no };

} // namespace

template <> struct base::EnumerationTexts<Answer> {
    static constexpr std::array<std::string_view, 2> texts { "yes", "no" };
};

namespace {

using namespace std::string_view_literals;

template <typename Value> std::string written(const Value& value)
{
    base::JsonWriter writer;
    writer.member("m", value);
    return std::move(writer).finish().value_or("failed");
}

std::string writtenTime(double secondsSince2001)
{
    return written(base::Timestamp { secondsSince2001 });
}

TEST(JsonWriter, WritesAnEmptyObject)
{
    EXPECT_EQ(base::JsonWriter().finish(), "{}");
}

TEST(JsonWriter, WritesEveryTypeOfMember)
{
    EXPECT_EQ(written("a"), R"({"m":"a"})");
    EXPECT_EQ(written("a"sv), R"({"m":"a"})");
    EXPECT_EQ(written(std::string("a")), R"({"m":"a"})");
    EXPECT_EQ(written(true), R"({"m":true})");
    EXPECT_EQ(written(false), R"({"m":false})");
    EXPECT_EQ(written(std::int32_t { -5 }), R"({"m":-5})");
    EXPECT_EQ(written(Answer::no), R"({"m":"no"})");
    base::UUID uuid;
    uuid.bytes.fill(0xAB);
    EXPECT_EQ(written(uuid), R"({"m":"ABABABAB-ABAB-ABAB-ABAB-ABABABABABAB"})");
}

TEST(JsonWriter, WritesIntegersToTheirLimits)
{
    EXPECT_EQ(written(std::int64_t { 0 }), R"({"m":0})");
    EXPECT_EQ(written(std::numeric_limits<std::int64_t>::max()), R"({"m":9223372036854775807})");
    EXPECT_EQ(written(std::numeric_limits<std::int64_t>::min()), R"({"m":-9223372036854775808})");
    EXPECT_EQ(written(std::numeric_limits<std::int32_t>::min()), R"({"m":-2147483648})");
}

TEST(JsonWriter, WritesTimesWithoutAnExponentWhereTheyAreUsual)
{
    EXPECT_EQ(writtenTime(0), R"({"m":0})");
    EXPECT_EQ(writtenTime(-0.0), R"({"m":-0})");
    EXPECT_EQ(writtenTime(700000000), R"({"m":700000000})");
    EXPECT_EQ(writtenTime(763637213.589), R"({"m":763637213.589})");
    EXPECT_EQ(writtenTime(-1.5), R"({"m":-1.5})");
    EXPECT_EQ(writtenTime(0.0001), R"({"m":0.0001})");
    EXPECT_EQ(writtenTime(0.00001), R"({"m":1e-05})");
    EXPECT_EQ(writtenTime(1e15), R"({"m":1000000000000000})");
    EXPECT_EQ(writtenTime(9999999999999998), R"({"m":9999999999999998})");
    EXPECT_EQ(writtenTime(1e16), R"({"m":1e+16})");
    EXPECT_EQ(
        writtenTime(-std::numeric_limits<double>::max()), R"({"m":-1.7976931348623157e+308})");
    EXPECT_EQ(writtenTime(std::numeric_limits<double>::denorm_min()), R"({"m":5e-324})");
}

TEST(JsonWriter, EscapesWhatMustBeAndTheSlash)
{
    EXPECT_EQ(written("\"\\/\b\f\n\r\t"), R"({"m":"\"\\\/\b\f\n\r\t"})");
    EXPECT_EQ(written("\0\x01\x1F"sv), R"({"m":"\u0000\u0001\u001f"})");
    EXPECT_EQ(written("//"), R"({"m":"\/\/"})");
    EXPECT_EQ(written("a/"), R"({"m":"a\/"})");
    EXPECT_EQ(written("\x7F\u00E9\u2028\U0001F600"), "{\"m\":\"\x7F\u00E9\u2028\U0001F600\"}");
}

TEST(JsonWriter, WritesStringsOfEveryLength)
{
    for (std::size_t length = 0; length < 2100; ++length) {
        const std::string letters(length, 'a');
        ASSERT_EQ(written(letters + "/\n" + letters),
            R"({"m":")" + letters + R"(\/\n)" + letters + R"("})");
    }
}

TEST(JsonWriter, SeparatesMembersAndNestsObjects)
{
    base::JsonWriter writer;
    writer.beginObject("first");
    writer.endObject();
    writer.beginObject("second");
    writer.member("a", true);
    writer.beginObject("third");
    writer.member("b", "x");
    writer.endObject();
    writer.null("c");
    writer.endObject();
    writer.member("d", false);
    EXPECT_EQ(std::move(writer).finish(),
        R"({"first":{},"second":{"a":true,"third":{"b":"x"},"c":null},"d":false})");
}

TEST(JsonWriter, LeavesAbsentMembersOut)
{
    base::JsonWriter writer;
    writer.member("a", std::optional<std::string>());
    writer.member("b", std::optional<std::string>("x"));
    writer.member("c", std::optional<bool>());
    writer.member("d", std::optional<Answer>(Answer::yes));
    EXPECT_EQ(std::move(writer).finish(), R"({"b":"x","d":"yes"})");
}

TEST(JsonWriter, FailsForATimeThatIsNotFinite)
{
    constexpr double infinity = std::numeric_limits<double>::infinity();
    for (const double seconds : { infinity, -infinity, std::numeric_limits<double>::quiet_NaN() }) {
        base::JsonWriter writer;
        writer.member("before", true);
        writer.member("time", base::Timestamp { seconds });
        writer.member("after", true);
        const auto text = std::move(writer).finish();
        ASSERT_FALSE(text);
        EXPECT_EQ(text.error().kind, base::JsonErrorKind::invalidValue);
        EXPECT_EQ(text.error().key, "time");
    }
}

} // namespace
