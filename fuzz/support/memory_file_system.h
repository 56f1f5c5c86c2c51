#pragma once
// A file system in memory, as an ordinary user meets one: directories, files, symbolic links, FIFOs
// and sockets with permissions. A directory that a session starts from is made in microseconds,
// looked through afterwards and thrown away, and any call can be made to fail.

#include "fuzz/support/memory_items.h"
#include "platform/file_system.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace fuzz {

/// Which call failed on order.
enum class FailedCall : std::uint8_t { none, removal, other };

class MemoryFileSystem final : public platform::FileSystem {
public:
    /// Holds nothing but the directory "/".
    MemoryFileSystem();

    /// Places an item at a path without links in it, in place of what is there; directories above
    /// it are made, 0700.
    void put(const std::string& path, const MemoryItem& item);

    /// Takes an item away, with all that it holds.
    void take(const std::string& path);

    /// The item at a path without links in it, or null.
    [[nodiscard]] MemoryItem* find(const std::string& path);

    [[nodiscard]] MemoryTree tree() const;

    /// Makes the `number`-th call from now (1 is the next one) fail with that error; 0 takes it
    /// back.
    void failCall(int number, int code);

    /// Which one has failed since the last order.
    [[nodiscard]] FailedCall failedCall() const { return failedCall_; }

    /// Reading gives at most so many bytes at once.
    void limitReads(std::size_t bytes) { readLimit_ = bytes; }

    [[nodiscard]] std::size_t openFileCount() const { return openFiles_.size(); }

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
    using SharedItem = std::shared_ptr<MemoryItem>;

    struct OpenedItem {
        SharedItem item;
        std::size_t offset = 0;
    };

    enum class LastLink : std::uint8_t { kept, followed };

    // The path without links that `path` leads to; the item itself need not exist, what it lies in
    // must.
    [[nodiscard]] platform::FileResult<std::string> resolved(
        std::string_view path, LastLink lastLink) const;
    [[nodiscard]] SharedItem itemAt(const std::string& path) const;
    [[nodiscard]] bool isWritableDirectory(const std::string& path) const;
    [[nodiscard]] platform::FileResult<void> createDirectory(
        const std::string& path, unsigned permissions) const;
    // The error that this call was told to fail with, if it was.
    [[nodiscard]] std::optional<platform::FileError> orderedFailure(
        FailedCall call = FailedCall::other) const;
    platform::OpenFile opened(SharedItem item) const;
    [[nodiscard]] static platform::FileKind kindOf(const MemoryItem& item);

    // The operations of the interface do not change the object that does them.
    mutable std::map<std::string, SharedItem> items_;
    mutable std::map<int, OpenedItem> openFiles_;
    mutable int nextNumber_ = 3;
    mutable int callsUntilFailure_ = 0;
    mutable FailedCall failedCall_ = FailedCall::none;
    int failureCode_ = 0;
    std::size_t readLimit_ = static_cast<std::size_t>(-1);
};

} // namespace fuzz
