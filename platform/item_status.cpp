#include "platform/item_status.h"

#include "platform/file_kind.h"

#include <cerrno>
#include <cstdlib>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {

namespace {

constexpr mode_t permissionBits = 07777;

// For what the system allocates.
struct FreeMemory {
    void operator()(char* memory) const
    {
        std::free(memory); // NOLINT(*-no-malloc,*-owning-memory): it is no memory of ours
    }
};

std::unexpected<FileError> lastError()
{
    return std::unexpected(FileError { errno });
}

FileResult<ItemStatus> statusAt(const std::string& path, int flags)
{
    struct stat status {};
    if (::fstatat(AT_FDCWD, path.c_str(), &status, flags) != 0)
        return lastError();
    return ItemStatus {
        .kind = kindOf(status.st_mode),
        .size = static_cast<std::uint64_t>(status.st_size),
        .permissions = static_cast<unsigned>(status.st_mode & permissionBits),
        .owner = status.st_uid,
        .group = status.st_gid,
        .modifiedAt = { static_cast<double>(status.st_mtime) - base::secondsFrom1970To2001 },
    };
}

} // namespace

bool saysAbsent(FileError error)
{
    return error.code == ENOENT || error.code == ENOTDIR;
}

FileResult<ItemStatus> statusOfItem(const std::string& path)
{
    return statusAt(path, AT_SYMLINK_NOFOLLOW);
}

FileResult<ItemStatus> statusOfTarget(const std::string& path)
{
    return statusAt(path, 0);
}

FileResult<void> mayExecute(const std::string& path)
{
    if (::faccessat(AT_FDCWD, path.c_str(), X_OK, AT_EACCESS) != 0)
        return lastError();
    return {};
}

FileResult<std::string> resolvedPath(const std::string& path)
{
    const std::unique_ptr<char, FreeMemory> resolved(::realpath(path.c_str(), nullptr));
    if (resolved == nullptr)
        return lastError();
    return std::string(resolved.get());
}

std::uint32_t currentUser()
{
    return ::geteuid();
}

} // namespace platform
