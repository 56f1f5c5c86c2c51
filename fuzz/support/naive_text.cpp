#include "fuzz/support/naive_text.h"

#include <algorithm>
#include <cstdint>

namespace fuzz {

namespace {

bool isOneOf(char32_t scalar, std::u32string_view set)
{
    return set.find(scalar) != std::u32string_view::npos;
}

constexpr std::u32string_view whitespaceAndNewlines
    = U"\u0009\u000A\u000B\u000C\u000D\u0020\u0085\u00A0\u1680"
      U"\u2000\u2001\u2002\u2003\u2004\u2005\u2006\u2007\u2008\u2009\u200A"
      U"\u2028\u2029\u202F\u205F\u3000";

constexpr std::string_view hexadecimalDigits = "0123456789abcdefABCDEF";

constexpr std::string_view base64Alphabet
    = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Compares with every scalar value's own encoding, one length after the other.
std::optional<char32_t> scalarOfLength(std::string_view bytes)
{
    char32_t scalar = 0;
    const auto at = [bytes](std::size_t index) {
        return static_cast<char32_t>(static_cast<std::uint8_t>(bytes[index]));
    };
    switch (bytes.size()) {
    case 1:
        scalar = at(0);
        break;
    case 2:
        scalar = (at(0) % 32) * 64 + at(1) % 64;
        break;
    case 3:
        scalar = (at(0) % 16) * 4096 + (at(1) % 64) * 64 + at(2) % 64;
        break;
    default:
        scalar = (at(0) % 8) * 262144 + (at(1) % 64) * 4096 + (at(2) % 64) * 64 + at(3) % 64;
        break;
    }
    if (scalar > 0x10FFFF || (scalar >= 0xD800 && scalar <= 0xDFFF))
        return std::nullopt;
    const std::string encoded = naiveUTF8(std::span(&scalar, 1));
    return encoded == bytes ? std::optional(scalar) : std::nullopt;
}

std::string mapped(std::string_view text, char first, char last, int distance)
{
    std::string result(text);
    for (char& character : result) {
        if (character >= first && character <= last)
            character = static_cast<char>(character + distance);
    }
    return result;
}

std::vector<Scalars> splitAtDots(const Scalars& scalars)
{
    std::vector<Scalars> pieces(1);
    for (const char32_t scalar : scalars) {
        if (scalar == U'.')
            pieces.emplace_back();
        else
            pieces.back().push_back(scalar);
    }
    return pieces;
}

bool isNaiveHostnameLabel(const Scalars& label)
{
    if (label.empty() || label.size() > 63)
        return false;
    if (label.front() == U'-' || label.back() == U'-')
        return false;
    return std::ranges::all_of(label,
        [](char32_t scalar) { return isOneOf(scalar, U"abcdefghijklmnopqrstuvwxyz0123456789-"); });
}

} // namespace

std::optional<Scalars> naiveScalars(std::string_view text)
{
    Scalars scalars;
    while (!text.empty()) {
        if (text.front() >= 0) {
            scalars.push_back(static_cast<char32_t>(text.front()));
            text.remove_prefix(1);
            continue;
        }
        std::optional<char32_t> scalar;
        std::size_t length = 0;
        while (!scalar && length < 4 && length < text.size())
            scalar = scalarOfLength(text.substr(0, ++length));
        if (!scalar)
            return std::nullopt;
        scalars.push_back(*scalar);
        text.remove_prefix(length);
    }
    return scalars;
}

std::string naiveUTF8(std::span<const char32_t> scalars)
{
    std::string text;
    for (const char32_t scalar : scalars) {
        const auto add = [&text](char32_t byte) { text += static_cast<char>(byte); };
        if (scalar < 0x80) {
            add(scalar);
        } else if (scalar < 0x800) {
            add(0xC0 + scalar / 64);
            add(0x80 + scalar % 64);
        } else if (scalar < 0x10000) {
            add(0xE0 + scalar / 4096);
            add(0x80 + scalar / 64 % 64);
            add(0x80 + scalar % 64);
        } else {
            add(0xF0 + scalar / 262144);
            add(0x80 + scalar / 4096 % 64);
            add(0x80 + scalar / 64 % 64);
            add(0x80 + scalar % 64);
        }
    }
    return text;
}

Scalars naivelyTrimmed(Scalars scalars)
{
    while (!scalars.empty() && isOneOf(scalars.back(), whitespaceAndNewlines))
        scalars.pop_back();
    while (!scalars.empty() && isOneOf(scalars.front(), whitespaceAndNewlines))
        scalars.erase(scalars.begin());
    return scalars;
}

bool isNaiveControlCharacter(char32_t scalar)
{
    return scalar < 0x20 || (scalar > 0x7E && scalar < 0xA0);
}

bool isNaiveUUID(std::string_view text)
{
    constexpr std::string_view form = "hhhhhhhh-hhhh-hhhh-hhhh-hhhhhhhhhhhh";
    if (text.size() != form.size())
        return false;
    for (std::size_t index = 0; index < form.size(); ++index) {
        if (form[index] == '-' && text[index] != '-')
            return false;
        if (form[index] == 'h' && hexadecimalDigits.find(text[index]) == std::string_view::npos)
            return false;
    }
    return true;
}

std::optional<std::string> naiveBytes(std::string_view base64)
{
    if (base64.size() % 4 != 0)
        return std::nullopt;
    std::string bytes;
    while (!base64.empty()) {
        std::string_view group = base64.substr(0, 4);
        base64.remove_prefix(4);
        // Only the last four characters may be fewer.
        while (base64.empty() && group.size() > 2 && group.ends_with('='))
            group.remove_suffix(1);
        std::uint32_t bits = 0;
        for (std::size_t index = 0; index < 4; ++index) {
            const std::size_t digit = index < group.size() ? base64Alphabet.find(group[index]) : 0;
            if (digit == std::string_view::npos)
                return std::nullopt;
            bits = bits * 64 + static_cast<std::uint32_t>(digit);
        }
        const std::string three { static_cast<char>(bits / 65536),
            static_cast<char>(bits / 256 % 256), static_cast<char>(bits % 256) };
        // What the missing characters leave over must be nothing.
        if (three.find_first_not_of('\0', group.size() - 1) != std::string::npos)
            return std::nullopt;
        bytes += three.substr(0, group.size() - 1);
    }
    return bytes;
}

bool isNaiveToken(std::string_view text)
{
    constexpr char32_t fullWidthDistance = U'\uFF10' - U'0';
    const auto scalars = naiveScalars(text);
    if (!scalars || scalars->size() != 64 || text.size() > 128)
        return false;
    return std::ranges::all_of(*scalars, [](char32_t scalar) {
        const char32_t narrow = scalar < 0x80 ? scalar : scalar - fullWidthDistance;
        return (narrow >= U'0' && narrow <= U'9') || (narrow >= U'A' && narrow <= U'F')
            || (narrow >= U'a' && narrow <= U'f');
    });
}

std::string naivelyLowerCased(std::string_view text)
{
    return mapped(text, 'A', 'Z', 'a' - 'A');
}

std::string naivelyUpperCased(std::string_view text)
{
    return mapped(text, 'a', 'z', 'A' - 'a');
}

std::optional<std::string> naivelyNormalizedHostname(const Scalars& hostname)
{
    Scalars scalars = naivelyTrimmed(hostname);
    for (char32_t& scalar : scalars) {
        if (scalar >= U'A' && scalar <= U'Z')
            scalar += U'a' - U'A';
        else if (scalar
            == U'\u212A') // the Kelvin sign, the only other one with a lower case in ASCII
            scalar = U'k';
    }
    if (!scalars.empty() && scalars.back() == U'.')
        scalars.pop_back();
    std::string text = naiveUTF8(scalars);
    if (text.empty() || text.size() > 253)
        return std::nullopt;
    if (!std::ranges::all_of(splitAtDots(scalars), isNaiveHostnameLabel))
        return std::nullopt;
    return text;
}

} // namespace fuzz
