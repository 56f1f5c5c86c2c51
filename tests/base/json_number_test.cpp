// Numbers in JSON texts.

#include "base/json_reader.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

namespace {

template <typename Value> std::optional<Value> memberOf(const std::string& object)
{
    Value value {};
    base::JsonRecordReader reader;
    reader.required("m", value);
    return base::readJson(object, reader) ? std::optional(value) : std::nullopt;
}

template <typename Value> std::optional<Value> numberIn(std::string_view number)
{
    return memberOf<Value>("{\"m\":" + std::string(number) + "}");
}

std::optional<std::int64_t> integerIn(std::string_view number)
{
    return numberIn<std::int64_t>(number);
}

std::optional<double> doubleIn(std::string_view number)
{
    const auto timestamp = numberIn<base::Timestamp>(number);
    return timestamp ? std::optional(timestamp->secondsSince2001) : std::nullopt;
}

TEST(Integers, ReachToTheLimitsOf64Bits)
{
    EXPECT_EQ(integerIn("9223372036854775807"), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(integerIn("9223372036854775808"), std::nullopt);
    EXPECT_EQ(integerIn("-9223372036854775808"), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(integerIn("-9223372036854775809"), std::nullopt);
    EXPECT_EQ(integerIn("18446744073709551616"), std::nullopt);
    EXPECT_EQ(integerIn("1" + std::string(400, '0')), std::nullopt);
}

TEST(Integers, ReachToTheLimitsOf32Bits)
{
    EXPECT_EQ(numberIn<std::int32_t>("2147483647"), 2147483647);
    EXPECT_EQ(numberIn<std::int32_t>("2147483648"), std::nullopt);
    EXPECT_EQ(numberIn<std::int32_t>("-2147483648"), -2147483647 - 1);
    EXPECT_EQ(numberIn<std::int32_t>("-2147483649"), std::nullopt);
    EXPECT_EQ(numberIn<std::int32_t>("2147483647.0"), 2147483647);
    EXPECT_EQ(numberIn<std::int32_t>("2147483648.0"), std::nullopt);
    EXPECT_EQ(numberIn<std::int32_t>("9223372036854775808"), std::nullopt);
}

TEST(Integers, MayHaveFractionAndExponentWhenTheNearestDoubleIsWhole)
{
    EXPECT_EQ(integerIn("-0"), 0);
    EXPECT_EQ(integerIn("1.0"), 1);
    EXPECT_EQ(integerIn("1E+0"), 1);
    EXPECT_EQ(integerIn("10e-1"), 1);
    EXPECT_EQ(integerIn("-1.5e1"), -15);
    EXPECT_EQ(integerIn("0.99999999999999999999999"), 1);
    EXPECT_EQ(integerIn("1e-400"), 0);
    EXPECT_EQ(integerIn("0e400"), 0);
    EXPECT_EQ(integerIn("1.5"), std::nullopt);
    EXPECT_EQ(integerIn("0.9999999999999999"), std::nullopt);
    EXPECT_EQ(integerIn("15e-1"), std::nullopt);
    EXPECT_EQ(integerIn("1e400"), std::nullopt);
}

TEST(Integers, AreExactPast53BitsInEveryForm)
{
    EXPECT_EQ(integerIn("9007199254740993"), 9007199254740993);
    EXPECT_EQ(integerIn("9007199254740993.0"), 9007199254740993);
    EXPECT_EQ(integerIn("-9007199254740993.000"), -9007199254740993);
    EXPECT_EQ(integerIn("9007199254740993e0"), 9007199254740993);
    EXPECT_EQ(integerIn("90071992547409930e-1"), 9007199254740993);
    EXPECT_EQ(integerIn("9.007199254740993E+15"), 9007199254740993);
    EXPECT_EQ(integerIn("0.00009007199254740993e20"), 9007199254740993);
    EXPECT_EQ(integerIn("1e18"), 1000000000000000000);
    EXPECT_EQ(integerIn("9007199254740993.5"), std::nullopt);
    // Below that, what the nearest double says is whole counts as whole.
    EXPECT_EQ(integerIn("9007199254740991.2"), 9007199254740991);
    EXPECT_EQ(integerIn("9007199254740992.2"), std::nullopt);
    EXPECT_EQ(integerIn("90071992547409931e-1"), std::nullopt);
}

TEST(Integers, EndWhereDoublesReachTheLimitOf64BitsInForms)
{
    EXPECT_EQ(integerIn("9223372036854774784.0"), 9223372036854774784);
    EXPECT_EQ(integerIn("9223372036854775295.0"), 9223372036854775295);
    EXPECT_EQ(integerIn("9223372036854775807.0"), std::nullopt);
    EXPECT_EQ(integerIn("9223372036854775808.0"), std::nullopt);
    EXPECT_EQ(integerIn("-9223372036854774784.0"), -9223372036854774784);
    EXPECT_EQ(integerIn("-9223372036854775808.0"), std::nullopt);
    EXPECT_EQ(integerIn("1e19"), std::nullopt);
}

TEST(Doubles, AreCorrectlyRounded)
{
    EXPECT_EQ(doubleIn("763637213.589"), 763637213.589);
    EXPECT_EQ(doubleIn("0.1"), 0.1);
    // Halfway between two doubles, and just above.
    EXPECT_EQ(doubleIn("9007199254740993"), 9007199254740992.0);
    EXPECT_EQ(doubleIn("9007199254740993.0000000000000000000000000001"), 9007199254740994.0);
    EXPECT_EQ(doubleIn("8.5153181924128190e8"), 8.5153181924128190e8);
    EXPECT_EQ(doubleIn("1.7976931348623157e308"), std::numeric_limits<double>::max());
}

TEST(Doubles, MayHaveAnyNumberOfDigits)
{
    // Sixty-three characters and sixty-four: short numbers are converted where they stand.
    for (const std::size_t length : { 62U, 63U, 64U, 65U, 5000U }) {
        EXPECT_EQ(doubleIn("1." + std::string(length - 2, '0')), 1.0) << length;
        EXPECT_EQ(doubleIn("0." + std::string(length - 3, '0') + "1").has_value(), length < 300)
            << length;
    }
}

TEST(Doubles, KeepTheSignOfZero)
{
    EXPECT_EQ(doubleIn("0"), 0.0);
    EXPECT_FALSE(std::signbit(doubleIn("0").value_or(-1)));
    EXPECT_TRUE(std::signbit(doubleIn("-0").value_or(1)));
    EXPECT_TRUE(std::signbit(doubleIn("-0.0e5").value_or(1)));
}

TEST(Doubles, RefuseOverflowAndUnderflow)
{
    EXPECT_EQ(doubleIn("1.8e308"), std::nullopt);
    EXPECT_EQ(doubleIn("-1e400"), std::nullopt);
    EXPECT_EQ(doubleIn("1e-400"), std::nullopt);
    EXPECT_EQ(doubleIn("5e-324"), std::numeric_limits<double>::denorm_min());
    EXPECT_EQ(doubleIn("2e-324"), std::nullopt);
    EXPECT_EQ(doubleIn("0e-400"), 0.0);
    EXPECT_EQ(doubleIn("0.000e400"), 0.0);
}

TEST(Numbers, FollowTheGrammar)
{
    for (const std::string_view number : { "+1", "01", "-01", ".5", "1.", "1.e1", "1e", "1e+", "-",
             "0x1", "1_000", "1,0", "NaN", "Infinity", "-Infinity", "--1", "1e1.5", "1 2" }) {
        EXPECT_EQ(integerIn(number), std::nullopt) << number;
        EXPECT_EQ(doubleIn(number), std::nullopt) << number;
        EXPECT_EQ(memberOf<bool>("{\"m\":true,\"x\":" + std::string(number) + "}"), std::nullopt)
            << number;
    }
}

constexpr auto longExponents
    = std::to_array<std::string_view>({ "1e99999999999999999999", "1e-99999999999999999999",
        "0e99999999999999999999", "1E+2147483648", "1e-0000000099999999999" });

TEST(LongExponents, AreJsonWhereNothingIsRead)
{
    for (const std::string_view number : longExponents) {
        const std::string text(number);
        EXPECT_EQ(memberOf<bool>("{\"x\":" + text + ",\"m\":true}"), true) << number;
        EXPECT_EQ(memberOf<bool>("{\"m\":true,\"x\":[{\"y\":" + text + "}]}"), true) << number;
    }
    EXPECT_EQ(memberOf<bool>(R"({"m":true,"x":1e99999999999999999999x})"), std::nullopt);
}

TEST(LongExponents, MeanZeroOrTooMuch)
{
    EXPECT_EQ(integerIn("1e-99999999999999999999"), 0);
    EXPECT_EQ(integerIn("0e99999999999999999999"), 0);
    EXPECT_EQ(integerIn("1e99999999999999999999"), std::nullopt);
    EXPECT_EQ(doubleIn("0e99999999999999999999"), 0.0);
    EXPECT_EQ(doubleIn("1e99999999999999999999"), std::nullopt);
    EXPECT_EQ(doubleIn("1e-99999999999999999999"), std::nullopt);
    EXPECT_EQ(doubleIn("1e00000000000000000002"), 100.0);
}

TEST(LongExponents, LeaveEverythingElseAsItWas)
{
    std::string text;
    std::string inner;
    std::string later;
    bool isPresent = false;
    bool isAnotherPresent = true;
    base::JsonRecordReader nested;
    nested.required("text", inner);
    base::JsonRecordReader another;
    base::JsonRecordReader reader;
    reader.required("text", text);
    reader.optionalObject("nested", nested, isPresent);
    reader.optionalObject("another", another, isAnotherPresent);
    reader.required("later", later);
    ASSERT_TRUE(base::readJson(
        R"({"text":"1e99999999999999999999 \"e1234567890123\\","nested":{"text":"in"},"text":"no",)"
        R"("x":1e99999999999999999999,"y":[true,0.5e00000000000001,12345678901234567890],)"
        R"("later":"e12345678901234567890","z":0e12345678901234567890})",
        reader));
    EXPECT_EQ(text, R"(1e99999999999999999999 "e1234567890123\)");
    EXPECT_EQ(inner, "in");
    EXPECT_EQ(later, "e12345678901234567890");
    EXPECT_TRUE(isPresent);
    EXPECT_FALSE(isAnotherPresent);
}

TEST(LongExponents, DoNotHideOtherFaults)
{
    EXPECT_EQ(memberOf<bool>(R"({"x":1e99999999999,"m":tru})"), std::nullopt);
    EXPECT_EQ(memberOf<bool>(R"({"x":1e99999999999,"m":1})"), std::nullopt);
    EXPECT_EQ(memberOf<bool>(R"({"x":1e99999999999})"), std::nullopt);
    EXPECT_EQ(memberOf<bool>(R"([1e99999999999])"), std::nullopt);
    for (const char* const unfinished : { R"("m)", R"("m\")", R"("m\)", R"(")" })
        EXPECT_EQ(memberOf<bool>(R"({"m":true,"x":1e99999999999,)" + std::string(unfinished)),
            std::nullopt);
}

} // namespace
