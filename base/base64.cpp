#include "base/base64.h"

#include <cstddef>
#include <cstdint>

namespace base {

namespace {

constexpr std::string_view alphabet
    = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

} // namespace

std::string encodeBase64(std::string_view bytes)
{
    std::string text((bytes.size() + 2) / 3 * 4, '=');
    auto end = text.begin();
    const auto append
        = [&end](std::uint32_t bits, unsigned shift) { *end++ = alphabet[bits >> shift & 0x3FU]; };
    const auto byte = [&bytes](std::size_t index) -> std::uint32_t {
        return static_cast<std::uint8_t>(bytes[index]);
    };
    for (; bytes.size() >= 3; bytes.remove_prefix(3)) {
        const std::uint32_t bits = byte(0) << 16U | byte(1) << 8U | byte(2);
        for (const unsigned shift : { 18U, 12U, 6U, 0U })
            append(bits, shift);
    }
    if (!bytes.empty()) {
        const std::uint32_t bits = byte(0) << 16U | (bytes.size() == 2 ? byte(1) << 8U : 0U);
        append(bits, 18);
        append(bits, 12);
        if (bytes.size() == 2)
            append(bits, 6);
    }
    return text;
}

std::optional<std::string> decodeBase64(std::string_view text)
{
    if (text.size() % 4 != 0)
        return std::nullopt;
    const std::string_view digits = text.substr(0, text.find_last_not_of('=') + 1);
    const std::size_t padding = text.size() - digits.size();
    if (padding > 2)
        return std::nullopt;
    std::string bytes;
    bytes.reserve(text.size() / 4 * 3);
    std::uint32_t bits = 0;
    unsigned bitCount = 0;
    for (const char character : digits) {
        const std::size_t sextet = alphabet.find(character);
        if (sextet == std::string_view::npos)
            return std::nullopt;
        bits = bits << 6U | static_cast<std::uint32_t>(sextet);
        bitCount += 6;
        if (bitCount >= 8) {
            bitCount -= 8;
            bytes += static_cast<char>(bits >> bitCount & 0xFFU);
        }
    }
    const std::uint32_t leftOver = bits & ((1U << bitCount) - 1U);
    if (leftOver != 0)
        return std::nullopt;
    return bytes;
}

} // namespace base
