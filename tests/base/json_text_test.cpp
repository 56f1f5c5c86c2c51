// What counts as a JSON text, and what its strings hold.

#include "base/json_reader.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace {

using namespace std::string_view_literals;

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

// The required string "m", or none if the text is refused.
std::optional<std::string> stringIn(std::string_view text)
{
    std::string value;
    base::JsonRecordReader reader;
    reader.required("m", value);
    return base::readJson(text, reader) ? std::optional(value) : std::nullopt;
}

bool isRead(std::string_view text)
{
    return stringIn(text).has_value();
}

// The object whose string "m" is spelled like this.
std::string withRead(std::string_view value)
{
    return R"({"m":")" + std::string(value) + R"("})";
}

// The object with another member whose value nothing reads.
std::string withUnread(std::string_view value)
{
    return R"({"m":"","x":)" + std::string(value) + "}";
}

std::string repeated(std::string_view text, std::size_t count)
{
    std::string result;
    for (std::size_t index = 0; index < count; ++index)
        result += text;
    return result;
}

TEST(JsonDepth, EndsAt512ArraysAndObjects)
{
    const auto arrays
        = [](std::size_t count) { return repeated("[", count) + repeated("]", count); };
    const auto objects = [](std::size_t count) {
        return repeated(R"({"m":)", count) + "1" + repeated("}", count);
    };
    EXPECT_TRUE(isRead(withUnread(arrays(511))));
    EXPECT_FALSE(isRead(withUnread(arrays(512))));
    EXPECT_TRUE(isRead(withUnread(objects(511))));
    EXPECT_FALSE(isRead(withUnread(objects(512))));
    EXPECT_FALSE(isRead(withUnread(repeated("[", 100000))));
}

TEST(JsonDepth, IsNotUsedUpByNeighbours)
{
    EXPECT_TRUE(isRead(withUnread("[" + repeated("[[]],", 1000) + "{}]")));
}

TEST(ByteOrderMark, IsSkippedOnceInFront)
{
    const std::string text = withRead("a");
    EXPECT_EQ(stringIn(std::string(byteOrderMark) + text), "a");
    EXPECT_FALSE(isRead(repeated(byteOrderMark, 2) + text));
    EXPECT_FALSE(isRead(" " + std::string(byteOrderMark) + text));
    EXPECT_FALSE(isRead(text + std::string(byteOrderMark)));
    EXPECT_FALSE(isRead(byteOrderMark));
    EXPECT_FALSE(isRead("\xEF\xBB{\"m\":\"a\"}"));
}

TEST(ByteOrderMark, IsACharacterInsideStrings)
{
    EXPECT_EQ(stringIn(withRead("\uFEFFa")), "\uFEFFa");
}

TEST(JsonTexts, MayHaveFourKindsOfBlanksAnywhere)
{
    EXPECT_TRUE(
        isRead(" \t\r\n{ \t\r\n\"m\" \t\r\n: \t\r\n\"\" \t\r\n, \"x\" : [ 1 , 2 ] } \t\r\n"));
    for (const std::string_view blank :
        { "\v"sv, "\f"sv, "\0"sv, "\u00A0"sv, "\u2028"sv, "\u200B"sv }) {
        EXPECT_FALSE(isRead(std::string(blank) + withRead("a")));
        EXPECT_FALSE(isRead(withRead("a") + std::string(blank)));
        EXPECT_FALSE(isRead("{" + std::string(blank) + R"("m":"a"})"));
    }
}

TEST(JsonTexts, EndWithTheirValue)
{
    for (const std::string_view rest : { "x", "}", ",", "{}", "null", "//", "\"" })
        EXPECT_FALSE(isRead(withRead("a") + std::string(rest))) << rest;
    EXPECT_FALSE(isRead(withRead("a") + '\0'));
}

TEST(JsonTexts, AreRefusedWhereverTheyAreCutShort)
{
    constexpr std::string_view text
        = R"({"m":"a\u00e9\ud83d\ude00","x":[-1.5e3,true,null,{"y":false}]})";
    ASSERT_TRUE(isRead(text));
    for (std::size_t length = 0; length < text.size(); ++length)
        EXPECT_FALSE(isRead(text.substr(0, length))) << length;
}

TEST(JsonTexts, AreUTF8Alone)
{
    std::string littleEndian;
    std::string bigEndian;
    for (const char character : withRead("a")) {
        littleEndian += { character, '\0' };
        bigEndian += { '\0', character };
    }
    EXPECT_FALSE(isRead(littleEndian));
    EXPECT_FALSE(isRead(bigEndian));
    EXPECT_FALSE(isRead("\xFF\xFE" + littleEndian));
    EXPECT_FALSE(isRead("\xFE\xFF" + bigEndian));
}

TEST(JsonTexts, AreStrictAlsoWhereNothingIsRead)
{
    for (const std::string_view value : { "[]", "{}", "[[],{}]",
             R"(["\u00e9","\ud83d\ude00","\/"])", R"({"":0,"":0})", "-0.0E-0", "null" })
        EXPECT_TRUE(isRead(withUnread(value))) << value;
    for (const std::string_view value :
        { "", ",", "[1,]", "[,1]", "[,]", "[1 2]", R"({"a":1,})", "{,}", R"({"a"})", R"({"a":})",
            "{1:2}", "{a:1}", "'a'", "nul", "True", "undefined", "/**/1", "[1}", "(1)" })
        EXPECT_FALSE(isRead(withUnread(value))) << value;
}

struct StringRow {
    const char* name;
    std::string_view spelling; // between the quotes
    std::optional<std::string_view> value;
};

constexpr auto stringRows = std::to_array<StringRow>({
    { "nothing", "", "" },
    { "short escapes", R"(\"\\\/\b\f\n\r\t)", "\"\\/\b\f\n\r\t" },
    { "hexadecimal escapes", R"(\u0041\u00e9\u20AC\uFFFF)", "A\u00E9\u20AC\uFFFF" },
    { "escaped NUL", R"(a\u0000b)", "a\0b"sv },
    { "surrogate pair", R"(\uD83D\uDE00)", "\U0001F600" },
    { "first and last pair", R"(\ud800\udc00\udbff\udfff)", "\U00010000\U0010FFFF" },
    { "DEL and C1 as they are", "\x7F\u0080", "\x7F\u0080" },
    { "slash as it is", "/", "/" },
    { "noncharacter", "\uFFFE", "\uFFFE" },
    { "unknown escape", R"(\x41)", {} },
    { "capital escape", R"(\N)", {} },
    { "escaped quote of another kind", R"(\')", {} },
    { "three digits", R"(\u041)", {} },
    { "no hexadecimal digit", R"(\u00g1)", {} },
    { "capital U", R"(\U0041)", {} },
    { "high surrogate alone", R"(\ud83d)", {} },
    { "high surrogate and letter", R"(\ud83dx)", {} },
    { "high surrogate and other escape", R"(\ud83d\n)", {} },
    { "high surrogate and no low one", R"(\ud83d\u0041)", {} },
    { "two high surrogates", R"(\ud83d\ud83d)", {} },
    { "low surrogate alone", R"(\ude00)", {} },
    { "raw line feed", "a\nb", {} },
    { "raw tab", "\t", {} },
    { "raw NUL", "\0"sv, {} },
    { "raw unit separator", "\x1F", {} },
    { "continuation byte alone", "\x80", {} },
    { "overlong form", "\xC0\xAF", {} },
    { "surrogate in UTF-8", "\xED\xA0\x80", {} },
    { "past the last code point", "\xF4\x90\x80\x80", {} },
    { "sequence cut short", "\xE2\x82", {} },
    { "byte FF", "\xFF", {} },
});

TEST(JsonStrings, HoldWhatTheirSpellingMeans)
{
    for (const StringRow& row : stringRows)
        EXPECT_EQ(stringIn(withRead(row.spelling)), row.value) << row.name;
}

TEST(JsonStrings, AreHeldToTheSameRulesWhereNothingIsRead)
{
    for (const StringRow& row : stringRows) {
        const std::string string = '"' + std::string(row.spelling) + '"';
        EXPECT_EQ(isRead(withUnread(string)), row.value.has_value()) << row.name;
        EXPECT_EQ(isRead(withUnread("[" + string + "]")), row.value.has_value()) << row.name;
        EXPECT_EQ(isRead(R"({"m":"","m":)" + string + "}"), row.value.has_value()) << row.name;
    }
}

TEST(JsonKeys, AreHeldToTheSameRules)
{
    for (const StringRow& row : stringRows) {
        const std::string member = "{\"x" + std::string(row.spelling) + "\":0";
        EXPECT_EQ(isRead(member + R"(,"m":""})"), row.value.has_value()) << row.name;
        EXPECT_EQ(isRead(withUnread(member + "}")), row.value.has_value()) << row.name;
    }
}

TEST(JsonStrings, AreWholeAtEveryLengthAndWithAnEscapeAtEveryPlace)
{
    for (const std::size_t length :
        { 1U, 100U, 1023U, 1024U, 1025U, 2047U, 2048U, 2049U, 16000U }) {
        const std::string letters(length, 'a');
        EXPECT_EQ(stringIn(withRead(letters)), letters) << length;
        EXPECT_EQ(stringIn(withRead(letters + R"(\n)" + letters)), letters + '\n' + letters)
            << length;
        EXPECT_EQ(stringIn(withRead(R"(\ud83d\ude00)" + letters)), "\U0001F600" + letters)
            << length;
        EXPECT_EQ(stringIn(withRead(repeated(R"(\t)", length))), std::string(length, '\t'))
            << length;
    }
}

TEST(JsonStrings, DoNotMixWithTheirNeighbours)
{
    const std::string escaped = R"("\n\t)" + std::string(3000, 'b') + R"(\u0041")";
    EXPECT_EQ(
        stringIn(R"({"x":[)" + escaped + "," + escaped + R"(],"m":"a\"c","y":)" + escaped + "}"),
        "a\"c");
    EXPECT_EQ(stringIn(R"({"\u0078":)" + escaped + R"(,"\u006D":)" + escaped + "}"),
        "\n\t" + std::string(3000, 'b') + "A");
}

TEST(JsonKeys, MayBeLong)
{
    const std::string key = R"(\u006D)" + std::string(5000, 'k');
    EXPECT_EQ(stringIn("{\"" + key + R"(":"no","m":"yes"})"), "yes");
    EXPECT_FALSE(isRead("{\"" + key + R"(":"no"})"));
}

} // namespace
