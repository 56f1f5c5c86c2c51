#include "base/uuid.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace {

using namespace std::string_view_literals;

constexpr std::string_view upperText = "01234567-89AB-CDEF-FEDC-BA9876543210";
constexpr std::string_view lowerText = "01234567-89ab-cdef-fedc-ba9876543210";
constexpr base::UUID uuid { { 0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF, 0xFE, 0xDC, 0xBA,
    0x98, 0x76, 0x54, 0x32, 0x10 } };

TEST(ParseUUID, ReadsDigitsOfEitherCase)
{
    EXPECT_EQ(base::parseUUID(upperText), uuid);
    EXPECT_EQ(base::parseUUID(lowerText), uuid);
    EXPECT_EQ(base::parseUUID("01234567-89aB-CdEf-fEDc-bA9876543210"), uuid);
}

TEST(ParseUUID, TakesAnyVersionAndVariant)
{
    EXPECT_EQ(base::parseUUID("00000000-0000-0000-0000-000000000000"), base::UUID {});
    base::UUID full;
    full.bytes.fill(0xFF);
    EXPECT_EQ(base::parseUUID("ffffffff-ffff-ffff-ffff-ffffffffffff"), full);
}

TEST(ParseUUID, RefusesEveryOtherCharacterAtEveryPlace)
{
    for (std::size_t position = 0; position < upperText.size(); ++position) {
        const bool isHyphen = upperText[position] == '-';
        for (const char character : "-gG/:@` +xZ.\0\xFF"sv) {
            if (isHyphen && character == '-')
                continue;
            std::string text(upperText);
            text[position] = character;
            EXPECT_EQ(base::parseUUID(text), std::nullopt) << text;
        }
        if (isHyphen) {
            std::string text(upperText);
            text[position] = '0';
            EXPECT_EQ(base::parseUUID(text), std::nullopt) << text;
        }
    }
}

TEST(ParseUUID, RefusesEveryOtherLength)
{
    for (std::size_t length = 0; length < upperText.size(); ++length)
        EXPECT_EQ(base::parseUUID(upperText.substr(0, length)), std::nullopt) << length;
    EXPECT_EQ(base::parseUUID(std::string(upperText) + '0'), std::nullopt);
}

TEST(ParseUUID, RefusesOtherForms)
{
    for (const std::string_view text : { "{01234567-89AB-CDEF-FEDC-BA9876543210}"sv,
             "0123456789ABCDEFFEDCBA9876543210"sv, " 01234567-89AB-CDEF-FEDC-BA987654321"sv,
             "01234567-89AB-CDEF-FEDC-BA9876543210\0"sv, "012345678-9AB-CDEF-FEDC-BA9876543210"sv,
             "0x234567-89AB-CDEF-FEDC-BA9876543210"sv, "01234567-89AB-CDEF-FEDC-BA987654321 "sv })
        EXPECT_EQ(base::parseUUID(text), std::nullopt) << text;
}

TEST(UUIDTexts, AreOfTheCaseAskedFor)
{
    EXPECT_EQ(base::upperCaseText(uuid), upperText);
    EXPECT_EQ(base::lowerCaseText(uuid), lowerText);
}

TEST(UUIDOrder, IsThatOfTheBytes)
{
    base::UUID smaller;
    base::UUID larger;
    larger.bytes.back() = 1;
    EXPECT_LT(smaller, larger);
    smaller.bytes.front() = 1;
    EXPECT_GT(smaller, larger);
}

TEST(RandomUUIDFromBytes, SetsVersionAndVariantAndKeepsTheOtherBits)
{
    std::array<std::uint8_t, 16> bytes {};
    EXPECT_EQ(base::upperCaseText(base::randomUUIDFromBytes(bytes)),
        "00000000-0000-4000-8000-000000000000");
    bytes.fill(0xFF);
    EXPECT_EQ(base::upperCaseText(base::randomUUIDFromBytes(bytes)),
        "FFFFFFFF-FFFF-4FFF-BFFF-FFFFFFFFFFFF");
    for (std::size_t index = 0; index < bytes.size(); ++index)
        bytes[index] = static_cast<std::uint8_t>(0x11U * index);
    EXPECT_EQ(base::upperCaseText(base::randomUUIDFromBytes(bytes)),
        "00112233-4455-4677-8899-AABBCCDDEEFF");
}

} // namespace
