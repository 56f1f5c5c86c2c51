// The native-messaging host: the browser starts it with one connection on its standard streams. It
// takes no arguments, keeps no log and ends with status 0 in every case in which it returns.

#include "host/request_loop.h"
#include "platform/application_launcher.h"
#include "platform/clock.h"
#include "platform/file_system.h"
#include "platform/process.h"

#include <new>
#include <string_view>

namespace {

// The application that the extension asks for.
constexpr std::string_view companionBundleIdentifier = KESTRANE_COMPANION_BUNDLE_IDENTIFIER;

} // namespace

int main()
{
    // Before anything is written: a browser that is gone must not keep the end of the session from
    // being recorded.
    platform::ignoreSignalsOfFailedWrites();
    const platform::FileSystem& fileSystem = platform::localFileSystem();
    const host::HostEnvironment environment {
        .store = { bridge::BrowserBridgeStore::defaultRootURL(fileSystem) },
        .fileSystem = fileSystem,
        .services = {
            .now = platform::currentTime,
            .processExists = platform::processExists,
            .openCompanionApplication = [] { platform::openApplication(companionBundleIdentifier); },
        },
    };
    try {
        host::runSession(
            platform::standardInputDescriptor, platform::standardOutputDescriptor, environment);
    } catch (const std::bad_alloc&) {
        // Without memory nothing can be said or done; the browser sees the connection end.
        return 0;
    }
    return 0;
}
