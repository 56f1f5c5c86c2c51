#include "platform/application_launcher.h"

#include "platform/detached_process.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

namespace platform {

namespace {

std::string_view environmentValue(const char* name)
{
    const char* const value = std::getenv(name);
    return value != nullptr ? value : "";
}

// The directories of the XDG Base Directory scheme in their order; entries that are not absolute do
// not count there.
std::vector<std::string> dataDirectories()
{
    std::vector<std::string> directories;
    const std::string_view dataHome = environmentValue("XDG_DATA_HOME");
    if (dataHome.starts_with('/'))
        directories.emplace_back(dataHome);
    else if (const std::string_view home = environmentValue("HOME"); home.starts_with('/'))
        directories.emplace_back(std::string(home) + "/.local/share");

    std::string_view rest = environmentValue("XDG_DATA_DIRS");
    if (rest.empty())
        rest = "/usr/local/share:/usr/share";
    while (!rest.empty()) {
        const std::size_t colon = rest.find(':');
        const std::string_view directory = rest.substr(0, colon);
        if (directory.starts_with('/'))
            directories.emplace_back(directory);
        rest.remove_prefix(colon == std::string_view::npos ? rest.size() : colon + 1);
    }
    return directories;
}

std::optional<std::string> desktopEntryPath(std::string_view identifier)
{
    // An identifier is one name; with a slash it would lead out of the directories.
    if (identifier.find('/') != std::string_view::npos)
        return std::nullopt;
    for (const std::string& directory : dataDirectories()) {
        std::string path = directory + "/applications/" + std::string(identifier) + ".desktop";
        struct stat status {};
        if (::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode))
            return path;
    }
    return std::nullopt;
}

// What browsers set for themselves and what misleads another application. Other variables that
// begin alike are the user's own.
bool belongsToBrowser(std::string_view variable)
{
    constexpr std::array<std::string_view, 4> prefixes { "CHROME_WRAPPER=", "CHROME_DESKTOP=",
        "CHROME_VERSION_EXTRA=", "DBUS_SESSION_BUS_ADDRESS=disabled:" };
    return std::ranges::any_of(
        prefixes, [variable](std::string_view prefix) { return variable.starts_with(prefix); });
}

std::vector<std::string> environmentOfApplication()
{
    std::vector<std::string> variables;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        if (!belongsToBrowser(*variable))
            variables.emplace_back(*variable);
    }
    return variables;
}

} // namespace

bool openApplication(std::string_view identifier)
{
    std::optional<std::string> entry = desktopEntryPath(identifier);
    if (!entry)
        return false;
    // GIO knows how desktop entries are started: the quoting and field codes of their Exec keys,
    // terminals, start-up notification.
    startDetached({ KESTRANE_GIO_COMMAND, "launch", *std::move(entry) }, environmentOfApplication(),
        std::string(environmentValue("HOME")));
    return false; // Another process carries it out already.
}

} // namespace platform
