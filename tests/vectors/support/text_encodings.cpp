#include "tests/vectors/support/text_encodings.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <tuple>

namespace vectors {

namespace {

constexpr std::string_view digits
    = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

char32_t byteOf(char character)
{
    return static_cast<unsigned char>(character);
}

char characterOf(char32_t byte)
{
    return static_cast<char>(static_cast<unsigned char>(byte));
}

} // namespace

// Both directions go bit by bit: slow, and plainly right.
std::string bytesOfBase64(std::string_view text)
{
    std::string bytes;
    char32_t byte = 0;
    int bitCount = 0;
    for (const char character : text) {
        if (character == '=')
            break;
        const std::size_t value = digits.find(character);
        for (int bit = 5; bit >= 0; --bit) {
            byte = byte * 2 + ((value >> static_cast<unsigned>(bit) & 1U) != 0 ? 1 : 0);
            if (++bitCount == 8) {
                bytes += characterOf(byte);
                byte = 0;
                bitCount = 0;
            }
        }
    }
    return bytes;
}

std::string base64OfBytes(std::string_view bytes)
{
    const std::size_t bitCount = bytes.size() * 8;
    std::string text;
    for (std::size_t start = 0; start < bitCount; start += 6) {
        std::size_t value = 0;
        for (std::size_t bit = start; bit < start + 6; ++bit) {
            const bool isSet
                = bit < bitCount && (byteOf(bytes[bit / 8]) >> (7 - bit % 8) & 1U) != 0;
            value = value * 2 + (isSet ? 1 : 0);
        }
        text += digits[value];
    }
    while (text.size() % 4 != 0)
        text += '=';
    return text;
}

std::u32string scalarsOf(std::string_view text)
{
    std::u32string scalars;
    for (const char character : text) {
        const char32_t byte = byteOf(character);
        if (byte < 0x80)
            scalars += byte;
        else if (byte < 0xC0)
            scalars.back() = scalars.back() * 0x40 + (byte - 0x80);
        else if (byte < 0xE0)
            scalars += char32_t { byte - 0xC0 };
        else if (byte < 0xF0)
            scalars += char32_t { byte - 0xE0 };
        else
            scalars += char32_t { byte - 0xF0 };
    }
    return scalars;
}

std::string utf8Of(char32_t scalar)
{
    const auto continuation
        = [scalar](unsigned shift) { return characterOf(0x80 + (scalar >> shift) % 0x40); };
    if (scalar < 0x80)
        return { characterOf(scalar) };
    if (scalar < 0x800)
        return { characterOf(0xC0 + scalar / 0x40), continuation(0) };
    if (scalar < 0x10000)
        return { characterOf(0xE0 + scalar / 0x1000), continuation(6), continuation(0) };
    return { characterOf(0xF0 + scalar / 0x40000), continuation(12), continuation(6),
        continuation(0) };
}

std::string utf8Of(std::u32string_view scalars)
{
    std::string text;
    for (const char32_t scalar : scalars)
        text += utf8Of(scalar);
    return text;
}

std::string bitsOf(double value)
{
    std::array<char, 17> text {};
    std::ignore = std::snprintf(text.data(), text.size(), "%016llx",
        static_cast<unsigned long long>(std::bit_cast<std::uint64_t>(value)));
    return { text.data(), 16 };
}

} // namespace vectors
