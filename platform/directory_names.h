#pragma once
// What a directory holds. Systems differ in how it is asked with the fewest calls, so each has its
// own source file.

#include "platform/file_system.h"

#include <string>
#include <vector>

namespace platform {

/// The names in the directory that is open as `descriptor`, "." and ".." among them, in no
/// particular order. The directory is read from where it was read last, to its end; the descriptor
/// stays the caller's.
[[nodiscard]] FileResult<std::vector<std::string>> namesInDirectory(int descriptor);

} // namespace platform
