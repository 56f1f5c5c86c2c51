#include "kestranectl/browser_locations.h"

#include "bridge/bridge_store.h"
#include "platform/file_system.h"
#include "platform/process.h"

#include <algorithm>
#include <array>

namespace kestranectl {

namespace {

// All channels of Google Chrome share the system's directory.
constexpr std::string_view chromeSystemDirectoryOnMacOS
    = "/Library/Google/Chrome/NativeMessagingHosts";
constexpr std::string_view chromeSystemDirectoryOnLinux = "/etc/opt/chrome/native-messaging-hosts";

// From the browsers' own definitions of their paths (Chromium, chrome/common/chrome_paths*). There
// is no Chrome Canary for Linux to rely on, and where Chrome for Testing looks system-wide is not
// known.
constexpr std::array<BrowserLocation, 6> browsers { {
    { .name = "chrome",
        .displayName = "Google Chrome",
        .userDirectoryOnMacOS = "Google/Chrome",
        .userDirectoryOnLinux = "google-chrome",
        .systemDirectoryOnMacOS = chromeSystemDirectoryOnMacOS,
        .systemDirectoryOnLinux = chromeSystemDirectoryOnLinux },
    { .name = "chrome-beta",
        .displayName = "Google Chrome Beta",
        .userDirectoryOnMacOS = "Google/Chrome Beta",
        .userDirectoryOnLinux = "google-chrome-beta",
        .systemDirectoryOnMacOS = chromeSystemDirectoryOnMacOS,
        .systemDirectoryOnLinux = chromeSystemDirectoryOnLinux },
    { .name = "chrome-dev",
        .displayName = "Google Chrome Dev",
        .userDirectoryOnMacOS = "Google/Chrome Dev",
        .userDirectoryOnLinux = "google-chrome-unstable",
        .systemDirectoryOnMacOS = chromeSystemDirectoryOnMacOS,
        .systemDirectoryOnLinux = chromeSystemDirectoryOnLinux },
    { .name = "chrome-canary",
        .displayName = "Google Chrome Canary",
        .userDirectoryOnMacOS = "Google/Chrome Canary",
        .userDirectoryOnLinux = "",
        .systemDirectoryOnMacOS = chromeSystemDirectoryOnMacOS,
        .systemDirectoryOnLinux = "" },
    { .name = "chrome-for-testing",
        .displayName = "Google Chrome for Testing",
        .userDirectoryOnMacOS = "Google/Chrome for Testing",
        .userDirectoryOnLinux = "google-chrome-for-testing",
        .systemDirectoryOnMacOS = "",
        .systemDirectoryOnLinux = "" },
    { .name = "chromium",
        .displayName = "Chromium",
        .userDirectoryOnMacOS = "Chromium",
        .userDirectoryOnLinux = "chromium",
        .systemDirectoryOnMacOS = "/Library/Application Support/Chromium/NativeMessagingHosts",
        .systemDirectoryOnLinux = "/etc/chromium/native-messaging-hosts" },
} };

std::optional<std::string> absolutePath(std::optional<std::string> value)
{
    return value && value->starts_with('/') ? std::move(value) : std::nullopt;
}

std::string configurationDirectory(const Surroundings& surroundings)
{
    for (const char* const name : { "CHROME_CONFIG_HOME", "XDG_CONFIG_HOME" }) {
        if (auto value = absolutePath(surroundings.variable(name)))
            return *std::move(value);
    }
    return bridge::appendingPathComponent(surroundings.home, ".config");
}

} // namespace

std::span<const BrowserLocation> knownBrowsers()
{
    return browsers;
}

const BrowserLocation* knownBrowser(std::string_view name)
{
    const auto* const found = std::ranges::find(browsers, name, &BrowserLocation::name);
    return found == browsers.end() ? nullptr : found;
}

Surroundings currentSurroundings()
{
    const platform::UserEnvironment& environment = platform::systemUserEnvironment();
    auto home = absolutePath(environment.variable("HOME"));
    if (!home)
        home = absolutePath(environment.passwordDatabaseHome());
    return {
        .home = home ? *std::move(home) : platform::localFileSystem().homeDirectoryForCurrentUser(),
        .variable = environment.variable,
    };
}

std::string userDataDirectory(const BrowserLocation& browser, const Surroundings& surroundings)
{
    const bool isMacOS = surroundings.system == platform::OperatingSystem::macOS;
    const std::string_view directory
        = isMacOS ? browser.userDirectoryOnMacOS : browser.userDirectoryOnLinux;
    if (directory.empty())
        return {};
    const std::string above = isMacOS
        ? bridge::appendingPathComponent(surroundings.home, "Library/Application Support")
        : configurationDirectory(surroundings);
    return bridge::appendingPathComponent(above, directory);
}

std::string manifestDirectory(
    const BrowserLocation& browser, Scope scope, const Surroundings& surroundings)
{
    if (scope == Scope::user) {
        const std::string userData = userDataDirectory(browser, surroundings);
        return userData.empty() ? userData
                                : bridge::appendingPathComponent(userData, "NativeMessagingHosts");
    }
    const bool isMacOS = surroundings.system == platform::OperatingSystem::macOS;
    const std::string_view directory
        = isMacOS ? browser.systemDirectoryOnMacOS : browser.systemDirectoryOnLinux;
    return directory.empty() ? std::string() : surroundings.systemRoot + std::string(directory);
}

} // namespace kestranectl
