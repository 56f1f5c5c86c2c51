#include "platform/posix_file_system.h"

#include "platform/descriptor_io.h"
#include "platform/descriptor_status.h"
#include "platform/directory_names.h"
#include "platform/file_kind.h"
#include "platform/remove_tree.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {

namespace {

std::unexpected<FileError> lastError()
{
    return std::unexpected(FileError { errno });
}

FileResult<void> outcome(int result)
{
    if (result != 0)
        return lastError();
    return {};
}

FileAttributes attributesFrom(const struct stat& status)
{
    return { .kind = kindOf(status.st_mode), .size = static_cast<std::uint64_t>(status.st_size) };
}

bool isDirectory(const std::string& path)
{
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// Opens a file under a number that is none of the standard streams': if one of those was closed at
// the start, the next file would otherwise take its place and could be taken for the browser's
// pipe.
int openAboveStandardStreams(const char* path, int flags, int directory = AT_FDCWD)
{
    const int descriptor = openAt(directory, path, flags);
    if (descriptor < 0 || descriptor > STDERR_FILENO)
        return descriptor;
    const int moved = ::fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const int error = errno;
    ::close(descriptor);
    if (moved < 0 && (flags & O_CREAT) != 0)
        ::unlinkat(directory, path, 0);
    errno = error;
    return moved;
}

// What the system is asked with: a directory, and a path or a name that starts from it.
int directoryOf(const Location& location)
{
    return location.directory == nullptr ? AT_FDCWD : location.directory->number();
}

const char* nameIn(const Location& location)
{
    const std::size_t slash
        = location.directory == nullptr ? std::string::npos : location.path.rfind('/');
    return location.path.c_str() + (slash == std::string::npos ? 0 : slash + 1);
}

std::string_view withoutTrailingSlashes(std::string_view path)
{
    while (path.size() > 1 && path.ends_with('/'))
        path.remove_suffix(1);
    return path;
}

// The path of what a path lies in; empty for a single component.
std::string_view parentOf(std::string_view path)
{
    path = withoutTrailingSlashes(path);
    const std::size_t slash = path.rfind('/');
    return slash == std::string_view::npos ? std::string_view() : path.substr(0, slash);
}

// Makes one directory. One that exists is none of its business, whatever the system answers for it.
FileResult<void> createOneDirectory(const std::string& path, mode_t permissions)
{
    if (::mkdir(path.c_str(), permissions) == 0)
        return outcome(::chmod(path.c_str(), permissions)); // The umask took some away.
    const FileError error { errno };
    if (error.code != ENOENT && isDirectory(path))
        return {};
    return std::unexpected(error);
}

} // namespace

FileResult<OpenFile> PosixFileSystem::openForReading(const Location& location) const
{
    const int descriptor = openAboveStandardStreams(
        nameIn(location), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY, directoryOf(location));
    if (descriptor < 0)
        return lastError();
    return OpenFile(*this, descriptor);
}

FileResult<OpenFile> PosixFileSystem::createFile(const std::string& path) const
{
    const int descriptor
        = openAboveStandardStreams(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW);
    if (descriptor < 0)
        return lastError();
    return OpenFile(*this, descriptor);
}

FileResult<FileAttributes> PosixFileSystem::attributes(const OpenFile& file) const
{
    struct stat status {};
    if (statusOfDescriptor(file.number(), status) != 0)
        return lastError();
    return attributesFrom(status);
}

FileResult<FileAttributes> PosixFileSystem::attributes(const Location& location) const
{
    struct stat status {};
    if (::fstatat(directoryOf(location), nameIn(location), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return lastError();
    return attributesFrom(status);
}

FileResult<std::size_t> PosixFileSystem::read(const OpenFile& file, std::span<char> buffer) const
{
    return readSome(file.number(), buffer);
}

FileResult<void> PosixFileSystem::write(const OpenFile& file, std::string_view bytes) const
{
    return writeAll(file.number(), bytes);
}

FileResult<void> PosixFileSystem::setPermissions(const OpenFile& file, unsigned permissions) const
{
    return outcome(::fchmod(file.number(), static_cast<mode_t>(permissions)));
}

FileResult<void> PosixFileSystem::setDirectoryPermissions(
    const std::string& path, unsigned permissions) const
{
    // The slash at the end makes the system refuse anything but a directory; alone it would name
    // the root.
    if (path.empty())
        return std::unexpected(FileError { ENOENT });
    return outcome(::chmod((path + '/').c_str(), static_cast<mode_t>(permissions)));
}

// NOLINTNEXTLINE(misc-no-recursion): the system limits the length of paths
FileResult<void> PosixFileSystem::createDirectories(
    const std::string& path, unsigned permissions) const
{
    const auto mode = static_cast<mode_t>(permissions);
    const auto created = createOneDirectory(path, mode);
    const std::string_view parent = parentOf(path);
    if (created || created.error().code != ENOENT || parent.empty())
        return created;
    if (const auto above = createDirectories(std::string(parent), permissions); !above)
        return above;
    return createOneDirectory(path, mode);
}

FileResult<void> PosixFileSystem::rename(const std::string& from, const std::string& to) const
{
    return outcome(std::rename(from.c_str(), to.c_str()));
}

FileResult<DirectoryListing> PosixFileSystem::visibleNames(const std::string& path) const
{
    const int descriptor
        = openAboveStandardStreams(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_NONBLOCK);
    if (descriptor < 0)
        return lastError();
    OpenFile directory(*this, descriptor);
    auto names = namesInDirectory(descriptor);
    if (!names)
        return std::unexpected(names.error());
    std::erase_if(*names, [](const std::string& name) { return name.starts_with('.'); });
    return DirectoryListing { .directory = std::move(directory), .names = *std::move(names) };
}

FileResult<void> PosixFileSystem::remove(const Location& location) const
{
    if (location.directory != nullptr)
        return removeTreeIn(*location.directory, nameIn(location));
    return removeTree(std::string(withoutTrailingSlashes(location.path)));
}

std::string PosixFileSystem::homeDirectoryForCurrentUser() const
{
    // The order of the application's library. This is the last resort of the look-up for the bridge
    // directory, so the password database has been asked for the real user id already, and gave
    // nothing.
    if (const char* const fixed = std::getenv("CFFIXED_USER_HOME");
        fixed != nullptr && *fixed == '/')
        return fixed;
    const passwd* const entry = ::getpwuid(::geteuid());
    if (entry != nullptr && entry->pw_dir != nullptr && *entry->pw_dir != '\0')
        return entry->pw_dir;
    if (const char* const home = std::getenv("HOME"); home != nullptr && *home == '/')
        return home;
    return "/";
}

void PosixFileSystem::close(int number) const
{
    ::close(number);
}

const FileSystem& localFileSystem()
{
    static const PosixFileSystem fileSystem;
    return fileSystem;
}

} // namespace platform
