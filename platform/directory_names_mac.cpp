#include "platform/directory_names.h"

#include <cerrno>
#include <memory>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

namespace platform {

namespace {

using DirectoryStream = std::unique_ptr<DIR, int (*)(DIR*)>;

std::unexpected<FileError> lastError()
{
    return std::unexpected(FileError { errno });
}

} // namespace

FileResult<std::vector<std::string>> namesInDirectory(int descriptor)
{
    // A stream closes what it reads from; the descriptor is the caller's.
    const int copy = ::fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    if (copy < 0)
        return lastError();
    const DirectoryStream stream(::fdopendir(copy), ::closedir);
    if (stream == nullptr) {
        const FileError error { errno };
        ::close(copy);
        return std::unexpected(error);
    }
    std::vector<std::string> names;
    for (;;) {
        errno = 0; // Nothing else tells the end from a failure.
        const dirent* const entry = ::readdir(stream.get());
        if (entry == nullptr)
            break;
        const std::string_view name = static_cast<const char*>(entry->d_name);
        if (!isOwnOrParentName(name))
            names.emplace_back(name);
    }
    if (errno != 0)
        return lastError();
    return names;
}

} // namespace platform
