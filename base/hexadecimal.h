#pragma once
// Hexadecimal digits in ASCII, as identifiers and tokens have them.

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace base {

/// What `hexadecimalValue` yields for a character that is no digit: all its bits are set, which no
/// digit's value has.
inline constexpr std::uint8_t notHexadecimal = 0xFF;

/// The value of every byte as a hexadecimal digit of either case.
inline constexpr auto hexadecimalValues = [] {
    std::array<std::uint8_t, 256> values {};
    values.fill(notHexadecimal);
    constexpr std::string_view lowerCase = "0123456789abcdef";
    constexpr std::string_view upperCase = "0123456789ABCDEF";
    for (std::size_t value = 0; value < lowerCase.size(); ++value) {
        values[static_cast<std::uint8_t>(lowerCase[value])] = static_cast<std::uint8_t>(value);
        values[static_cast<std::uint8_t>(upperCase[value])] = static_cast<std::uint8_t>(value);
    }
    return values;
}();

/// 0 to 15 for 0-9, a-f and A-F, `notHexadecimal` for everything else.
[[nodiscard]] constexpr std::uint8_t hexadecimalValue(char character)
{
    return hexadecimalValues[static_cast<std::uint8_t>(character)];
}

} // namespace base
