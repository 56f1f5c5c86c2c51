#pragma once
// Removal of items whatever they are.

#include "platform/file_system.h"

#include <string>

namespace platform {

/// Removes the item at `path`, which must not end in a slash: a directory with all that it holds, a
/// symbolic link itself and never its target. Stops at the first failure; what was removed until
/// then stays removed. More than 512 directories within one another that are not empty, or than
/// there are file descriptors, are a failure.
[[nodiscard]] FileResult<void> removeTree(const std::string& path);

/// The same for the item `name` in an open directory, whatever path leads there by now.
[[nodiscard]] FileResult<void> removeTreeIn(const OpenFile& directory, const char* name);

} // namespace platform
