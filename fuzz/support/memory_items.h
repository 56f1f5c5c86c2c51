#pragma once
// What lies in a file system in memory.

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

namespace fuzz {

// Permissions as they bind the owner of an item.
inline constexpr unsigned mayRead = 0400;
inline constexpr unsigned mayWrite = 0200;
inline constexpr unsigned maySearch = 0100;

enum class ItemKind : std::uint8_t { file, directory, symbolicLink, fifo, socket };

struct MemoryItem {
    ItemKind kind = ItemKind::file;
    unsigned permissions = 0600;
    std::string contents {}; // of a symbolic link: its target, an absolute path
    /// How many bytes at the end of a file come only after its size was asked for.
    std::size_t bytesThatGrow = 0;

    friend bool operator==(const MemoryItem&, const MemoryItem&) = default;
};

/// All items by their paths.
using MemoryTree = std::map<std::string, MemoryItem>;

/// The item at a path, or null.
[[nodiscard]] const MemoryItem* itemAt(const MemoryTree& tree, const std::string& path);

/// The path of what a path lies in.
[[nodiscard]] std::string parentPath(const std::string& path);

/// The last component of a path.
[[nodiscard]] std::string lastName(const std::string& path);

} // namespace fuzz
