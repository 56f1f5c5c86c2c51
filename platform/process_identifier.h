#pragma once
// Which process this is.

#include <cstdint>

namespace platform {

[[nodiscard]] std::int32_t currentProcessIdentifier();

} // namespace platform
