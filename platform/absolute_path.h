#pragma once
// Paths as users give them.

#include <string>

namespace platform {

/// `path` if it is absolute, otherwise the path of the same item from the root: what starts in the
/// working directory goes behind that directory's path. Nothing is looked up or shortened. `path`
/// itself where it is empty or the system does not tell the working directory.
[[nodiscard]] std::string absolutePath(const std::string& path);

} // namespace platform
