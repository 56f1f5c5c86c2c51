#pragma once
// The rules of single texts once more, written as plainly as they can be said, to hold the real
// ones against. Nothing here uses the code that is tested.

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace fuzz {

using Scalars = std::vector<char32_t>;

/// The scalar values of a UTF-8 text; none for anything that is not well-formed (RFC 3629).
[[nodiscard]] std::optional<Scalars> naiveScalars(std::string_view text);

[[nodiscard]] std::string naiveUTF8(std::span<const char32_t> scalars);

/// Without white space and newlines at both ends.
[[nodiscard]] Scalars naivelyTrimmed(Scalars scalars);

[[nodiscard]] bool isNaiveControlCharacter(char32_t scalar);

/// Whether `text` is 8-4-4-4-12 hexadecimal digits.
[[nodiscard]] bool isNaiveUUID(std::string_view text);

/// What padded base64 stands for; none for anything else, and none if bits are left over.
[[nodiscard]] std::optional<std::string> naiveBytes(std::string_view base64);

/// Whether `text` is 64 hexadecimal digits, ASCII or full-width, in at most 128 bytes.
[[nodiscard]] bool isNaiveToken(std::string_view text);

/// ASCII letters in lower case, everything else as it is.
[[nodiscard]] std::string naivelyLowerCased(std::string_view text);
[[nodiscard]] std::string naivelyUpperCased(std::string_view text);

/// The host name in normal form, or none if it breaks a rule.
[[nodiscard]] std::optional<std::string> naivelyNormalizedHostname(const Scalars& hostname);

} // namespace fuzz
