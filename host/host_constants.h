#pragma once
// What the host is and speaks: constants of the whole process.

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace host {

/// The one version of the native-messaging protocol that the host speaks.
inline constexpr std::int64_t protocolVersion = 1;

/// Announced in every response; requests are checked against `protocolVersion` alone.
inline constexpr std::int64_t minimumProtocolVersion = 1;

inline constexpr std::string_view nativeHostVersion = "0.3.0";

/// The largest JSON text of a message, either way, in bytes. Browsers take up to 1 MiB from a host
/// and send up to 64 MiB (Chrome for Developers, "Native messaging"); this product needs far less.
inline constexpr std::size_t maximumMessageBytes = 16384;

} // namespace host
