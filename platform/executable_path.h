#pragma once
// Where the running program lies.

#include <string>

namespace platform {

/// The absolute path of this process's executable, links resolved; empty if the system does not
/// tell.
[[nodiscard]] std::string executablePath();

} // namespace platform
