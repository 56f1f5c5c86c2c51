#include "fuzz/support/naive_directory.h"

#include "fuzz/support/bridge_world.h"
#include "fuzz/support/naive_records.h"
#include "fuzz/support/naive_text.h"

namespace fuzz {

namespace {

bool isDirectory(const MemoryItem* item, unsigned permissions)
{
    return item != nullptr && item->kind == ItemKind::directory
        && (item->permissions & permissions) == permissions;
}

// Nothing is found below a bridge directory that is none or may not be searched.
const MemoryItem* itemInBridge(const MemoryTree& tree, std::string_view name)
{
    const bool canSearch = isDirectory(itemAt(tree, bridgeDirectory), maySearch);
    return canSearch ? itemAt(tree, inBridge(name)) : nullptr;
}

std::optional<std::string> readFile(const MemoryItem* item, std::size_t limit)
{
    if (item == nullptr || item->kind != ItemKind::file || (item->permissions & mayRead) == 0
        || item->contents.size() > limit)
        return std::nullopt;
    return item->contents;
}

// A record of version 1.
std::optional<NaiveValue> readRecord(const MemoryItem* item, std::size_t limit, RecordRules rules)
{
    const auto contents = readFile(item, limit);
    auto value = contents ? soundRecord(*contents, rules) : std::nullopt;
    if (!value || numberField(*value, "version") != 1)
        return std::nullopt;
    return value;
}

// Why nothing can be written into a directory of the host's; empty if it can.
std::string refusalOf(const MemoryTree& tree, std::string_view name)
{
    const MemoryItem* const item = itemInBridge(tree, name);
    if (item == nullptr)
        return isDirectory(itemAt(tree, bridgeDirectory), mayWrite) ? "" : "Permission denied";
    const bool isLink = item->kind == ItemKind::symbolicLink;
    return isDirectory(isLink ? itemAt(tree, item->contents) : item, 0) ? "" : "File exists";
}

enum class Verdict : std::uint8_t { refused, kept, accepted };

Verdict judgeCommand(const NaiveValue& envelope, double now, std::string_view token,
    std::string_view browser, const std::optional<std::string>& session)
{
    const NaiveValue& command = *envelope.find("command");
    const double age = now - numberField(command, "createdAt");
    if (textField(envelope, "token") != token || age < -2 || age > 60)
        return Verdict::refused;
    if (textField(command, "browserBundleIdentifier") != browser)
        return Verdict::kept;
    const NaiveValue* const bound = presentField(command, "sessionIdentifier");
    if (bound != nullptr && session != naivelyUpperCased(bound->text))
        return Verdict::refused;
    return Verdict::accepted;
}

bool isCommandName(std::string_view name)
{
    constexpr std::string_view ending = ".command";
    return !name.starts_with('.') && name.size() > ending.size() && name.ends_with(ending);
}

// Whether an item goes from a directory in which items can be removed. What it holds goes first.
bool canRemove(const MemoryTree& tree, const std::string& path)
{
    const auto next = tree.upper_bound(path + '/');
    const bool isEmpty = next == tree.end() || !next->first.starts_with(path + '/');
    return isEmpty || isDirectory(itemAt(tree, path), mayWrite | maySearch);
}

} // namespace

std::optional<std::string> findToken(const MemoryTree& tree)
{
    auto token = readFile(itemInBridge(tree, "bridge-token"), 128);
    return token && isNaiveToken(*token) ? token : std::nullopt;
}

std::optional<NaiveValue> findLiveState(const NaiveSurroundings& surroundings)
{
    auto state = readRecord(itemInBridge(surroundings.tree, "state.json"), 4096, stateRules());
    if (!state)
        return std::nullopt;
    const double age = surroundings.now - numberField(*state, "updatedAt");
    const bool isLive = age >= -2 && age <= 10 && surroundings.processExists
        && numberField(*state, "appProcessIdentifier") >= 1;
    return isLive ? state : std::nullopt;
}

std::optional<std::string> runningSession(const std::optional<NaiveValue>& state)
{
    if (!state || !booleanField(*state, "sessionRunning"))
        return std::nullopt;
    const NaiveValue* const session = presentField(*state, "sessionIdentifier");
    return session == nullptr ? std::nullopt : std::optional(naivelyUpperCased(session->text));
}

bool allowsFilenameLabels(const MemoryTree& tree, const std::optional<std::string>& token)
{
    const auto preferences
        = readRecord(itemInBridge(tree, "preferences.json"), 4096, preferencesRules());
    return token && preferences && textField(*preferences, "token") == *token
        && booleanField(*preferences, "filenameLabelsEnabled");
}

std::string inboxRefusal(const MemoryTree& tree)
{
    return refusalOf(tree, "Inbox");
}

bool canTakeReadiness(const MemoryTree& tree)
{
    const bool isTaken = isDirectory(itemInBridge(tree, "Readiness/googleChrome.readiness"), 0);
    return refusalOf(tree, "Readiness").empty() && !isTaken;
}

CommandOutcome predictCommands(const NaiveSurroundings& surroundings, std::string_view token,
    std::string_view browser, const std::optional<std::string>& session)
{
    CommandOutcome outcome;
    const std::string directory = inBridge("Commands");
    const MemoryItem* const commands = itemInBridge(surroundings.tree, "Commands");
    if (!isDirectory(commands, mayRead))
        return outcome;
    // The tree is in the order of the paths, and so of the names in one directory.
    for (const auto& [path, item] : surroundings.tree) {
        if (!path.starts_with(directory))
            continue;
        const std::string name = lastName(path);
        if (parentPath(path) != directory || !isCommandName(name))
            continue;
        const auto record = isDirectory(commands, maySearch)
            ? readRecord(&item, 16384, commandEnvelopeRules())
            : std::nullopt;
        const Verdict verdict = record
            ? judgeCommand(*record, surroundings.now, token, browser, session)
            : Verdict::refused;
        if (verdict == Verdict::accepted)
            outcome.accepted.push_back(*record->find("command"));
        if (verdict != Verdict::kept && isDirectory(commands, mayWrite | maySearch)
            && canRemove(surroundings.tree, path))
            outcome.removed.insert(name);
    }
    return outcome;
}

} // namespace fuzz
