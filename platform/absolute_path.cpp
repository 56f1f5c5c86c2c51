#include "platform/absolute_path.h"

#include <cerrno>
#include <cstddef>

#include <unistd.h>

namespace platform {

namespace {

// Empty if the system does not tell.
std::string workingDirectory()
{
    constexpr std::size_t firstSize = 256;
    std::string path(firstSize, '\0');
    while (::getcwd(path.data(), path.size()) == nullptr) {
        if (errno != ERANGE)
            return {};
        path.resize(2 * path.size());
    }
    path.resize(path.find('\0'));
    return path;
}

} // namespace

std::string absolutePath(const std::string& path)
{
    if (path.empty() || path.starts_with('/'))
        return path;
    const std::string directory = workingDirectory();
    // Linux tells a directory that cannot be reached from the root as one that does not begin
    // there.
    if (!directory.starts_with('/'))
        return path;
    return directory + (directory.ends_with('/') ? "" : "/") + path;
}

} // namespace platform
