#include "base/hexadecimal.h"

#include <gtest/gtest.h>

#include <string_view>

namespace base {
namespace {

TEST(HexadecimalValue, IsThatOfDigitsOfEitherCase)
{
    constexpr std::string_view lowerCase = "0123456789abcdef";
    constexpr std::string_view upperCase = "0123456789ABCDEF";
    for (std::size_t value = 0; value < lowerCase.size(); ++value) {
        EXPECT_EQ(hexadecimalValue(lowerCase[value]), value);
        EXPECT_EQ(hexadecimalValue(upperCase[value]), value);
    }
}

TEST(HexadecimalValue, HasAllBitsSetForEverythingElse)
{
    constexpr std::string_view digits = "0123456789abcdefABCDEF";
    int others = 0;
    for (int byte = 0; byte < 256; ++byte) {
        const char character = static_cast<char>(byte);
        if (digits.find(character) != std::string_view::npos)
            continue;
        EXPECT_EQ(hexadecimalValue(character), notHexadecimal) << byte;
        ++others;
    }
    EXPECT_EQ(others, 256 - 22);
    EXPECT_EQ(notHexadecimal, 0xFF);
}

} // namespace
} // namespace base
