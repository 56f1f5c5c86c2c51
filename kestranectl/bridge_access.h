#pragma once
// The bridge directory of this machine, and waiting for what happens in it.

#include "host/companion_application.h"
#include "platform/directory_watcher.h"

#include <string>
#include <vector>

namespace kestranectl {

/// The surroundings of a host whose bridge directory is `directory`; empty for the host's own rule.
/// It opens no application.
[[nodiscard]] host::HostEnvironment bridgeEnvironment(const std::string& directory);

/// The directories in which something would happen: the bridge directory at `root` and the three
/// in it, which need not be there; and the nearest existing directory above it while it is not
/// there.
[[nodiscard]] std::vector<std::string> directoriesToWatch(
    const std::string& root, const platform::FileSystem& fileSystem);

/// Makes `watcher` watch them as they are now. To be called before each look, so that what happens
/// after the look is not missed.
void watchBridge(platform::DirectoryWatcher& watcher, const std::string& root,
    const platform::FileSystem& fileSystem);

} // namespace kestranectl
