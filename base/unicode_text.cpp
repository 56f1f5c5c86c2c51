#include "base/unicode_text.h"

#include "base/unicode_tables.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>

namespace base {

namespace {

constexpr bool isContinuation(char byte)
{
    return (static_cast<std::uint8_t>(byte) & 0xC0U) == 0x80U;
}

bool contains(std::span<const ScalarRange> ranges, char32_t scalar)
{
    const auto range = std::ranges::lower_bound(ranges, scalar, {}, &ScalarRange::last);
    return range != ranges.end() && range->first <= scalar;
}

// The number of bytes that a scalar value with this first byte fills, or 0 if none begins so.
constexpr std::size_t sequenceLength(std::uint8_t lead)
{
    if (lead < 0x80U)
        return 1;
    if (lead >= 0xC2U && lead <= 0xDFU)
        return 2;
    if (lead >= 0xE0U && lead <= 0xEFU)
        return 3;
    if (lead >= 0xF0U && lead <= 0xF4U)
        return 4;
    return 0;
}

std::size_t startOfLastScalar(std::string_view text)
{
    std::size_t start = text.size() - 1;
    while (start > 0 && isContinuation(text[start]))
        --start;
    return start;
}

} // namespace

std::optional<DecodedScalar> firstScalar(std::string_view text)
{
    if (text.empty())
        return std::nullopt;
    const auto lead = static_cast<std::uint8_t>(text.front());
    const std::size_t length = sequenceLength(lead);
    if (length == 1)
        return DecodedScalar { lead, 1 };
    if (length == 0 || text.size() < length)
        return std::nullopt;

    char32_t scalar = lead & (0x7FU >> length);
    for (const char byte : text.substr(1, length - 1)) {
        if (!isContinuation(byte))
            return std::nullopt;
        scalar = scalar << 6U | (static_cast<std::uint8_t>(byte) & 0x3FU);
    }
    constexpr std::array<char32_t, 5> smallestOfLength { 0, 0, 0x80, 0x800, 0x10000 };
    const bool isSurrogate = scalar >= 0xD800 && scalar <= 0xDFFF;
    if (scalar < smallestOfLength[length] || isSurrogate || scalar > 0x10FFFF)
        return std::nullopt;
    return DecodedScalar { scalar, length };
}

bool isWhitespaceOrNewline(char32_t scalar)
{
    switch (scalar) {
    case 0x0020:
    case 0x0085:
    case 0x00A0:
    case 0x1680:
    case 0x2028:
    case 0x2029:
    case 0x202F:
    case 0x205F:
    case 0x3000:
        return true;
    default:
        return (scalar >= 0x0009 && scalar <= 0x000D) || (scalar >= 0x2000 && scalar <= 0x200A);
    }
}

bool isControlCharacter(char32_t scalar)
{
    return scalar <= 0x1F || (scalar >= 0x7F && scalar <= 0x9F);
}

bool isNumericCharacter(char32_t scalar)
{
    if (scalar < 0x80)
        return scalar >= U'0' && scalar <= U'9';
    return contains(numericRanges, scalar);
}

bool extendsCharacterBefore(char32_t scalar)
{
    return scalar >= 0x80 && contains(extendingRanges, scalar);
}

std::string_view trimmed(std::string_view text)
{
    while (!text.empty()) {
        const auto decoded = firstScalar(text);
        if (!decoded || !isWhitespaceOrNewline(decoded->scalar))
            break;
        text.remove_prefix(decoded->byteCount);
    }
    while (!text.empty()) {
        const std::size_t start = startOfLastScalar(text);
        const auto decoded = firstScalar(text.substr(start));
        if (!decoded || !isWhitespaceOrNewline(decoded->scalar))
            break;
        text = text.substr(0, start);
    }
    return text;
}

} // namespace base
