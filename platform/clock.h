#pragma once
// The system's clock.

#include "base/timestamp.h"

namespace platform {

/// The current time.
[[nodiscard]] base::Timestamp currentTime();

} // namespace platform
