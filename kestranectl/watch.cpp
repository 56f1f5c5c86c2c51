#include "kestranectl/watch.h"

#include "kestranectl/bridge_access.h"
#include "kestranectl/bridge_reporter.h"

#include <optional>

namespace kestranectl {

namespace {

ExitStatus cannotWatch(platform::FileError error, const Console& console)
{
    console.error("The bridge directory cannot be watched: " + platform::message(error) + '\n');
    return ExitStatus::problem;
}

} // namespace

ExitStatus runWatch(const WatchOptions& options, const Console& console)
{
    const host::HostEnvironment environment = bridgeEnvironment(options.bridgeDirectory);
    BridgeReporter reporter(environment, { .json = options.json }, console);
    if (options.once) {
        reporter.look();
        return ExitStatus::success;
    }
    const auto endRequests = platform::EndRequests::make();
    if (!endRequests)
        return cannotWatch(endRequests.error(), console);
    auto watcher = platform::DirectoryWatcher::make();
    if (!watcher)
        return cannotWatch(watcher.error(), console);
    for (;;) {
        watchBridge(*watcher, environment.store.rootURL, environment.fileSystem);
        reporter.look();
        const auto awakening = watcher->wait(*endRequests, std::nullopt, std::nullopt);
        if (!awakening)
            return cannotWatch(awakening.error(), console);
        if (awakening->endRequested)
            return ExitStatus::success;
    }
}

} // namespace kestranectl
