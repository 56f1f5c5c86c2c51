// The native-messaging host: the browser starts it with one connection on its standard streams. It
// takes no arguments, keeps no log and ends with status 0 in every case in which it returns.

#include "host/request_loop.h"
#include "platform/application_launcher.h"
#include "platform/clock.h"
#include "platform/core_files.h"
#include "platform/file_system.h"
#include "platform/process.h"
#include "platform/request_departure.h"

#include <array>
#include <cstdlib>
#include <memory>
#include <new>
#include <string_view>

namespace {

// The application that the extension asks for.
constexpr std::string_view companionBundleIdentifier = KESTRANE_COMPANION_BUNDLE_IDENTIFIER;

// What throwing an exception and cleaning up behind it may take, a path of the greatest length
// included.
using Reserve = std::array<char, 8192>;

// The handler below is called without arguments.
// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables)
std::unique_ptr<Reserve> reserve;

// Throwing takes memory itself, and a program that cannot throw is aborted. So something is kept
// back for that; where there is none, because nothing has begun yet or all of it is gone, the
// program ends here.
[[noreturn]] void giveUpForWantOfMemory()
{
    if (!reserve)
        std::_Exit(EXIT_SUCCESS);
    reserve.reset();
    throw std::bad_alloc();
}

void serveBrowser()
{
    const platform::FileSystem& fileSystem = platform::localFileSystem();
    platform::RequestDeparture departure; // Waits, if at all, when all else is done.
    const auto openCompanionApplication = [&departure] {
        if (platform::openApplication(companionBundleIdentifier))
            departure.noteRequest();
    };
    const host::HostEnvironment environment {
        .store = { bridge::BrowserBridgeStore::defaultRootURL(fileSystem) },
        .fileSystem = fileSystem,
        .services = {
            .now = platform::currentTime,
            .processExists = platform::processExists,
            .openCompanionApplication = openCompanionApplication,
        },
    };
    host::runSession(
        platform::standardInputDescriptor, platform::standardOutputDescriptor, environment);
}

} // namespace

int main()
{
    // Before anything is written: a browser that is gone must not keep the end of the session from
    // being recorded.
    platform::ignoreSignalsOfFailedWrites();
    platform::forbidCoreFiles();
    std::set_new_handler(giveUpForWantOfMemory);
    try {
        reserve = std::make_unique_for_overwrite<Reserve>();
        serveBrowser();
    } catch (const std::bad_alloc&) {
        // Without memory nothing can be said or done; the browser sees the connection end.
        return 0;
    }
    return 0;
}
