#include "fuzz/support/effects.h"

#include "fuzz/support/bridge_world.h"
#include "fuzz/support/claims.h"
#include "fuzz/support/naive_text.h"

namespace fuzz {

namespace {

// Where the files of a directory lie that may be a link.
std::string placeOf(const MemoryTree& tree, const std::string& directory)
{
    const MemoryItem* const item = itemAt(tree, directory);
    return item != nullptr && item->kind == ItemKind::symbolicLink ? item->contents : directory;
}

bool isEventName(std::string_view name)
{
    constexpr std::size_t countLength = 20;
    constexpr std::size_t identifierLength = 36;
    constexpr std::string_view ending = ".event";
    if (name.size() != countLength + 1 + identifierLength + ending.size())
        return false;
    const std::string_view identifier = name.substr(countLength + 1, identifierLength);
    return name.find_first_not_of("0123456789") == countLength && name[countLength] == '-'
        && isNaiveUUID(identifier) && naivelyUpperCased(identifier) == identifier
        && name.ends_with(ending);
}

class Comparison {
public:
    Comparison(const MemoryTree& before, const MemoryTree& after, FailedCall failedCall)
        : before_(before)
        , after_(after)
        , failedCall_(failedCall)
        , root_(placeOf(before, bridgeDirectory))
        , inbox_(placeOf(before, root_ + "/Inbox"))
        , readiness_(placeOf(before, root_ + "/Readiness"))
    {
    }

    Effects effects()
    {
        for (const auto& [path, item] : before_) {
            if (const MemoryItem* const now = itemAt(after_, path); now == nullptr)
                removed(path);
            else if (*now != item)
                written(path, *now);
        }
        for (const auto& [path, item] : after_) {
            if (!before_.contains(path))
                written(path, item);
        }
        if (!effects_.newEvents.empty())
            requirePrivate(inbox_);
        if (effects_.changedReadiness)
            requirePrivate(readiness_);
        return effects_;
    }

private:
    void removed(const std::string& path)
    {
        // What a directory held goes with it.
        if (!after_.contains(parentPath(path)))
            return;
        const std::string name = lastName(path);
        requireFor(parentPath(path) == root_ + "/Commands" && name.ends_with(".command")
                && !name.starts_with('.'),
            "nothing is removed but commands", path);
        effects_.removedCommands.insert(name);
    }

    void written(const std::string& path, const MemoryItem& item)
    {
        if (item.kind == ItemKind::directory) {
            requireFor(path == inbox_ || path == readiness_ || path == root_,
                "no directory is changed or made but the host's own", path);
            requireFor(item.permissions == 0700, "directories of the host are 0700", path);
            return;
        }
        const bool isPrivate
            = item.permissions == 0600 || (hasFailed() && item.permissions == 0400);
        requireFor(item.kind == ItemKind::file && isPrivate,
            "what the host writes is files of 0600", path);
        const bool isEvent = parentPath(path) == inbox_ && isEventName(lastName(path));
        if (isEvent) {
            requireFor(!before_.contains(path), "an event has a name of its own", path);
            effects_.newEvents.push_back({ lastName(path), item.contents });
            return;
        }
        const bool isLeftOver = lastName(path).starts_with('.')
            && lastName(path).ends_with(".temporary")
            && (parentPath(path) == inbox_ || parentPath(path) == readiness_);
        if (isLeftOver && failedCall_ == FailedCall::removal)
            return;
        requireFor(path == readiness_ + "/googleChrome.readiness",
            "no file is left but events and Chrome's readiness", path);
        effects_.changedReadiness = { lastName(path), item.contents };
    }

    [[nodiscard]] bool hasFailed() const { return failedCall_ != FailedCall::none; }

    void requirePrivate(const std::string& directory) const
    {
        requireFor(itemAt(after_, directory)->permissions == 0700,
            "a directory that was written to is 0700", directory);
    }

    const MemoryTree& before_;
    const MemoryTree& after_;
    FailedCall failedCall_;
    std::string root_;
    std::string inbox_;
    std::string readiness_;
    Effects effects_;
};

} // namespace

Effects findEffects(const MemoryTree& before, const MemoryTree& after, FailedCall failedCall)
{
    return Comparison(before, after, failedCall).effects();
}

std::optional<std::string> readinessContents(const MemoryTree& tree)
{
    const std::string root = placeOf(tree, bridgeDirectory);
    const std::string directory = placeOf(tree, root + "/Readiness");
    const MemoryItem* const item = itemAt(tree, directory + "/googleChrome.readiness");
    return item == nullptr ? std::nullopt : std::optional(item->contents);
}

} // namespace fuzz
