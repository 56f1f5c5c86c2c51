#include "bridge/version_string.h"
#include "tests/support/utf8.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace bridge {

TEST(IsValidVersionString, TakesDigitsAndDotsInAnyStructure)
{
    for (const std::string_view version :
        { "1.2.3", "7", "...", "1..2", ".", "0", "1.", ".1", "0123456789" })
        EXPECT_TRUE(isValidVersionString(version)) << version;
}

TEST(IsValidVersionString, RefusesTheEmptyText)
{
    EXPECT_FALSE(isValidVersionString(""));
}

TEST(IsValidVersionString, RefusesAnyOtherCharacter)
{
    for (const std::string_view version : { "1.2.3-beta", "v1.0", " 1.0", "1.0 ", "1.0\n", "1,0",
             "1/0", "1:0", "1-0", "+1", "1e5", "x", "0x1", "1\u00E9" })
        EXPECT_FALSE(isValidVersionString(version)) << version;
    EXPECT_FALSE(isValidVersionString(std::string_view("1\0", 2)));
}

TEST(IsValidVersionString, RefusesEveryOtherASCIICharacterAlone)
{
    for (char character = 1; character < 127; ++character) {
        const bool isAllowed = (character >= '0' && character <= '9') || character == '.';
        EXPECT_EQ(isValidVersionString(std::string_view(&character, 1)), isAllowed)
            << static_cast<int>(character);
    }
}

TEST(IsValidVersionString, TakesUpTo32Characters)
{
    for (const char* const character : { "1", ".", "\u0663", "\u00BD", "\U0001D7D8" }) {
        EXPECT_TRUE(isValidVersionString(support::repeated(character, 32))) << character;
        EXPECT_FALSE(isValidVersionString(support::repeated(character, 33))) << character;
    }
}

TEST(IsValidVersionString, TakesNumbersOfAllScripts)
{
    for (const std::string_view version : { "\u0661.\u0662", "\u0967", "\uFF11", "\u00BD", "\u00B2",
             "\u2167", "\u2460", "\u4E00", "\U0001D7D8", "\u0F33" })
        EXPECT_TRUE(isValidVersionString(version)) << version;
}

TEST(IsValidVersionString, RefusesLettersAndDotsOfOtherKinds)
{
    for (const std::string_view version :
        { "1\u3002", "\uFF0E", "1\u00B7", "1\u2024", "1\u2026", "\u0430", "\u0301", "\u200D" })
        EXPECT_FALSE(isValidVersionString(version)) << version;
}

TEST(IsValidVersionString, CountsADigitWithItsMarksAsOneCharacter)
{
    EXPECT_TRUE(isValidVersionString("1\u0301.2\uFE0F\u20E3"));
    EXPECT_TRUE(isValidVersionString(support::repeated("1\u0301", 32)));
    EXPECT_FALSE(isValidVersionString(support::repeated("1\u0301", 33)));
    EXPECT_TRUE(isValidVersionString("1" + support::repeated("\u0301", 100)));
}

TEST(IsValidVersionString, RefusesADotWithAMark)
{
    EXPECT_FALSE(isValidVersionString("1.\u0301"));
    EXPECT_FALSE(isValidVersionString(".\u200D"));
}

TEST(IsValidVersionString, RefusesBytesThatAreNoUTF8)
{
    for (const std::string_view version :
        { "\xFF", "1\x80", "1\xC0\xAE", "1\xED\xA0\x80", "\xE2\x85" })
        EXPECT_FALSE(isValidVersionString(version));
}

} // namespace bridge
