#pragma once
// Universally unique identifiers (RFC 9562) as values: sixteen bytes and their text of 36
// characters.

#include <array>
#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace base {

struct UUID {
    std::array<std::uint8_t, 16> bytes {};

    friend auto operator<=>(const UUID&, const UUID&) = default;
};

/// Reads the form of 8, 4, 4, 4 and 12 hexadecimal digits of either case joined by "-", with
/// nothing before or after it. Version and variant bits are not looked at. Anything else yields
/// none.
[[nodiscard]] std::optional<UUID> parseUUID(std::string_view text);

/// The 36 characters of `uuid` with upper-case digits.
[[nodiscard]] std::string upperCaseText(const UUID& uuid);

/// The 36 characters of `uuid` with lower-case digits.
[[nodiscard]] std::string lowerCaseText(const UUID& uuid);

/// Makes a random UUID (version 4, RFC 9562 section 5.4) of sixteen random bytes: six of their bits
/// are replaced by version and variant.
[[nodiscard]] UUID randomUUIDFromBytes(std::array<std::uint8_t, 16> randomBytes);

} // namespace base
