#include "platform/remove_tree.h"

#include "platform/descriptor_io.h"
#include "platform/directory_names.h"

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace platform {

namespace {

// Every level takes a descriptor and a piece of the stack, and whoever can write to the directory
// chooses the depth.
constexpr int maximumDepth = 512;

std::unexpected<FileError> lastError()
{
    return std::unexpected(FileError { errno });
}

FileResult<void> removeItem(int directory, const char* name, int depth);

// The names are all read before the first item goes: on some systems a directory that changes
// while it is read is read with gaps.
// NOLINTNEXTLINE(misc-no-recursion): the depth is limited
FileResult<void> removeContents(int directory, const char* name, int depth)
{
    if (depth >= maximumDepth)
        return std::unexpected(FileError { ENAMETOOLONG });
    const int descriptor
        = openAt(directory, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_NONBLOCK);
    if (descriptor < 0)
        return lastError();
    const OpenFile contents(localFileSystem(), descriptor);
    const auto names = namesInDirectory(descriptor);
    if (!names)
        return std::unexpected(names.error());
    for (const std::string& child : *names) {
        if (const auto removed = removeItem(descriptor, child.c_str(), depth + 1); !removed)
            return removed;
    }
    return {};
}

// Everything goes through descriptors and follows no link, so an item that is exchanged for a link
// to elsewhere while its tree is being removed leads nowhere.
// NOLINTNEXTLINE(misc-no-recursion): the depth is limited
FileResult<void> removeItem(int directory, const char* name, int depth)
{
    if (::unlinkat(directory, name, 0) == 0)
        return {};
    // Linux answers EISDIR for a directory; POSIX, and macOS, say EPERM.
    const FileError unlinkError { errno };
    if (unlinkError.code != EISDIR && unlinkError.code != EPERM)
        return std::unexpected(unlinkError);
    // An empty directory goes at once, also one that may not be listed.
    if (::unlinkat(directory, name, AT_REMOVEDIR) == 0)
        return {};
    if (errno == ENOTDIR)
        return std::unexpected(unlinkError);
    if (errno != ENOTEMPTY && errno != EEXIST)
        return lastError();
    if (const auto emptied = removeContents(directory, name, depth); !emptied)
        return emptied;
    if (::unlinkat(directory, name, AT_REMOVEDIR) != 0)
        return lastError();
    return {};
}

} // namespace

FileResult<void> removeTree(const std::string& path)
{
    return removeItem(AT_FDCWD, path.c_str(), 0);
}

FileResult<void> removeTreeIn(const OpenFile& directory, const char* name)
{
    return removeItem(directory.number(), name, 0);
}

} // namespace platform
