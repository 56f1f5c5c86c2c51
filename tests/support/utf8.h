#pragma once
// Texts for tests, from scalar values; written apart from the code that reads them.

#include <cstddef>
#include <string>
#include <string_view>

namespace support {

/// The scalar value in UTF-8.
[[nodiscard]] inline std::string utf8(char32_t scalar)
{
    const auto lead = [scalar](unsigned shift, unsigned mark) {
        return static_cast<char>(mark | (scalar >> shift));
    };
    const auto continuation = [scalar](unsigned shift) {
        return static_cast<char>(0x80U | ((scalar >> shift) & 0x3FU));
    };
    if (scalar < 0x80)
        return { static_cast<char>(scalar) };
    if (scalar < 0x800)
        return { lead(6, 0xC0), continuation(0) };
    if (scalar < 0x10000)
        return { lead(12, 0xE0), continuation(6), continuation(0) };
    return { lead(18, 0xF0), continuation(12), continuation(6), continuation(0) };
}

/// `text`, `count` times in a row.
[[nodiscard]] inline std::string repeated(std::string_view text, std::size_t count)
{
    std::string result;
    while (count-- > 0)
        result += text;
    return result;
}

} // namespace support
