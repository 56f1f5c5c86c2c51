#pragma once
// Base64 (RFC 4648 section 4): the alphabet with "+" and "/", padded with "=", no line breaks.

#include <optional>
#include <string>
#include <string_view>

namespace base {

/// Four characters for every three bytes begun.
[[nodiscard]] std::string encodeBase64(std::string_view bytes);

/// Reads what `encodeBase64` writes. Yields none for a length that is not a multiple of four, a
/// character outside the alphabet, padding in any other place than the end, or bits left over that
/// are not zero.
[[nodiscard]] std::optional<std::string> decodeBase64(std::string_view text);

} // namespace base
