#include "tests/support/failing_file_system.h"

#include <array>
#include <cerrno>
#include <utility>

namespace support {

using platform::FileResult;
using platform::OpenFile;

namespace {

// What may become of the way to an item; an interrupted call is one of the things that a network's
// or a user's own file system answers.
constexpr std::array openingErrors { EACCES, EPERM, ENOENT, ENOTDIR, ELOOP, ENAMETOOLONG, EMFILE,
    ENFILE, EIO, EINTR };
constexpr std::array askingErrors { EACCES, EPERM, ENOENT, ENOTDIR, ELOOP, ENAMETOOLONG, EIO,
    EINTR };
constexpr std::array readingErrors { EISDIR, EIO, EINTR };
constexpr std::array writingErrors { ENOSPC, EDQUOT, EPERM, EIO, EINTR };
constexpr std::array permissionErrors { EACCES, EPERM, ENOENT, ENOTDIR, ELOOP, ENAMETOOLONG, EROFS,
    ENOSPC, EDQUOT, EIO, EINTR };
constexpr std::array removingErrors { EACCES, EPERM, ENOENT, ENOTDIR, ELOOP, EISDIR, ENAMETOOLONG,
    EROFS, EMFILE, ENFILE, EIO, EINTR };
constexpr std::array makingErrors { EACCES, EPERM, ENOENT, ENOTDIR, ELOOP, EISDIR, ENAMETOOLONG,
    EROFS, ENOSPC, EDQUOT, EMFILE, ENFILE, EIO, EINTR };
constexpr std::array renamingErrors { EACCES, EPERM, ENOENT, ENOTDIR, ELOOP, EISDIR, ENAMETOOLONG,
    EROFS, ENOSPC, EDQUOT, EXDEV, EIO, EINTR };

} // namespace

std::span<const int> possibleErrors(FileOperation operation)
{
    switch (operation) {
    case FileOperation::openForReading:
    case FileOperation::visibleNames:
        return openingErrors;
    case FileOperation::attributesOfOpenFile:
    case FileOperation::attributesOfPath:
        return askingErrors;
    case FileOperation::read:
        return readingErrors;
    case FileOperation::write:
        return writingErrors;
    case FileOperation::setPermissions:
    case FileOperation::setDirectoryPermissions:
        return permissionErrors;
    case FileOperation::createFile:
    case FileOperation::createDirectories:
        return makingErrors;
    case FileOperation::rename:
        return renamingErrors;
    case FileOperation::remove:
        break;
    }
    return removingErrors;
}

FailingFileSystem::FailingFileSystem(const platform::FileSystem& wrapped)
    : wrapped_(wrapped)
{
}

void FailingFileSystem::failCall(int number, int code)
{
    callsUntilFailure_ = number;
    isFailureLasting_ = false;
    failureCode_ = code;
}

void FailingFileSystem::failFromCall(int number, int code)
{
    callsUntilFailure_ = number;
    isFailureLasting_ = true;
    failureCode_ = code;
}

void FailingFileSystem::failOperation(FileOperation operation, int code)
{
    failingOperation_ = operation;
    failureCode_ = code;
}

void FailingFileSystem::beforeCall(std::function<void(FileOperation, const std::string&)> action)
{
    beforeCall_ = std::move(action);
}

std::optional<platform::FileError> FailingFileSystem::called(
    FileOperation operation, const std::string& path) const
{
    calls_.push_back(operation);
    if (beforeCall_)
        beforeCall_(operation, path);
    const bool isNumberedCall = callsUntilFailure_ == 1;
    if (callsUntilFailure_ > 0 && !(isNumberedCall && isFailureLasting_))
        --callsUntilFailure_;
    if (isNumberedCall || operation == failingOperation_)
        return platform::FileError { failureCode_ };
    return std::nullopt;
}

// What is handed out is closed through this file system, so that closing is seen; the files of the
// wrapped one are kept until then.
FileResult<OpenFile> FailingFileSystem::opened(FileResult<OpenFile> file) const
{
    if (!file)
        return file;
    const int number = file->number();
    openFiles_.emplace(number, *std::move(file));
    return OpenFile(*this, number);
}

FileResult<OpenFile> FailingFileSystem::openForReading(const platform::Location& location) const
{
    if (const auto error = called(FileOperation::openForReading, location.path))
        return std::unexpected(*error);
    return opened(wrapped_.openForReading(location));
}

FileResult<OpenFile> FailingFileSystem::createFile(const std::string& path) const
{
    if (const auto error = called(FileOperation::createFile, path))
        return std::unexpected(*error);
    return opened(wrapped_.createFile(path));
}

FileResult<platform::FileAttributes> FailingFileSystem::attributes(const OpenFile& file) const
{
    if (const auto error = called(FileOperation::attributesOfOpenFile, {}))
        return std::unexpected(*error);
    return wrapped_.attributes(file);
}

FileResult<platform::FileAttributes> FailingFileSystem::attributes(
    const platform::Location& location) const
{
    if (const auto error = called(FileOperation::attributesOfPath, location.path))
        return std::unexpected(*error);
    return wrapped_.attributes(location);
}

FileResult<std::size_t> FailingFileSystem::read(const OpenFile& file, std::span<char> buffer) const
{
    if (const auto error = called(FileOperation::read, {}))
        return std::unexpected(*error);
    return wrapped_.read(file, buffer);
}

FileResult<void> FailingFileSystem::write(const OpenFile& file, std::string_view bytes) const
{
    if (const auto error = called(FileOperation::write, {}))
        return std::unexpected(*error);
    return wrapped_.write(file, bytes);
}

FileResult<void> FailingFileSystem::setPermissions(const OpenFile& file, unsigned permissions) const
{
    if (const auto error = called(FileOperation::setPermissions, {}))
        return std::unexpected(*error);
    return wrapped_.setPermissions(file, permissions);
}

FileResult<void> FailingFileSystem::setDirectoryPermissions(
    const std::string& path, unsigned permissions) const
{
    if (const auto error = called(FileOperation::setDirectoryPermissions, path))
        return std::unexpected(*error);
    return wrapped_.setDirectoryPermissions(path, permissions);
}

FileResult<void> FailingFileSystem::createDirectories(
    const std::string& path, unsigned permissions) const
{
    if (const auto error = called(FileOperation::createDirectories, path))
        return std::unexpected(*error);
    return wrapped_.createDirectories(path, permissions);
}

FileResult<void> FailingFileSystem::rename(const std::string& from, const std::string& to) const
{
    if (const auto error = called(FileOperation::rename, from))
        return std::unexpected(*error);
    return wrapped_.rename(from, to);
}

FileResult<platform::DirectoryListing> FailingFileSystem::visibleNames(
    const std::string& path) const
{
    if (const auto error = called(FileOperation::visibleNames, path))
        return std::unexpected(*error);
    auto listing = wrapped_.visibleNames(path);
    if (!listing)
        return listing;
    auto directory = opened(std::move(listing->directory));
    return platform::DirectoryListing { .directory = *std::move(directory),
        .names = std::move(listing->names) };
}

FileResult<void> FailingFileSystem::remove(const platform::Location& location) const
{
    if (const auto error = called(FileOperation::remove, location.path))
        return std::unexpected(*error);
    return wrapped_.remove(location);
}

std::string FailingFileSystem::homeDirectoryForCurrentUser() const
{
    return wrapped_.homeDirectoryForCurrentUser();
}

void FailingFileSystem::close(int number) const
{
    openFiles_.erase(number);
}

} // namespace support
