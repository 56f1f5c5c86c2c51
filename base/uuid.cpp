#include "base/uuid.h"

#include "base/hexadecimal.h"

#include <cstddef>

namespace base {

namespace {

constexpr std::size_t textLength = 36;

constexpr std::array<std::size_t, 4> hyphenPositions { 8, 13, 18, 23 };

// Where the two digits of each byte stand.
constexpr std::array<std::size_t, 16> digitPositions { 0, 2, 4, 6, 9, 11, 14, 16, 19, 21, 24, 26,
    28, 30, 32, 34 };

std::string formatted(const UUID& uuid, std::string_view digits)
{
    std::string text(textLength, '-');
    for (std::size_t index = 0; index < uuid.bytes.size(); ++index) {
        const std::uint8_t byte = uuid.bytes[index];
        text[digitPositions[index]] = digits[byte >> 4U];
        text[digitPositions[index] + 1] = digits[byte & 0xFU];
    }
    return text;
}

} // namespace

std::optional<UUID> parseUUID(std::string_view text)
{
    if (text.size() != textLength)
        return std::nullopt;
    for (const std::size_t position : hyphenPositions) {
        if (text[position] != '-')
            return std::nullopt;
    }
    UUID uuid;
    // The values of digits leave the high bits clear: one look at the end tells whether all were
    // digits.
    unsigned allBits = 0;
    for (std::size_t index = 0; index < uuid.bytes.size(); ++index) {
        const std::size_t position = digitPositions[index];
        const unsigned high = hexadecimalValue(text[position]);
        const unsigned low = hexadecimalValue(text[position + 1]);
        allBits |= high | low;
        uuid.bytes[index] = static_cast<std::uint8_t>(high << 4U | low);
    }
    if (allBits > 0xFU)
        return std::nullopt;
    return uuid;
}

std::string upperCaseText(const UUID& uuid)
{
    return formatted(uuid, "0123456789ABCDEF");
}

std::string lowerCaseText(const UUID& uuid)
{
    return formatted(uuid, "0123456789abcdef");
}

UUID randomUUIDFromBytes(std::array<std::uint8_t, 16> randomBytes)
{
    randomBytes[6] = static_cast<std::uint8_t>((randomBytes[6] & 0x0FU) | 0x40U);
    randomBytes[8] = static_cast<std::uint8_t>((randomBytes[8] & 0x3FU) | 0x80U);
    return UUID { randomBytes };
}

} // namespace base
