#pragma once
// Randomness from the operating system.

#include "base/uuid.h"
#include "platform/file_system.h"

namespace platform {

/// A fresh random UUID. Fails with the system's error where it gives no randomness.
[[nodiscard]] FileResult<base::UUID> randomUUID();

} // namespace platform
