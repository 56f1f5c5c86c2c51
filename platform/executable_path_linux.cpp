#include "platform/executable_path.h"

#include <climits>
#include <cstddef>

#include <unistd.h>

namespace platform {

std::string executablePath()
{
    // The system resolves the links itself (proc(5)). A path that fills the buffer may be cut off.
    std::string path(PATH_MAX, '\0');
    const ssize_t length = ::readlink("/proc/self/exe", path.data(), path.size());
    if (length <= 0 || static_cast<std::size_t>(length) == path.size())
        return {};
    path.resize(static_cast<std::size_t>(length));
    return path;
}

} // namespace platform
