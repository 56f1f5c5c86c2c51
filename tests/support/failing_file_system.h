#pragma once
// A file system that passes every call on, and on the way counts calls, makes one of them fail, or
// lets a test change the directory just before one of them.

#include "platform/file_system.h"

#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace support {

enum class FileOperation {
    openForReading,
    createFile,
    attributesOfOpenFile,
    attributesOfPath,
    read,
    write,
    setPermissions,
    setDirectoryPermissions,
    createDirectories,
    rename,
    visibleNames,
    remove
};

/// The errors that a call of this operation may come back with, whoever provides the file system
/// and whatever became of its disk. All are the operating system's own.
[[nodiscard]] std::span<const int> possibleErrors(FileOperation operation);

class FailingFileSystem final : public platform::FileSystem {
public:
    explicit FailingFileSystem(const platform::FileSystem& wrapped = platform::localFileSystem());

    /// Makes the `number`-th call from now fail (1 is the next one) with the error number `code`,
    /// whatever it is.
    void failCall(int number, int code);

    /// Makes the `number`-th call from now and all after it fail with the error number `code`. 0
    /// ends that.
    void failFromCall(int number, int code);

    /// Makes all calls of one operation fail with the error number `code`.
    void failOperation(FileOperation operation, int code);

    /// Has `action` run before every call, with the operation and the path (empty for open files).
    void beforeCall(std::function<void(FileOperation, const std::string& path)> action);

    /// The operations called so far, in order; closing is not counted.
    [[nodiscard]] const std::vector<FileOperation>& calls() const { return calls_; }

    /// Open files that were not closed yet.
    [[nodiscard]] int openFileCount() const { return static_cast<int>(openFiles_.size()); }

    [[nodiscard]] platform::FileResult<platform::OpenFile> openForReading(
        const platform::Location& location) const override;
    [[nodiscard]] platform::FileResult<platform::OpenFile> createFile(
        const std::string& path) const override;
    [[nodiscard]] platform::FileResult<platform::FileAttributes> attributes(
        const platform::OpenFile& file) const override;
    [[nodiscard]] platform::FileResult<platform::FileAttributes> attributes(
        const platform::Location& location) const override;
    [[nodiscard]] platform::FileResult<std::size_t> read(
        const platform::OpenFile& file, std::span<char> buffer) const override;
    [[nodiscard]] platform::FileResult<void> write(
        const platform::OpenFile& file, std::string_view bytes) const override;
    [[nodiscard]] platform::FileResult<void> setPermissions(
        const platform::OpenFile& file, unsigned permissions) const override;
    [[nodiscard]] platform::FileResult<void> setDirectoryPermissions(
        const std::string& path, unsigned permissions) const override;
    [[nodiscard]] platform::FileResult<void> createDirectories(
        const std::string& path, unsigned permissions) const override;
    [[nodiscard]] platform::FileResult<void> rename(
        const std::string& from, const std::string& to) const override;
    [[nodiscard]] platform::FileResult<platform::DirectoryListing> visibleNames(
        const std::string& path) const override;
    [[nodiscard]] platform::FileResult<void> remove(
        const platform::Location& location) const override;
    [[nodiscard]] std::string homeDirectoryForCurrentUser() const override;
    void close(int number) const override;

private:
    // The error that this call is to fail with, if it is.
    std::optional<platform::FileError> called(
        FileOperation operation, const std::string& path) const;
    platform::FileResult<platform::OpenFile> opened(
        platform::FileResult<platform::OpenFile> file) const;

    const platform::FileSystem& wrapped_;
    mutable int callsUntilFailure_ = 0;
    bool isFailureLasting_ = false;
    int failureCode_ = 0;
    std::optional<FileOperation> failingOperation_;
    std::function<void(FileOperation, const std::string&)> beforeCall_;
    mutable std::vector<FileOperation> calls_;
    mutable std::map<int, platform::OpenFile> openFiles_; // of the wrapped file system
};

} // namespace support
