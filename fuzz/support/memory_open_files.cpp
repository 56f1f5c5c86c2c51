// What is done with open files of the file system in memory.

#include "fuzz/support/claims.h"
#include "fuzz/support/memory_file_system.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace fuzz {

using platform::FileError;
using platform::FileKind;
using platform::FileResult;

namespace {

// Of the 0600 that new files ask for, the umask leaves so much: who forgets to set permissions is
// found out.
constexpr unsigned permissionsOfNewFiles = 0400;

std::unexpected<FileError> failure(int code)
{
    return std::unexpected(FileError { code });
}

} // namespace

FileKind MemoryFileSystem::kindOf(const MemoryItem& item)
{
    switch (item.kind) {
    case ItemKind::file:
        return FileKind::regular;
    case ItemKind::directory:
        return FileKind::directory;
    case ItemKind::symbolicLink:
        return FileKind::symbolicLink;
    default:
        return FileKind::other;
    }
}

platform::OpenFile MemoryFileSystem::opened(SharedItem item) const
{
    const int number = nextNumber_++;
    openFiles_[number] = { .item = std::move(item) };
    return { *this, number };
}

FileResult<platform::OpenFile> MemoryFileSystem::openForReading(
    const platform::Location& location) const
{
    if (const auto ordered = orderedFailure())
        return std::unexpected(*ordered);
    const auto place = resolved(location.path, LastLink::kept);
    if (!place)
        return std::unexpected(place.error());
    SharedItem item = itemAt(*place);
    if (!item)
        return failure(ENOENT);
    if (item->kind == ItemKind::symbolicLink)
        return failure(ELOOP);
    if (item->kind == ItemKind::socket)
        return failure(ENXIO);
    if ((item->permissions & mayRead) == 0)
        return failure(EACCES);
    return opened(std::move(item));
}

FileResult<platform::OpenFile> MemoryFileSystem::createFile(const std::string& path) const
{
    if (const auto ordered = orderedFailure())
        return std::unexpected(*ordered);
    const auto place = resolved(path, LastLink::kept);
    if (!place)
        return std::unexpected(place.error());
    if (items_.contains(*place))
        return failure(EEXIST);
    if (!isWritableDirectory(parentPath(*place)))
        return failure(EACCES);
    return opened(items_[*place]
        = std::make_shared<MemoryItem>(MemoryItem { .permissions = permissionsOfNewFiles }));
}

FileResult<platform::FileAttributes> MemoryFileSystem::attributes(
    const platform::OpenFile& file) const
{
    if (const auto ordered = orderedFailure())
        return std::unexpected(*ordered);
    const MemoryItem& item = *openFiles_.at(file.number()).item;
    return platform::FileAttributes { .kind = kindOf(item),
        .size = item.contents.size() - std::min(item.bytesThatGrow, item.contents.size()) };
}

FileResult<std::size_t> MemoryFileSystem::read(
    const platform::OpenFile& file, std::span<char> buffer) const
{
    if (const auto ordered = orderedFailure())
        return std::unexpected(*ordered);
    OpenedItem& open = openFiles_.at(file.number());
    require(open.item->kind == ItemKind::file, "the host reads nothing but regular files");
    const std::size_t wanted = std::min(buffer.size(), readLimit_);
    const std::string_view bytes
        = std::string_view(open.item->contents).substr(open.offset).substr(0, wanted);
    std::ranges::copy(bytes, buffer.begin());
    open.offset += bytes.size();
    return bytes.size();
}

FileResult<void> MemoryFileSystem::write(
    const platform::OpenFile& file, std::string_view bytes) const
{
    std::string& contents = openFiles_.at(file.number()).item->contents;
    if (const auto ordered = orderedFailure()) {
        contents += bytes.substr(0, bytes.size() / 2);
        return std::unexpected(*ordered);
    }
    contents += bytes;
    return {};
}

FileResult<void> MemoryFileSystem::setPermissions(
    const platform::OpenFile& file, unsigned permissions) const
{
    if (const auto ordered = orderedFailure())
        return std::unexpected(*ordered);
    openFiles_.at(file.number()).item->permissions = permissions;
    return {};
}

void MemoryFileSystem::close(int number) const
{
    require(openFiles_.erase(number) == 1, "an open file is closed once");
}

} // namespace fuzz
