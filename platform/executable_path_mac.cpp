#include "platform/executable_path.h"

#include "platform/item_status.h"

#include <cstdint>
#include <cstring>

#include <mach-o/dyld.h>

namespace platform {

std::string executablePath()
{
    // The first call only says how long the path is, the final NUL included.
    std::uint32_t size = 0;
    _NSGetExecutablePath(nullptr, &size);
    std::string path(size, '\0');
    if (_NSGetExecutablePath(path.data(), &size) != 0)
        return {};
    path.resize(std::strlen(path.c_str()));
    // It is the path by which the program was started, links and all.
    return resolvedPath(path).value_or(std::string());
}

} // namespace platform
