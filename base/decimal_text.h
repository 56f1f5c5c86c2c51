#pragma once
// Decimal numbers of a fixed width, as names and time stamps have them.

#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace base {

/// Appends `value` in at least `width` characters: zeros fill it up, after the sign, which counts
/// among the characters.
inline void appendDecimal(std::string& text, std::int64_t value, std::size_t width)
{
    std::array<char, 24> digits {};
    const char* const end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
    std::string_view number(digits.data(), static_cast<std::size_t>(end - digits.data()));
    const std::size_t zeros = width > number.size() ? width - number.size() : 0;
    if (value < 0) {
        text += '-';
        number.remove_prefix(1);
    }
    text.append(zeros, '0');
    text += number;
}

} // namespace base
