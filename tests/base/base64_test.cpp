#include "base/base64.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <string_view>

namespace {

using namespace std::string_view_literals;

struct Pair {
    std::string_view bytes;
    std::string_view text;
};

constexpr std::array pairsOfAllLengths {
    Pair { "", "" },
    Pair { "f", "Zg==" },
    Pair { "fo", "Zm8=" },
    Pair { "foo", "Zm9v" },
    Pair { "foob", "Zm9vYg==" },
    Pair { "fooba", "Zm9vYmE=" },
    Pair { "foobar", "Zm9vYmFy" },
};

std::string allBytes()
{
    std::string bytes;
    for (int byte = 0; byte < 256; ++byte)
        bytes += static_cast<char>(static_cast<unsigned char>(byte));
    return bytes;
}

TEST(EncodeBase64, PadsEveryLengthToFours)
{
    for (const auto& [bytes, text] : pairsOfAllLengths)
        EXPECT_EQ(base::encodeBase64(bytes), text);
}

TEST(EncodeBase64, WritesTheWholeAlphabet)
{
    // The sextets 0 to 63 in their order.
    constexpr std::string_view bytes
        = "\x00\x10\x83\x10\x51\x87\x20\x92\x8B\x30\xD3\x8F\x41\x14\x93\x51\x55\x97\x61\x96\x9B\x71"
          "\xD7\x9F"
          "\x82\x18\xA3\x92\x59\xA7\xA2\x9A\xAB\xB2\xDB\xAF\xC3\x1C\xB3\xD3\x5D\xB7\xE3\x9E\xBB\xF3\xDF\xBF"sv;
    EXPECT_EQ(base::encodeBase64(bytes),
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/");
}

TEST(DecodeBase64, ReadsEveryLength)
{
    for (const auto& [bytes, text] : pairsOfAllLengths)
        EXPECT_EQ(base::decodeBase64(text), bytes) << text;
}

TEST(DecodeBase64, ReadsBackEveryByteAtEveryPlace)
{
    for (std::size_t shift = 0; shift < 3; ++shift) {
        const std::string bytes = std::string(shift, 'x') + allBytes();
        EXPECT_EQ(base::decodeBase64(base::encodeBase64(bytes)), bytes) << shift;
    }
}

TEST(DecodeBase64, RefusesLengthsThatAreNoMultipleOfFour)
{
    for (const std::string_view text : { "Z", "Zg", "Zg=", "Zm9", "Zm9vY", "Zm9vYg=" })
        EXPECT_EQ(base::decodeBase64(text), std::nullopt) << text;
}

TEST(DecodeBase64, RefusesCharactersOutsideTheAlphabet)
{
    for (int byte = 0; byte < 256; ++byte) {
        const char character = static_cast<char>(static_cast<unsigned char>(byte));
        constexpr std::string_view alphabet
            = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
        const bool isInAlphabet = alphabet.find(character) != std::string_view::npos;
        const auto decoded = base::decodeBase64(std::string("A") + character + "AA");
        EXPECT_EQ(decoded.has_value(), isInAlphabet) << byte;
    }
}

TEST(DecodeBase64, RefusesPaddingAnywhereButAtTheEnd)
{
    for (const std::string_view text :
        { "=AAA", "A=AA", "AA=A", "====", "A===", "AAAA====", "AA==AAAA", "AAA=AAAA", "==AA" })
        EXPECT_EQ(base::decodeBase64(text), std::nullopt) << text;
}

TEST(DecodeBase64, RefusesBitsLeftOverThatAreNotZero)
{
    EXPECT_EQ(base::decodeBase64("AA=="), "\0"sv);
    EXPECT_EQ(base::decodeBase64("AQ=="), "\1"sv);
    EXPECT_EQ(base::decodeBase64("AAE="), "\0\1"sv);
    for (const std::string_view text : { "AB==", "AP==", "AAB=", "AAD=" })
        EXPECT_EQ(base::decodeBase64(text), std::nullopt) << text;
}

} // namespace
