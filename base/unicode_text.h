#pragma once
// What the rules of the system need to know about Unicode text: reading UTF-8, trimming, and the
// properties of single scalar values that decide over version strings and tokens. The sets are
// those of Unicode 17 (see unicode_tables.h).
//
// Texts are compared byte by byte everywhere. The application's library compares canonically
// equivalent texts as equal, but no text outside ASCII is canonically equivalent to one of the
// system's constants: of all code points only U+037E, U+1FEF and U+212A decompose to ASCII (to ";",
// "`" and "K"), and none of the constants, keys or token characters is one of those three.

#include <cstddef>
#include <optional>
#include <string_view>

namespace base {

/// A scalar value taken from the front of a text, with the number of bytes that it fills (1 to 4).
struct DecodedScalar {
    char32_t scalar = 0;
    std::size_t byteCount = 0;
};

/// Reads the first scalar value of `text`. Yields none for an empty text and for bytes that are not
/// well-formed UTF-8 (RFC 3629: no overlong forms, no surrogates, nothing above U+10FFFF).
[[nodiscard]] std::optional<DecodedScalar> firstScalar(std::string_view text);

/// White space and newlines: the Unicode space separators, tab, U+000A to U+000D, U+0085, U+2028
/// and U+2029.
[[nodiscard]] bool isWhitespaceOrNewline(char32_t scalar);

/// U+0000 to U+001F and U+007F to U+009F.
[[nodiscard]] bool isControlCharacter(char32_t scalar);

/// Whether the scalar value represents a number (Unicode numeric type other than None).
[[nodiscard]] bool isNumericCharacter(char32_t scalar);

/// 0-9, a-f, A-F and their full-width compatibility forms.
[[nodiscard]] constexpr bool isHexadecimalDigit(char32_t scalar)
{
    constexpr char32_t fullWidthOffset = 0xFF10 - U'0';
    if (scalar >= 0xFF10)
        scalar -= fullWidthOffset;
    return (scalar >= U'0' && scalar <= U'9') || (scalar >= U'A' && scalar <= U'F')
        || (scalar >= U'a' && scalar <= U'f');
}

/// Whether the scalar value belongs to the user-perceived character before it (grapheme extenders,
/// spacing marks and the zero-width joiner; Unicode Standard Annex 29).
[[nodiscard]] bool extendsCharacterBefore(char32_t scalar);

/// `text` without the white space and newlines at both ends. `text` must be well-formed UTF-8.
[[nodiscard]] std::string_view trimmed(std::string_view text);

/// Whether `predicate` holds for every scalar value of `text`; false also if `text` is not
/// well-formed UTF-8.
template <typename Predicate>
[[nodiscard]] bool allScalars(std::string_view text, Predicate predicate)
{
    while (!text.empty()) {
        // Nearly all texts are ASCII, where every byte is a scalar value.
        const auto first = static_cast<unsigned char>(text.front());
        const auto decoded
            = first < 0x80 ? std::optional(DecodedScalar { first, 1 }) : firstScalar(text);
        if (!decoded || !predicate(decoded->scalar))
            return false;
        text.remove_prefix(decoded->byteCount);
    }
    return true;
}

} // namespace base
