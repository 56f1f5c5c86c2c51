#include "kestranectl/bridge_access.h"

#include "kestranectl/bridge_snapshot.h"
#include "platform/clock.h"
#include "platform/process.h"

namespace kestranectl {

namespace {

bool isDirectory(const std::string& path, const platform::FileSystem& fileSystem)
{
    // The dot at the end leads through a link, and into nothing but a directory.
    return fileSystem.attributes(bridge::appendingPathComponent(path, ".")).has_value();
}

// The path of what `path` lies in; "/" and "." lie in themselves.
std::string parentOf(std::string path)
{
    while (path.size() > 1 && path.ends_with('/'))
        path.pop_back();
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

std::string nearestDirectoryAbove(std::string path, const platform::FileSystem& fileSystem)
{
    for (;;) {
        std::string parent = parentOf(path);
        if (parent == path || isDirectory(parent, fileSystem))
            return parent;
        path = std::move(parent);
    }
}

} // namespace

host::HostEnvironment bridgeEnvironment(const std::string& directory)
{
    const platform::FileSystem& fileSystem = platform::localFileSystem();
    return {
        .store = { directory.empty() ? bridge::BrowserBridgeStore::defaultRootURL(fileSystem)
                                     : directory },
        .fileSystem = fileSystem,
        .services = {
            .now = platform::currentTime,
            .processExists = platform::processExists,
            .openCompanionApplication = [] { },
        },
    };
}

std::vector<std::string> directoriesToWatch(
    const std::string& root, const platform::FileSystem& fileSystem)
{
    // The directory before those in it: what is made in it between the two is then not missed.
    std::vector<std::string> directories { root };
    for (const BridgeSubject subject :
        { BridgeSubject::readiness, BridgeSubject::command, BridgeSubject::event })
        directories.push_back(bridge::appendingPathComponent(root, directoryName(subject)));
    if (!isDirectory(root, fileSystem))
        directories.push_back(nearestDirectoryAbove(root, fileSystem));
    return directories;
}

void watchBridge(platform::DirectoryWatcher& watcher, const std::string& root,
    const platform::FileSystem& fileSystem)
{
    // A directory may be made just before the one above it is watched. Once that is watched, making
    // others wakes the watcher up, so a second look nearly always finds the same.
    constexpr int mostLooks = 10;
    auto directories = directoriesToWatch(root, fileSystem);
    for (int look = 0; look < mostLooks; ++look) {
        watcher.watch(directories);
        auto directoriesNow = directoriesToWatch(root, fileSystem);
        if (directoriesNow == directories)
            return;
        directories = std::move(directoriesNow);
    }
}

} // namespace kestranectl
