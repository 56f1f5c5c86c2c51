#pragma once
// The file system of this machine, through POSIX calls alone.

#include "platform/file_system.h"

namespace platform {

class PosixFileSystem final : public FileSystem {
public:
    [[nodiscard]] FileResult<OpenFile> openForReading(const Location& location) const override;
    [[nodiscard]] FileResult<OpenFile> createFile(const std::string& path) const override;
    [[nodiscard]] FileResult<FileAttributes> attributes(const OpenFile& file) const override;
    [[nodiscard]] FileResult<FileAttributes> attributes(const Location& location) const override;
    [[nodiscard]] FileResult<std::size_t> read(
        const OpenFile& file, std::span<char> buffer) const override;
    [[nodiscard]] FileResult<void> write(
        const OpenFile& file, std::string_view bytes) const override;
    [[nodiscard]] FileResult<void> setPermissions(
        const OpenFile& file, unsigned permissions) const override;
    [[nodiscard]] FileResult<void> setDirectoryPermissions(
        const std::string& path, unsigned permissions) const override;
    [[nodiscard]] FileResult<void> createDirectories(
        const std::string& path, unsigned permissions) const override;
    [[nodiscard]] FileResult<void> rename(
        const std::string& from, const std::string& to) const override;
    [[nodiscard]] FileResult<DirectoryListing> visibleNames(const std::string& path) const override;
    [[nodiscard]] FileResult<void> remove(const Location& location) const override;
    [[nodiscard]] std::string homeDirectoryForCurrentUser() const override;
    void close(int number) const override;
};

} // namespace platform
