#include "base/unicode_text.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <string_view>

namespace {

using namespace std::string_view_literals;

TEST(FirstScalar, ReadsTheFirstAndLastOfEveryLength)
{
    struct Row {
        std::string_view text;
        char32_t scalar;
    };
    for (const auto& [text, scalar] : {
             Row { "\0"sv, 0x0 },
             Row { "\x7F"sv, 0x7F },
             Row { "\xC2\x80"sv, 0x80 },
             Row { "\xDF\xBF"sv, 0x7FF },
             Row { "\xE0\xA0\x80"sv, 0x800 },
             Row { "\xED\x9F\xBF"sv, 0xD7FF },
             Row { "\xEE\x80\x80"sv, 0xE000 },
             Row { "\xEF\xBF\xBF"sv, 0xFFFF },
             Row { "\xF0\x90\x80\x80"sv, 0x10000 },
             Row { "\xF4\x8F\xBF\xBF"sv, 0x10FFFF },
         }) {
        const auto decoded = base::firstScalar(std::string(text) + "\x80z");
        ASSERT_TRUE(decoded) << std::uint32_t { scalar };
        EXPECT_EQ(std::uint32_t { decoded->scalar }, std::uint32_t { scalar });
        EXPECT_EQ(decoded->byteCount, text.size());
    }
}

TEST(FirstScalar, RefusesWhatIsNotWellFormed)
{
    struct Row {
        const char* name;
        std::string_view text;
    };
    for (const auto& [name, text] : {
             Row { "nothing", ""sv },
             Row { "continuation alone", "\x80"sv },
             Row { "last continuation alone", "\xBF"sv },
             Row { "overlong NUL", "\xC0\x80"sv },
             Row { "overlong in two bytes", "\xC1\xBF"sv },
             Row { "overlong in three bytes", "\xE0\x9F\xBF"sv },
             Row { "overlong in four bytes", "\xF0\x8F\xBF\xBF"sv },
             Row { "first surrogate", "\xED\xA0\x80"sv },
             Row { "last surrogate", "\xED\xBF\xBF"sv },
             Row { "past the last scalar value", "\xF4\x90\x80\x80"sv },
             Row { "lead byte F5", "\xF5\x80\x80\x80"sv },
             Row { "lead byte FF", "\xFF\xBF\xBF\xBF"sv },
             Row { "two bytes cut short", "\xC2"sv },
             Row { "three bytes cut short", "\xE2\x82"sv },
             Row { "four bytes cut short", "\xF0\x9F\x98"sv },
             Row { "second byte no continuation", "\xC2z"sv },
             Row { "third byte no continuation", "\xE2\x82z"sv },
             Row { "fourth byte a lead byte", "\xF0\x9F\x98\xC2"sv },
         })
        EXPECT_FALSE(base::firstScalar(text)) << name;
}

TEST(WhitespaceOrNewline, IsThisSetAndNoMore)
{
    const std::set<char32_t> blanks { 0x09, 0x0A, 0x0B, 0x0C, 0x0D, 0x20, 0x85, 0xA0, 0x1680,
        0x2000, 0x2001, 0x2002, 0x2003, 0x2004, 0x2005, 0x2006, 0x2007, 0x2008, 0x2009, 0x200A,
        0x2028, 0x2029, 0x202F, 0x205F, 0x3000 };
    for (char32_t scalar = 0; scalar <= 0x10FFFF; ++scalar)
        ASSERT_EQ(base::isWhitespaceOrNewline(scalar), blanks.contains(scalar))
            << std::uint32_t { scalar };
}

TEST(ControlCharacters, AreTwoRanges)
{
    for (char32_t scalar = 0; scalar <= 0x10FFFF; ++scalar) {
        const bool expected = scalar < 0x20 || (scalar > 0x7E && scalar < 0xA0);
        ASSERT_EQ(base::isControlCharacter(scalar), expected) << std::uint32_t { scalar };
    }
}

TEST(NumericCharacters, AreDigitsAndWhateverElseHasANumericType)
{
    struct Row {
        const char* name;
        char32_t scalar;
        bool isNumeric;
    };
    for (const auto& [name, scalar, isNumeric] : {
             Row { "before the digits", U'/', false },
             Row { "first digit", U'0', true },
             Row { "last digit", U'9', true },
             Row { "after the digits", U':', false },
             Row { "letter", U'a', false },
             Row { "full stop", U'.', false },
             Row { "superscript two", 0xB2, true },
             Row { "acute accent", 0xB4, false },
             Row { "one half", 0xBD, true },
             Row { "Arabic-Indic zero", 0x660, true },
             Row { "Roman numeral one", 0x2160, true },
             Row { "ideograph one", 0x4E00, true },
             Row { "ideograph beside it", 0x4E01, false },
             Row { "full-width nine", 0xFF19, true },
             Row { "last of the set", 0x2F890, true },
             Row { "the one after it", 0x2F891, false },
             Row { "last scalar value", 0x10FFFF, false },
         })
        EXPECT_EQ(base::isNumericCharacter(scalar), isNumeric) << name;
}

TEST(HexadecimalDigits, AreFortyFourScalarValues)
{
    const std::u32string digits
        = U"0123456789abcdefABCDEF"
          U"\uFF10\uFF11\uFF12\uFF13\uFF14\uFF15\uFF16\uFF17\uFF18\uFF19"
          U"\uFF21\uFF22\uFF23\uFF24\uFF25\uFF26\uFF41\uFF42\uFF43\uFF44\uFF45\uFF46";
    ASSERT_EQ(digits.size(), 44U);
    for (char32_t scalar = 0; scalar <= 0x10FFFF; ++scalar) {
        const bool expected = digits.find(scalar) != std::u32string::npos;
        ASSERT_EQ(base::isHexadecimalDigit(scalar), expected) << std::uint32_t { scalar };
    }
}

TEST(ExtendingCharacters, AreMarksAndJoiners)
{
    struct Row {
        const char* name;
        char32_t scalar;
        bool extends;
    };
    for (const auto& [name, scalar, extends] : {
             Row { "letter", U'a', false },
             Row { "before the first mark", 0x2FF, false },
             Row { "first combining mark", 0x300, true },
             Row { "last of its block", 0x36F, true },
             Row { "after its block", 0x370, false },
             Row { "spacing mark", 0x903, true },
             Row { "zero-width joiner", 0x200D, true },
             Row { "variation selector", 0xFE0F, true },
             Row { "enclosing keycap", 0x20E3, true },
             Row { "emoji modifier", 0x1F3FB, true },
             Row { "prepended mark", 0x600, false },
             Row { "regional indicator", 0x1F1E6, false },
             Row { "last variation selector", 0xE01EF, true },
             Row { "the one after it", 0xE01F0, false },
         })
        EXPECT_EQ(base::extendsCharacterBefore(scalar), extends) << name;
}

TEST(Trimmed, RemovesBlanksAtBothEndsOnly)
{
    EXPECT_EQ(base::trimmed("a b"), "a b");
    EXPECT_EQ(base::trimmed(" \t\r\na b\v\f "), "a b");
    EXPECT_EQ(base::trimmed("\u3000\u00A0x\u2029\u0085"), "x");
    EXPECT_EQ(base::trimmed(""), "");
    EXPECT_EQ(base::trimmed(" \u2003\n"), "");
}

TEST(Trimmed, KeepsWhatOnlyLooksBlank)
{
    for (const std::string_view text :
        { "\u200Bx\u200B"sv, "\uFEFFx\uFEFF"sv, "\u180Ex\u180E"sv, "\0x\0"sv })
        EXPECT_EQ(base::trimmed(text), text);
}

TEST(Trimmed, RemovesABlankButNotTheMarkOnIt)
{
    EXPECT_EQ(base::trimmed(" \u0301x"), "\u0301x");
    EXPECT_EQ(base::trimmed("x \u0301"), "x \u0301");
}

TEST(Trimmed, StopsAtBytesThatAreNoUTF8)
{
    for (const std::string_view text : { "\xFF"sv, "\xFF a \xFF"sv, "\xE3\x80"sv, "\xC3 \xC3"sv })
        EXPECT_EQ(base::trimmed(text), text);
    EXPECT_EQ(base::trimmed(" \xFF "), "\xFF");
}

TEST(AllScalars, AsksForEveryScalarValueInOrder)
{
    std::u32string asked;
    EXPECT_TRUE(base::allScalars("a\u00E9\U0001F600", [&asked](char32_t scalar) {
        asked += scalar;
        return true;
    }));
    EXPECT_TRUE(asked == U"a\u00E9\U0001F600");
}

TEST(AllScalars, HoldsForNothing)
{
    EXPECT_TRUE(base::allScalars("", [](char32_t) { return false; }));
}

TEST(AllScalars, EndsAtTheFirstThatDoesNotHold)
{
    std::size_t count = 0;
    EXPECT_FALSE(base::allScalars("abc", [&count](char32_t scalar) {
        ++count;
        return scalar != U'b';
    }));
    EXPECT_EQ(count, 2U);
}

TEST(AllScalars, DoesNotHoldForTextThatIsNotUTF8)
{
    EXPECT_FALSE(base::allScalars("ab\x80", [](char32_t) { return true; }));
    EXPECT_FALSE(base::allScalars("\xF0\x9F\x98", [](char32_t) { return true; }));
}

} // namespace
