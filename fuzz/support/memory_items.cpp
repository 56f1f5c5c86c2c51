#include "fuzz/support/memory_items.h"

namespace fuzz {

const MemoryItem* itemAt(const MemoryTree& tree, const std::string& path)
{
    const auto found = tree.find(path);
    return found == tree.end() ? nullptr : &found->second;
}

std::string parentPath(const std::string& path)
{
    const std::size_t slash = path.rfind('/');
    return slash == 0 ? "/" : path.substr(0, slash);
}

std::string lastName(const std::string& path)
{
    return path.substr(path.rfind('/') + 1);
}

} // namespace fuzz
