#pragma once
// Kinds of files as the operating system notes them.

#include "platform/file_system.h"

#include <sys/stat.h>

namespace platform {

/// The kind that a file's mode (`st_mode`) tells.
[[nodiscard]] inline FileKind kindOf(mode_t mode)
{
    if (S_ISREG(mode))
        return FileKind::regular;
    if (S_ISDIR(mode))
        return FileKind::directory;
    if (S_ISLNK(mode))
        return FileKind::symbolicLink;
    return FileKind::other;
}

} // namespace platform
