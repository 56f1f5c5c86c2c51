#include "kestranectl/registration.h"

#include "bridge/bridge_store.h"
#include "kestranectl/extension_identifiers.h"
#include "kestranectl/host_location.h"
#include "kestranectl/manifest_file.h"
#include "platform/item_status.h"

#include <algorithm>
#include <cerrno>
#include <expected>
#include <optional>

namespace kestranectl {

namespace {

constexpr unsigned userDirectoryPermissions = 0700; // as browsers make their own
constexpr unsigned systemDirectoryPermissions = 0755;
constexpr unsigned readableByAll = 0444;

// What became of one manifest, in words that follow the browser's name.
struct Outcome {
    std::string text;
    bool isProblem = false;
};

Outcome refused(const std::string& path, std::string_view why)
{
    return { .text = path + " was left as it is: " + std::string(why), .isProblem = true };
}

Outcome failed(std::string_view what, const std::string& path, platform::FileError error)
{
    std::string text = std::string(what) + ' ' + path + " failed: " + message(error) + '.';
    if (error.code == EACCES || error.code == EPERM)
        text += " Run the command as a user who may write there.";
    return { .text = std::move(text), .isProblem = true };
}

// Whether nothing is at the path. Where the system does not tell, something may be.
bool isAbsent(const std::string& path)
{
    const auto status = platform::statusOfTarget(path);
    return !status && platform::saysAbsent(status.error());
}

void report(const std::string& displayName, const Outcome& outcome, const Console& console)
{
    const std::string line = printable(displayName + ": " + outcome.text) + '\n';
    if (outcome.isProblem)
        console.error(line);
    else
        console.output(line);
}

ExitStatus complain(std::string_view text, ExitStatus status, const Console& console)
{
    console.error(printable(text) + '\n');
    return status;
}

// The browsers of these names, or all. The error is the name that nobody has.
std::expected<std::vector<const BrowserLocation*>, std::string> browsersNamed(
    const std::vector<std::string>& names)
{
    std::vector<const BrowserLocation*> browsers;
    for (const std::string& name : names) {
        const BrowserLocation* const browser = knownBrowser(name);
        if (browser == nullptr)
            return std::unexpected(name);
        browsers.push_back(browser);
    }
    if (names.empty()) {
        for (const BrowserLocation& browser : knownBrowsers())
            browsers.push_back(&browser);
    }
    return browsers;
}

ExitStatus complainAboutName(const std::string& name, const Console& console)
{
    std::string text = "No browser is known as \"" + name + "\"; known are";
    std::string_view separator = " ";
    for (const BrowserLocation& browser : knownBrowsers()) {
        text += std::string(separator) + std::string(browser.name);
        separator = ", ";
    }
    return complain(text + '.', ExitStatus::usage, console);
}

// Why the extensions cannot be let in, if so.
std::optional<std::string> identifierProblem(const std::vector<std::string>& identifiers)
{
    if (identifiers.empty())
        return "This build knows no extension; name one with --extension-id (browsers show it at "
               "chrome://extensions).";
    const auto wrong = std::ranges::find_if_not(
        identifiers, [](const std::string& text) { return isExtensionIdentifier(text); });
    if (wrong == identifiers.end())
        return std::nullopt;
    return notAnExtensionIdentifier(*wrong);
}

// Why a manifest is not to be written for the browser, in words that follow its name.
std::optional<std::string> whySkipped(const BrowserLocation& browser,
    const RegisterOptions& options, const Surroundings& surroundings)
{
    const std::string directory = manifestDirectory(browser, options.scope, surroundings);
    if (directory.empty())
        return "skipped, as it is not known where it looks for hosts here";
    const std::string profiles = userDataDirectory(browser, surroundings);
    const bool hasProfiles = !profiles.empty() && !isAbsent(profiles);
    if (options.scope == Scope::user)
        return hasProfiles ? std::nullopt
                           : std::optional("skipped, as it has no profiles in " + profiles
                                 + "; start it once if it is installed");
    const std::string above = directory.substr(0, directory.rfind('/'));
    if (hasProfiles || !options.browsers.empty() || !isAbsent(above))
        return std::nullopt;
    return "skipped, as neither " + profiles + " nor " + above + " is there";
}

bool isSameExecutable(const std::string& one, const std::string& other)
{
    if (one == other)
        return true;
    const auto target = platform::resolvedPath(one);
    return target && target == platform::resolvedPath(other);
}

// Why the manifest that is there is not ours to replace.
std::optional<std::string> whyForeign(const std::string& text, const std::string& hostPath)
{
    const auto present = decodeManifest(text);
    if (!present)
        return "it cannot be read as a manifest. " + present.error()
            + " Use --force to replace it.";
    if (isSameExecutable(present->path, hostPath) || isAbsent(present->path))
        return std::nullopt;
    return "it names another host, " + present->path + ". Use --force to replace it.";
}

enum class Present : std::uint8_t { nothing, same, replaceable };

// What lies where the manifest is to be written; the error is why it is to be left.
std::expected<Present, std::string> present(
    const std::string& path, const Manifest& manifest, bool force)
{
    const auto status = platform::statusOfItem(path);
    if (!status && platform::saysAbsent(status.error()))
        return Present::nothing;
    if (!status)
        return std::unexpected("it cannot be looked at: " + message(status.error()) + '.');
    if (status->kind == platform::FileKind::directory)
        return std::unexpected(std::string("it is a directory; remove it yourself."));
    const auto text = readManifestText(path);
    if (text && *text == encode(manifest) && (status->permissions & readableByAll) == readableByAll)
        return Present::same;
    if (force)
        return Present::replaceable;
    if (!text)
        return std::unexpected(
            "it cannot be read (" + text.error() + "). Use --force to replace it.");
    if (auto why = whyForeign(*text, manifest.path))
        return std::unexpected(*std::move(why));
    return Present::replaceable;
}

Outcome writeManifest(
    const std::string& path, const Manifest& manifest, const RegisterOptions& options)
{
    const auto before = present(path, manifest, options.force);
    if (!before)
        return refused(path, before.error());
    if (*before == Present::same)
        return { .text = path + " is up to date" };
    const std::string what = *before == Present::nothing ? "wrote " : "replaced ";
    if (options.dryRun)
        return { .text = "would have " + (what == "wrote " ? "written " : what) + path };
    const unsigned permissions
        = options.scope == Scope::user ? userDirectoryPermissions : systemDirectoryPermissions;
    const std::string directory = path.substr(0, path.rfind('/'));
    if (const auto made = platform::localFileSystem().createDirectories(directory, permissions);
        !made)
        return failed("making", directory, made.error());
    if (const auto written = replaceManifest(path, encode(manifest)); !written)
        return failed("writing", path, written.error());
    return { .text = what + path };
}

// Goes through the browsers; several of them may share a manifest.
ExitStatus writeManifests(const std::vector<const BrowserLocation*>& browsers,
    const Manifest& manifest, const RegisterOptions& options, const Surroundings& surroundings,
    const Console& console)
{
    ExitStatus status = ExitStatus::success;
    std::vector<std::string> done;
    for (const BrowserLocation* const browser : browsers) {
        Outcome outcome;
        const std::string path = manifestPath(*browser, options.scope, surroundings);
        if (auto why = whySkipped(*browser, options, surroundings)) {
            outcome = { .text = *std::move(why), .isProblem = !options.browsers.empty() };
        } else if (std::ranges::find(done, path) != done.end()) {
            outcome = { .text = "shares " + path };
        } else {
            outcome = writeManifest(path, manifest, options);
            done.push_back(path);
        }
        report(std::string(browser->displayName), outcome, console);
        if (outcome.isProblem)
            status = ExitStatus::problem;
    }
    if (done.empty() && options.browsers.empty())
        return complain(
            "No browser was found, so nothing was written.", ExitStatus::problem, console);
    return status;
}

// Why the item is not to be removed.
std::optional<std::string> whyKept(
    const std::string& path, platform::FileKind kind, const UnregisterOptions& options)
{
    if (kind == platform::FileKind::directory)
        return "it is a directory; remove it yourself.";
    if (options.force)
        return std::nullopt;
    const auto text = readManifestText(path);
    if (!text)
        return "it cannot be read (" + text.error() + "). Use --force to remove it.";
    if (const auto manifest = decodeManifest(*text); !manifest)
        return "it cannot be read as a manifest. " + manifest.error()
            + " Use --force to remove it.";
    return std::nullopt;
}

Outcome removeManifest(const std::string& path, const UnregisterOptions& options)
{
    if (path.empty())
        return { .text = "skipped, as it is not known where it looks for hosts here" };
    const auto status = platform::statusOfItem(path);
    if (!status && platform::saysAbsent(status.error()))
        return { .text = "has no " + path };
    if (!status)
        return failed("looking at", path, status.error());
    if (const auto why = whyKept(path, status->kind, options))
        return refused(path, *why);
    if (options.dryRun)
        return { .text = "would have removed " + path };
    if (const auto removed = platform::localFileSystem().remove(path); !removed)
        return failed("removing", path, removed.error());
    return { .text = "removed " + path };
}

} // namespace

ExitStatus registerHost(
    const RegisterOptions& options, const Surroundings& surroundings, const Console& console)
{
    const auto browsers = browsersNamed(options.browsers);
    if (!browsers)
        return complainAboutName(browsers.error(), console);
    const std::vector<std::string>& identifiers = options.extensionIdentifiers.empty()
        ? builtInExtensionIdentifiers()
        : options.extensionIdentifiers;
    if (const auto wrong = identifierProblem(identifiers))
        return complain(*wrong, ExitStatus::usage, console);
    const auto host = usableHostPath(options.hostPath, surroundings);
    if (!host)
        return complain(host.error(), ExitStatus::problem, console);
    return writeManifests(
        *browsers, makeManifest(*host, identifiers), options, surroundings, console);
}

ExitStatus unregisterHost(
    const UnregisterOptions& options, const Surroundings& surroundings, const Console& console)
{
    const auto browsers = browsersNamed(options.browsers);
    if (!browsers)
        return complainAboutName(browsers.error(), console);
    ExitStatus status = ExitStatus::success;
    std::vector<std::string> done;
    for (const BrowserLocation* const browser : *browsers) {
        const std::string path = manifestPath(*browser, options.scope, surroundings);
        if (!path.empty() && std::ranges::find(done, path) != done.end())
            continue;
        done.push_back(path);
        const Outcome outcome = removeManifest(path, options);
        report(std::string(browser->displayName), outcome, console);
        if (outcome.isProblem)
            status = ExitStatus::problem;
    }
    return status;
}

} // namespace kestranectl
