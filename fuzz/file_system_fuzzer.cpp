// The file system in memory, on which the other targets stand, beside the real one: both are told
// to do the same and must come to the same. The permissions are those that let their owner do
// everything.

#include "fuzz/support/byte_source.h"
#include "fuzz/support/claims.h"
#include "fuzz/support/memory_file_system.h"

#include <algorithm>
#include <array>
#include <filesystem>

#include <sys/stat.h>
#include <unistd.h>

namespace {

using fuzz::ByteSource;
using fuzz::ItemKind;
using platform::FileResult;

constexpr std::array<std::string_view, 6> names { "a", "b", "c", ".hidden", "x.command", "link" };

// A directory on the real file system that is gone at the end.
class Directory {
public:
    Directory()
    {
        path_ = std::filesystem::temp_directory_path() / "kestrane-fuzz-XXXXXX";
        fuzz::require(::mkdtemp(path_.data()) != nullptr, "there is a temporary directory");
    }
    Directory(const Directory&) = delete;
    Directory& operator=(const Directory&) = delete;
    ~Directory() { std::filesystem::remove_all(path_); }

    [[nodiscard]] const std::string& path() const { return path_; }

private:
    std::string path_;
};

class Twins {
public:
    Twins()
    {
        memory_.put(directory_.path(), { .kind = ItemKind::directory, .permissions = 0700 });
    }

    void perform(ByteSource& source)
    {
        constexpr std::size_t operations = 10;
        switch (source.below(operations)) {
        case 0:
            return compare(
                [path = path(source)](const auto& system) { return read(system, path); });
        case 1:
            return compare([path = path(source), bytes = std::string(source.take(3))](
                               const auto& system) { return create(system, path, bytes); });
        case 2:
            return compare(
                [path = path(source)](const auto& system) { return describe(system, path); });
        case 3:
            return compare([path = path(source)](const auto& system) {
                return system.setDirectoryPermissions(path, 0700);
            });
        case 4:
            return compare([path = path(source)](const auto& system) {
                return system.createDirectories(path, 0700);
            });
        case 5:
            return rename(path(source), path(source));
        case 6:
            return compare(
                [path = path(source)](const auto& system) { return list(system, path); });
        case 7:
            return compare(
                [path = path(source)](const auto& system) { return system.remove(path); });
        case 8:
            return link(path(source), path(source));
        default:
            return makeFIFO(path(source));
        }
    }

    void compareTrees()
    {
        std::size_t count = 0;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(directory_.path())) {
            const fuzz::MemoryItem* const item = memory_.find(entry.path());
            fuzz::requireFor(
                item != nullptr, "what is there is in memory, too", entry.path().native());
            compare(
                [path = entry.path().native()](const auto& system) { return read(system, path); });
            compare([path = entry.path().native()](
                        const auto& system) { return describe(system, path); });
            ++count;
        }
        const auto tree = memory_.tree();
        const auto below
            = [this](const auto& item) { return item.first.starts_with(directory_.path() + '/'); };
        fuzz::require(std::ranges::count_if(tree, below) == static_cast<std::ptrdiff_t>(count),
            "what is in memory is there");
        fuzz::require(memory_.openFileCount() == 0, "no file stays open");
    }

private:
    [[nodiscard]] std::string path(ByteSource& source) const
    {
        constexpr std::size_t deepest = 3;
        std::string path = directory_.path();
        for (std::size_t rest = source.below(deepest) + 1; rest > 0; --rest)
            path += '/' + std::string(names.at(source.below(names.size())));
        return path;
    }

    static FileResult<std::string> read(const platform::FileSystem& system, const std::string& path)
    {
        const auto file = system.openForReading(path);
        if (!file)
            return std::unexpected(file.error());
        if (const auto attributes = system.attributes(*file);
            !attributes || attributes->kind != platform::FileKind::regular)
            return std::string("no file");
        std::array<char, 16> buffer {};
        const auto count = system.read(*file, buffer);
        if (!count)
            return std::unexpected(count.error());
        return std::string(buffer.data(), *count);
    }

    static FileResult<void> create(
        const platform::FileSystem& system, const std::string& path, std::string_view bytes)
    {
        const auto file = system.createFile(path);
        if (!file)
            return std::unexpected(file.error());
        return system.write(*file, bytes);
    }

    static FileResult<int> describe(const platform::FileSystem& system, const std::string& path)
    {
        const auto attributes = system.attributes(path);
        if (!attributes)
            return std::unexpected(attributes.error());
        const bool isFile = attributes->kind == platform::FileKind::regular;
        return static_cast<int>(attributes->kind) * 16
            + (isFile ? static_cast<int>(attributes->size) : 0);
    }

    static FileResult<std::vector<std::string>> list(
        const platform::FileSystem& system, const std::string& path)
    {
        auto visible = system.visibleNames(path);
        // Systems disagree about the error for a link to a directory.
        if (!visible)
            return std::unexpected(platform::FileError {});
        std::ranges::sort(visible->names);
        return visible->names;
    }

    template <typename Operation> void compare(Operation operation)
    {
        const auto real = operation(platform::localFileSystem());
        const auto remembered = operation(static_cast<const platform::FileSystem&>(memory_));
        const auto outcome = [](const auto& result) {
            return result ? std::string("done") : platform::message(result.error());
        };
        fuzz::requireFor(real == remembered, "both file systems come to the same",
            outcome(real) + " / " + outcome(remembered));
    }

    // The one in memory renames nothing but files, as the host does.
    void rename(const std::string& from, const std::string& to)
    {
        const fuzz::MemoryItem* const item = memory_.find(from);
        const fuzz::MemoryItem* const replaced = memory_.find(to);
        if (item != nullptr && item->kind == ItemKind::file && from != to
            && (replaced == nullptr || replaced->kind != ItemKind::directory))
            compare([&](const auto& system) { return system.rename(from, to); });
    }

    // Whether the item can be made without changing what is there.
    bool hasRoomFor(const std::string& path)
    {
        const fuzz::MemoryItem* const above = memory_.find(fuzz::parentPath(path));
        return memory_.find(path) == nullptr && above != nullptr
            && above->kind == ItemKind::directory;
    }

    void link(const std::string& path, const std::string& target)
    {
        if (!hasRoomFor(path))
            return;
        fuzz::require(::symlink(target.c_str(), path.c_str()) == 0, "a link can be made");
        memory_.put(path, { .kind = ItemKind::symbolicLink, .contents = target });
    }

    void makeFIFO(const std::string& path)
    {
        if (!hasRoomFor(path))
            return;
        fuzz::require(::mkfifo(path.c_str(), 0600) == 0, "a FIFO can be made");
        memory_.put(path, { .kind = ItemKind::fifo });
    }

    Directory directory_;
    fuzz::MemoryFileSystem memory_;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    ByteSource source(fuzz::textOf(data, size));
    Twins twins;
    constexpr int mostOperations = 32;
    for (int count = 0; count < mostOperations && !source.isEmpty(); ++count)
        twins.perform(source);
    twins.compareTrees();
    return 0;
}
