#include "base/uuid.h"

#include <cstddef>

namespace base {

namespace {

constexpr std::size_t textLength = 36;

constexpr bool isHyphenPosition(std::size_t position)
{
    return position == 8 || position == 13 || position == 18 || position == 23;
}

// The value of every byte as a hexadecimal digit, noDigit for all others.
constexpr std::uint8_t noDigit = 0xFF;
constexpr auto hexadecimalValues = [] {
    std::array<std::uint8_t, 256> values {};
    values.fill(noDigit);
    constexpr std::string_view lowerCase = "0123456789abcdef";
    constexpr std::string_view upperCase = "0123456789ABCDEF";
    for (std::size_t value = 0; value < lowerCase.size(); ++value) {
        values[static_cast<std::uint8_t>(lowerCase[value])] = static_cast<std::uint8_t>(value);
        values[static_cast<std::uint8_t>(upperCase[value])] = static_cast<std::uint8_t>(value);
    }
    return values;
}();

constexpr std::uint8_t hexadecimalValue(char character)
{
    return hexadecimalValues[static_cast<std::uint8_t>(character)];
}

std::string formatted(const UUID& uuid, std::string_view digits)
{
    std::string text(textLength, '-');
    std::size_t position = 0;
    for (const std::uint8_t byte : uuid.bytes) {
        if (isHyphenPosition(position))
            ++position;
        text[position++] = digits[byte >> 4U];
        text[position++] = digits[byte & 0xFU];
    }
    return text;
}

} // namespace

std::optional<UUID> parseUUID(std::string_view text)
{
    if (text.size() != textLength)
        return std::nullopt;
    UUID uuid;
    std::size_t position = 0;
    for (std::uint8_t& byte : uuid.bytes) {
        if (isHyphenPosition(position)) {
            if (text[position] != '-')
                return std::nullopt;
            ++position;
        }
        const std::uint8_t high = hexadecimalValue(text[position++]);
        const std::uint8_t low = hexadecimalValue(text[position++]);
        if (high == noDigit || low == noDigit)
            return std::nullopt;
        byte = static_cast<std::uint8_t>(high << 4U | low);
    }
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
