#include "bridge/bridge_store.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace bridge {

namespace {

// How far ahead of the host's clock a command may be stamped, in seconds.
constexpr double maximumLead = 2.0;

struct CommandFilter {
    std::string_view token;
    std::string_view browserBundleIdentifier;
    const std::optional<base::UUID>& sessionIdentifier;
    base::Timestamp now;
    double maximumAge;
};

enum class Verdict : std::uint8_t { refused, forAnotherBrowser, accepted };

// The order matters: a stale or forged command is refused by whichever browser's host meets it
// first, a sound and fresh one for another browser is left to that browser's host.
Verdict judge(const BrowserBridgeCommandEnvelope& envelope, const CommandFilter& filter)
{
    const BrowserBridgeCommand& command = envelope.command;
    if (envelope.version != recordVersion || envelope.token != filter.token)
        return Verdict::refused;
    const double age = base::secondsBetween(command.createdAt, filter.now);
    const bool isFresh = age >= -maximumLead && age <= filter.maximumAge; // false for no number
    if (!isFresh)
        return Verdict::refused;
    if (command.browserBundleIdentifier != filter.browserBundleIdentifier)
        return Verdict::forAnotherBrowser;
    if (command.sessionIdentifier && command.sessionIdentifier != filter.sessionIdentifier)
        return Verdict::refused;
    return Verdict::accepted;
}

constexpr std::string_view commandFileEnding = ".command";

} // namespace

std::vector<BrowserBridgeCommand> BrowserBridgeStore::consumeCommands(std::string_view token,
    std::string_view browserBundleIdentifier, const std::optional<base::UUID>& sessionIdentifier,
    base::Timestamp now, const platform::FileSystem& fileSystem, double maximumAge) const
{
    const std::string directory = appendingPathComponent(rootURL, commandsDirectoryName);
    auto listing = fileSystem.visibleNames(directory);
    if (!listing)
        return {};
    std::vector<std::string>& names = listing->names;
    std::erase_if(
        names, [](const std::string& name) { return !name.ends_with(commandFileEnding); });
    std::ranges::sort(names);

    const CommandFilter filter { .token = token,
        .browserBundleIdentifier = browserBundleIdentifier,
        .sessionIdentifier = sessionIdentifier,
        .now = now,
        .maximumAge = maximumAge };
    std::vector<BrowserBridgeCommand> accepted;
    for (const std::string& name : names) {
        const std::string path = appendingPathComponent(directory, name);
        // Of the directory that was listed: whatever stands in its place by now, a link to one
        // elsewhere perhaps, has nothing to be read or deleted.
        const platform::Location file(path, listing->directory);
        Verdict verdict = Verdict::refused;
        if (const auto contents = readLimitedRegularFile(file, maximumCommandBytes, fileSystem)) {
            if (auto envelope = decodeBrowserBridgeCommandEnvelope(*contents)) {
                verdict = judge(*envelope, filter);
                if (verdict == Verdict::accepted)
                    accepted.push_back(std::move(envelope->command));
            }
        }
        // A file that cannot be removed is met again by the next scan.
        if (verdict != Verdict::forAnotherBrowser)
            std::ignore = fileSystem.remove(file);
    }
    return accepted;
}

} // namespace bridge
