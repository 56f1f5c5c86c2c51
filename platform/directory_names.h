#pragma once
// What a directory holds. Systems differ in how it is asked with the fewest calls, so each has its
// own source file.

#include "platform/file_system.h"

#include <string>
#include <string_view>
#include <vector>

namespace platform {

/// Whether a directory has the name for itself or for what it lies in.
[[nodiscard]] constexpr bool isOwnOrParentName(std::string_view name)
{
    return name == "." || name == "..";
}

/// The names in the directory that is open as `descriptor`, without "." and "..", in no particular
/// order. The directory is read from where it was read last, to its end; the descriptor
/// stays the caller's.
[[nodiscard]] FileResult<std::vector<std::string>> namesInDirectory(int descriptor);

} // namespace platform
