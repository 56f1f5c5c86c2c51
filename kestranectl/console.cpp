#include "kestranectl/console.h"

#include "base/unicode_text.h"

#include <cstddef>

namespace kestranectl {

namespace {

std::string escaped(std::string_view bytes)
{
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string text;
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        text += "\\x";
        text += digits[value / 16U];
        text += digits[value % 16U];
    }
    return text;
}

// These turn the direction of what follows, so that a text looks like another one (Unicode Standard
// Annex 9, section 2).
bool isDirectionMark(char32_t scalar)
{
    return scalar == U'\u200E' || scalar == U'\u200F'
        || (scalar >= U'\u202A' && scalar <= U'\u202E')
        || (scalar >= U'\u2066' && scalar <= U'\u2069');
}

} // namespace

std::string printable(std::string_view text)
{
    std::string shown;
    while (!text.empty()) {
        const auto decoded = base::firstScalar(text);
        const std::string_view piece = text.substr(0, decoded ? decoded->byteCount : 1);
        if (!decoded || base::isControlCharacter(decoded->scalar)
            || isDirectionMark(decoded->scalar))
            shown += escaped(piece);
        else
            shown += piece;
        text.remove_prefix(piece.size());
    }
    return shown;
}

} // namespace kestranectl
