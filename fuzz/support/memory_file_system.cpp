#include "fuzz/support/memory_file_system.h"

#include "fuzz/support/claims.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace fuzz {

namespace {

using platform::FileError;
using platform::FileResult;

constexpr std::size_t longestName = 255;
constexpr int mostLinks = 8;

std::unexpected<FileError> failure(int code)
{
    return std::unexpected(FileError { code });
}

std::string joined(const std::string& directory, std::string_view name)
{
    return (directory == "/" ? directory : directory + '/') + std::string(name);
}

bool liesBelow(const std::string& path, const std::string& directory)
{
    return path.starts_with(directory + '/');
}

// Takes the first component off a path.
std::string_view nextComponent(std::string_view& path)
{
    path.remove_prefix(std::min(path.find_first_not_of('/'), path.size()));
    const std::string_view component = path.substr(0, path.find('/'));
    path.remove_prefix(component.size());
    return component;
}

bool isLastComponent(std::string_view rest)
{
    return rest.find_first_not_of('/') == std::string_view::npos;
}

} // namespace

MemoryFileSystem::MemoryFileSystem()
{
    items_["/"] = std::make_shared<MemoryItem>(
        MemoryItem { .kind = ItemKind::directory, .permissions = 0700 });
}

void MemoryFileSystem::put(const std::string& path, const MemoryItem& item)
{
    take(path);
    for (std::string above = parentPath(path); !items_.contains(above); above = parentPath(above)) {
        items_[above] = std::make_shared<MemoryItem>(
            MemoryItem { .kind = ItemKind::directory, .permissions = 0700 });
    }
    items_[path] = std::make_shared<MemoryItem>(item);
}

void MemoryFileSystem::take(const std::string& path)
{
    std::erase_if(items_,
        [&path](const auto& entry) { return entry.first == path || liesBelow(entry.first, path); });
}

MemoryItem* MemoryFileSystem::find(const std::string& path)
{
    return itemAt(path).get();
}

MemoryTree MemoryFileSystem::tree() const
{
    MemoryTree tree;
    for (const auto& [path, item] : items_)
        tree.emplace(path, *item);
    return tree;
}

void MemoryFileSystem::failCall(int number, int code)
{
    failedCall_ = FailedCall::none;
    callsUntilFailure_ = number;
    failureCode_ = code;
}

std::optional<FileError> MemoryFileSystem::orderedFailure(FailedCall call) const
{
    if (callsUntilFailure_ == 0 || --callsUntilFailure_ > 0)
        return std::nullopt;
    failedCall_ = call;
    return FileError { failureCode_ };
}

MemoryFileSystem::SharedItem MemoryFileSystem::itemAt(const std::string& path) const
{
    const auto found = items_.find(path);
    return found == items_.end() ? nullptr : found->second;
}

bool MemoryFileSystem::isWritableDirectory(const std::string& path) const
{
    const SharedItem item = itemAt(path);
    return item && item->kind == ItemKind::directory && (item->permissions & mayWrite) != 0
        && (item->permissions & maySearch) != 0;
}

FileResult<std::string> MemoryFileSystem::resolved(std::string_view path, LastLink lastLink) const
{
    require(path.starts_with('/') && path.find('\0') == std::string_view::npos,
        "the host asks for absolute paths without NUL");
    std::string way(path);
    std::string_view rest = way;
    std::string place = "/";
    for (int links = 0; !isLastComponent(rest);) {
        const std::string_view component = nextComponent(rest);
        const SharedItem directory = itemAt(place);
        if (!directory)
            return failure(ENOENT);
        if (directory->kind != ItemKind::directory)
            return failure(ENOTDIR);
        if ((directory->permissions & maySearch) == 0)
            return failure(EACCES);
        if (component.size() > longestName)
            return failure(ENAMETOOLONG);
        require(component != "." && component != "..", "the host makes no path with . or ..");

        const bool endsInSlash = isLastComponent(rest) && !rest.empty();
        const std::string next = joined(place, component);
        const SharedItem item = itemAt(next);
        const bool isFollowed
            = !isLastComponent(rest) || endsInSlash || lastLink == LastLink::followed;
        if (item && item->kind == ItemKind::symbolicLink && isFollowed) {
            if (++links > mostLinks)
                return failure(ELOOP);
            way = item->contents + std::string(rest);
            rest = way;
            place = "/";
            continue;
        }
        place = next;
    }
    return place;
}

FileResult<platform::FileAttributes> MemoryFileSystem::attributes(
    const platform::Location& location) const
{
    if (const auto ordered = orderedFailure())
        return std::unexpected(*ordered);
    const auto place = resolved(location.path, LastLink::kept);
    if (!place)
        return std::unexpected(place.error());
    const SharedItem item = itemAt(*place);
    if (!item)
        return failure(ENOENT);
    return platform::FileAttributes { .kind = kindOf(*item), .size = item->contents.size() };
}

FileResult<void> MemoryFileSystem::setDirectoryPermissions(
    const std::string& path, unsigned permissions) const
{
    if (const auto ordered = orderedFailure())
        return std::unexpected(*ordered);
    const auto place = resolved(path, LastLink::followed);
    if (!place)
        return std::unexpected(place.error());
    const SharedItem item = itemAt(*place);
    if (!item)
        return failure(ENOENT);
    if (item->kind != ItemKind::directory)
        return failure(ENOTDIR);
    item->permissions = permissions;
    return {};
}

FileResult<void> MemoryFileSystem::createDirectory(
    const std::string& path, unsigned permissions) const
{
    const auto place = resolved(path, LastLink::kept);
    if (!place)
        return std::unexpected(place.error());
    if (items_.contains(*place)) {
        const auto target = resolved(path, LastLink::followed);
        const SharedItem item = target ? itemAt(*target) : nullptr;
        if (item && item->kind == ItemKind::directory)
            return {};
        return failure(EEXIST);
    }
    if (!isWritableDirectory(parentPath(*place)))
        return failure(EACCES);
    items_[*place] = std::make_shared<MemoryItem>(
        MemoryItem { .kind = ItemKind::directory, .permissions = permissions });
    return {};
}

FileResult<void> MemoryFileSystem::createDirectories(
    const std::string& path, unsigned permissions) const
{
    if (const auto ordered = orderedFailure())
        return std::unexpected(*ordered);
    // Up to the first directory that is there, then down again.
    std::vector<std::string> missing { path };
    auto created = createDirectory(path, permissions);
    while (!created && created.error().code == ENOENT) {
        missing.push_back(parentPath(missing.back()));
        created = createDirectory(missing.back(), permissions);
    }
    for (; created && !missing.empty(); missing.pop_back())
        created = createDirectory(missing.back(), permissions);
    return created;
}

FileResult<void> MemoryFileSystem::rename(const std::string& from, const std::string& to) const
{
    if (const auto ordered = orderedFailure())
        return std::unexpected(*ordered);
    const auto source = resolved(from, LastLink::kept);
    if (!source)
        return std::unexpected(source.error());
    const auto target = resolved(to, LastLink::kept);
    if (!target)
        return std::unexpected(target.error());
    const SharedItem item = itemAt(*source);
    if (!item)
        return failure(ENOENT);
    require(item->kind == ItemKind::file, "the host renames nothing but files");
    if (!isWritableDirectory(parentPath(*source)) || !isWritableDirectory(parentPath(*target)))
        return failure(EACCES);
    if (const SharedItem replaced = itemAt(*target);
        replaced && replaced->kind == ItemKind::directory)
        return failure(EISDIR);
    items_.erase(*source);
    items_[*target] = item;
    return {};
}

FileResult<platform::DirectoryListing> MemoryFileSystem::visibleNames(const std::string& path) const
{
    if (const auto ordered = orderedFailure())
        return std::unexpected(*ordered);
    const auto place = resolved(path, LastLink::kept);
    if (!place)
        return std::unexpected(place.error());
    const SharedItem item = itemAt(*place);
    if (!item)
        return failure(ENOENT);
    if (item->kind != ItemKind::directory)
        return failure(ENOTDIR);
    if ((item->permissions & mayRead) == 0)
        return failure(EACCES);
    // No particular order: the last ones first.
    std::vector<std::string> names;
    for (auto entry = items_.rbegin(); entry != items_.rend(); ++entry) {
        if (entry->first != "/" && parentPath(entry->first) == *place
            && !lastName(entry->first).starts_with('.'))
            names.push_back(lastName(entry->first));
    }
    return platform::DirectoryListing { .directory = opened(item), .names = std::move(names) };
}

FileResult<void> MemoryFileSystem::remove(const platform::Location& location) const
{
    if (const auto ordered = orderedFailure(FailedCall::removal))
        return std::unexpected(*ordered);
    const auto place = resolved(location.path, LastLink::kept);
    if (!place)
        return std::unexpected(place.error());
    if (!items_.contains(*place))
        return failure(ENOENT);
    if (!isWritableDirectory(parentPath(*place)))
        return failure(EACCES);
    // The deepest come last, so they are removed first.
    std::vector<std::string> below;
    for (const auto& [other, item] : items_) {
        if (other == *place || liesBelow(other, *place))
            below.push_back(other);
    }
    std::ranges::reverse(below);
    for (const std::string& doomed : below) {
        if (!isWritableDirectory(parentPath(doomed)))
            return failure(EACCES);
        items_.erase(doomed);
    }
    return {};
}

std::string MemoryFileSystem::homeDirectoryForCurrentUser() const
{
    return "/home";
}

} // namespace fuzz
