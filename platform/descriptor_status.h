#pragma once
// What the system knows of an open file. It is asked for every file that is read.

#include <sys/stat.h>

namespace platform {

/// As fstat(2): 0, or -1 with `errno`.
[[nodiscard]] int statusOfDescriptor(int descriptor, struct stat& status);

} // namespace platform
