#include "kestranectl/host_location.h"

#include "base/unicode_text.h"
#include "bridge/bridge_store.h"
#include "platform/executable_path.h"
#include "platform/item_status.h"

#include <array>
#include <span>
#include <string_view>

namespace kestranectl {

namespace {

constexpr std::string_view hostFileName = "kestrane-native-host";

constexpr std::array<std::string_view, 4> temporaryDirectoriesOnLinux {
    "/tmp",
    "/var/tmp",
    "/dev/shm",
    "/run",
};
constexpr std::array<std::string_view, 6> temporaryDirectoriesOnMacOS {
    "/tmp",
    "/private/tmp",
    "/var/tmp",
    "/private/var/tmp",
    "/var/folders",
    "/private/var/folders",
};

bool isBelow(std::string_view path, std::string_view directory)
{
    while (directory.ends_with('/'))
        directory.remove_suffix(1);
    return !directory.empty() && path.starts_with(directory)
        && path.substr(directory.size()).starts_with('/');
}

std::span<const std::string_view> temporaryDirectories(const Surroundings& surroundings)
{
    if (surroundings.system == platform::OperatingSystem::macOS)
        return temporaryDirectoriesOnMacOS;
    return temporaryDirectoriesOnLinux;
}

std::string sentence(const std::string& path, std::string_view rest)
{
    return path + ' ' + std::string(rest);
}

std::expected<std::string, std::string> absoluteHostPath(const std::string& path)
{
    if (path.starts_with('/'))
        return path;
    if (!path.empty()) {
        const auto resolved = platform::resolvedPath(path);
        if (!resolved)
            return std::unexpected(
                sentence(path, "cannot be used as host: " + message(resolved.error()) + '.'));
        return *resolved;
    }
    std::string installed = installedHostPath(platform::executablePath());
    if (installed.empty())
        return std::unexpected(std::string(
            "There is no host beside this tool or in ../libexec/kestrane; say where it is "
            "with --host."));
    return installed;
}

// What keeps the executable itself from being started.
std::optional<std::string> whyNotExecutable(const std::string& path)
{
    const auto status = platform::statusOfTarget(path);
    if (!status)
        return sentence(path, "cannot be used as host: " + message(status.error()) + '.');
    if (status->kind != platform::FileKind::regular)
        return sentence(path, "is no file, so it cannot be used as host.");
    if (const auto may = platform::mayExecute(path); !may)
        return sentence(path, "cannot be executed: " + message(may.error()) + '.');
    return std::nullopt;
}

} // namespace

std::string installedHostPath(const std::string& toolPath)
{
    const std::size_t slash = toolPath.rfind('/');
    if (slash == std::string::npos)
        return {};
    const std::string directory = toolPath.substr(0, slash);
    const std::string above = directory.substr(0, std::min(directory.rfind('/'), slash));
    for (const std::string& place : { directory, above + "/libexec/kestrane" }) {
        std::string path = place + '/' + std::string(hostFileName);
        const auto status = platform::statusOfTarget(path);
        if (status && status->kind == platform::FileKind::regular)
            return path;
    }
    return {};
}

std::optional<std::string> whyNotLasting(const std::string& path, const Surroundings& surroundings)
{
    if (path.find("/AppTranslocation/") != std::string::npos)
        return sentence(path,
            "is where the system has moved a downloaded application for one start; move the "
            "application to /Applications and open it there.");
    if (surroundings.system == platform::OperatingSystem::macOS
        && isBelow(path, surroundings.systemRoot + "/Volumes"))
        return sentence(path,
            "is on a disk image or another disk, which may go; copy the application to "
            "/Applications.");
    std::vector<std::string> directories;
    for (const std::string_view directory : temporaryDirectories(surroundings))
        directories.push_back(surroundings.systemRoot + std::string(directory));
    if (auto variable = surroundings.variable("TMPDIR"); variable && variable->starts_with('/'))
        directories.push_back(*std::move(variable));
    for (const std::string& directory : directories) {
        if (isBelow(path, directory))
            return sentence(path,
                "is in the temporary directory " + directory
                    + "; install the host in a place that stays.");
    }
    return std::nullopt;
}

std::expected<std::string, std::string> usableHostPath(
    const std::string& path, const Surroundings& surroundings)
{
    auto host = absoluteHostPath(path);
    if (!host)
        return host;
    if (!base::allScalars(*host, [](char32_t) { return true; }))
        return std::unexpected(
            sentence(*host, "is no UTF-8, so no manifest can name it; move the host."));
    if (auto reason = whyNotExecutable(*host))
        return std::unexpected(*std::move(reason));
    // It was there a moment ago; if it has gone since, the path as it stands must do.
    const std::string target = platform::resolvedPath(*host).value_or(*host);
    for (const std::string& place : { *host, target }) {
        if (auto reason = whyNotLasting(place, surroundings))
            return std::unexpected(*std::move(reason));
    }
    return host;
}

} // namespace kestranectl
