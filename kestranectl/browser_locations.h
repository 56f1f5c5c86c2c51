#pragma once
// Where browsers look for the manifests of native-messaging hosts.

#include "platform/operating_system.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace kestranectl {

/// A browser, or a channel of one, that may run the extension. A host serves reports of Google
/// Chrome alone; these are the programs that run its extension. A directory that is not known, or
/// that the browser does not have on that system, is empty.
struct BrowserLocation {
    std::string_view name; // on the command line: "chrome", "chrome-beta", ...
    std::string_view displayName; // "Google Chrome Beta"
    std::string_view userDirectoryOnMacOS; // below ~/Library/Application Support
    std::string_view userDirectoryOnLinux; // below the configuration directory
    std::string_view systemDirectoryOnMacOS; // of the manifests, absolute
    std::string_view systemDirectoryOnLinux; // of the manifests, absolute
};

/// In the order in which they are looked at and reported.
[[nodiscard]] std::span<const BrowserLocation> knownBrowsers();

[[nodiscard]] const BrowserLocation* knownBrowser(std::string_view name);

enum class Scope : std::uint8_t { user, system };

/// What the places depend on; replaced in tests.
struct Surroundings {
    platform::OperatingSystem system = platform::currentOperatingSystem;
    std::string home; // the user's home directory
    /// The value of an environment variable.
    std::function<std::optional<std::string>(const char*)> variable;
    /// Goes before every absolute directory of the system that is named here or in the commands;
    /// empty but in tests.
    std::string systemRoot {};
};

/// The surroundings of this process. The home directory is the environment's HOME if that is
/// absolute, as for the browsers, otherwise the password database's.
[[nodiscard]] Surroundings currentSurroundings();

/// Where the browser keeps its profiles unless it is told otherwise. On Linux the configuration
/// directory is $CHROME_CONFIG_HOME, else $XDG_CONFIG_HOME, else ~/.config; values that are not
/// absolute count as unset. Empty where the directory is not known.
[[nodiscard]] std::string userDataDirectory(
    const BrowserLocation& browser, const Surroundings& surroundings);

/// Where the browser looks for manifests; empty where that is not known.
[[nodiscard]] std::string manifestDirectory(
    const BrowserLocation& browser, Scope scope, const Surroundings& surroundings);

} // namespace kestranectl
