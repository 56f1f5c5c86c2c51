#pragma once
// Which operating system this is: the one fact that code outside this folder may ask, to choose
// among paths that are data.

#include <cstdint>

namespace platform {

enum class OperatingSystem : std::uint8_t { linux, macOS };

extern const OperatingSystem currentOperatingSystem;

} // namespace platform
