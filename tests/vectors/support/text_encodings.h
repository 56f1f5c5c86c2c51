#pragma once
// Encodings as the vectors need them, written apart from those of the program so that the two
// cannot err alike.

#include <string>
#include <string_view>

namespace vectors {

/// The bytes of sound base64 text.
[[nodiscard]] std::string bytesOfBase64(std::string_view text);

[[nodiscard]] std::string base64OfBytes(std::string_view bytes);

/// The scalar values of sound UTF-8 text.
[[nodiscard]] std::u32string scalarsOf(std::string_view text);

[[nodiscard]] std::string utf8Of(char32_t scalar);
[[nodiscard]] std::string utf8Of(std::u32string_view scalars);

/// The bits of a double as 16 hexadecimal digits.
[[nodiscard]] std::string bitsOf(double value);

/// Surrogates are code points, but no scalar values: no text holds them.
[[nodiscard]] constexpr bool isSurrogate(char32_t codePoint)
{
    return codePoint >= 0xD800 && codePoint <= 0xDFFF;
}

/// Calls `action` with every scalar value, in ascending order.
template <typename Action> void forEachScalar(Action action)
{
    for (char32_t scalar = 0; scalar <= 0x10FFFF; ++scalar) {
        if (!isSurrogate(scalar))
            action(scalar);
    }
}

} // namespace vectors
