#include "kestranectl/event_taking.h"

#include <cerrno>

namespace kestranectl {

namespace {

bool isRegularFile(const platform::Location& location, const platform::FileSystem& fileSystem)
{
    const auto attributes = fileSystem.attributes(location);
    return attributes && attributes->kind == platform::FileKind::regular;
}

} // namespace

std::vector<std::string> takeEvents(
    const BridgeSnapshot& snapshot, const host::HostEnvironment& environment)
{
    std::vector<std::string> failures;
    const platform::FileSystem& fileSystem = environment.fileSystem;
    const std::string inbox = bridge::appendingPathComponent(
        environment.store.rootURL, directoryName(BridgeSubject::event));
    const auto listing = fileSystem.visibleNames(inbox);
    if (!listing)
        return failures; // The snapshot says why.
    for (const std::string& name : listing->names) {
        if (!name.ends_with(nameEnding(BridgeSubject::event))
            || !snapshot.items.contains({ BridgeSubject::event, name }))
            continue;
        // In the directory that was listed, whatever stands in its place by now.
        const std::string path = bridge::appendingPathComponent(inbox, name);
        const platform::Location file(path, listing->directory);
        if (!isRegularFile(file, fileSystem))
            continue;
        const auto removed = fileSystem.remove(file);
        if (!removed && removed.error().code != ENOENT)
            failures.push_back(
                "The event " + name + " cannot be taken: " + platform::message(removed.error()));
    }
    return failures;
}

} // namespace kestranectl
