#include "kestranectl/doctor_parts.h"

#include "bridge/bridge_store.h"
#include "kestranectl/extension_identifiers.h"
#include "kestranectl/manifest_file.h"
#include "platform/item_status.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <optional>
#include <tuple>

namespace kestranectl {

namespace {

const std::string subject = "manifest";

constexpr std::string_view saysNotFound
    = " Browsers say: \"Specified native messaging host not found.\"";
constexpr std::string_view saysForbidden
    = " Browsers say: \"Access to the specified native messaging host is forbidden.\"";

std::string registerCommand(const BrowserLocation& browser)
{
    return "Run: kestranectl register --browser " + std::string(browser.name);
}

std::string displayName(const BrowserLocation& browser)
{
    return std::string(browser.displayName);
}

// Whether the browser is worth a look: it has profiles here, or was asked for.
bool examineProfiles(Examination& examination, const BrowserLocation& browser)
{
    const bool isNamed = !examination.options.browsers.empty();
    const std::string directory = userDataDirectory(browser, examination.surroundings);
    if (directory.empty()) {
        if (isNamed)
            examination.unknown("browser",
                "It is not known where " + displayName(browser)
                    + " keeps its profiles on this system.");
        return false;
    }
    const auto status = platform::statusOfTarget(directory);
    if (status) {
        examination.good(
            "browser", displayName(browser) + " has its profiles in " + directory + '.');
        return true;
    }
    if (!platform::saysAbsent(status.error())) {
        reportHidden(examination, "browser", directory, status.error());
        return true;
    }
    if (isNamed)
        examination.notice("browser",
            displayName(browser) + " has no profiles in " + directory + '.',
            "Start it once; if it is started with --user-data-dir, it looks for hosts there.");
    return isNamed;
}

void examineOrigins(
    Examination& examination, const BrowserLocation& browser, const Manifest& manifest)
{
    std::vector<std::string> wanted = builtInExtensionIdentifiers();
    if (!examination.options.extensionIdentifier.empty())
        wanted = { examination.options.extensionIdentifier };
    const std::vector<std::string> allowed = allowedIdentifiers(manifest);
    for (const std::string& identifier : wanted) {
        if (std::ranges::find(allowed, identifier) == allowed.end())
            examination.bad("extension",
                "The manifest does not let the extension " + identifier + " in."
                    + std::string(saysForbidden),
                registerCommand(browser) + " --extension-id " + identifier);
    }
    if (allowed.empty())
        examination.bad("extension",
            "The manifest lets no extension in." + std::string(saysForbidden),
            registerCommand(browser));
    for (const std::string& identifier : allowed)
        examination.good("extension", "The manifest lets the extension " + identifier + " in.");
}

// The manifest's text, or none after a finding that says why.
std::optional<std::string> examineText(
    Examination& examination, const BrowserLocation& browser, const std::string& path)
{
    // Browsers follow links; the reading does not.
    const std::string target = platform::resolvedPath(path).value_or(path);
    const auto file = platform::localFileSystem().openForReading(target);
    if (!file && file.error().code == EPERM) {
        reportHidden(examination, subject, path, file.error());
        return std::nullopt;
    }
    auto text = readManifestText(target);
    if (text)
        return *std::move(text);
    examination.bad(subject,
        displayName(browser) + " finds " + path + ", but cannot read it: " + text.error() + '.'
            + std::string(saysNotFound),
        registerCommand(browser) + " --force");
    return std::nullopt;
}

void examineManifest(
    Examination& examination, const BrowserLocation& browser, const std::string& path)
{
    const auto text = examineText(examination, browser, path);
    if (!text)
        return;
    const auto manifest = decodeManifest(*text);
    if (!manifest) {
        examination.bad(subject,
            displayName(browser) + " refuses " + path + ". " + manifest.error()
                + std::string(saysNotFound),
            registerCommand(browser) + " --force");
        return;
    }
    examination.good(
        subject, displayName(browser) + " reads " + path + ", which names " + manifest->path + '.');
    std::ignore = examineTrust(examination, subject, path); // Reading it was no risk.
    examineOrigins(examination, browser, *manifest);
    examineExecutable(examination, manifest->path);
}

void examineBrowser(Examination& examination, const BrowserLocation& browser)
{
    std::string places;
    for (const Scope scope : { Scope::user, Scope::system }) {
        const std::string path = manifestPath(browser, scope, examination.surroundings);
        if (path.empty())
            continue;
        const auto status = platform::statusOfTarget(path);
        if (status) {
            examineManifest(examination, browser, path);
            return;
        }
        if (!platform::saysAbsent(status.error())) {
            reportHidden(examination, subject, path, status.error());
            return;
        }
        if (platform::statusOfItem(path))
            examination.notice(
                subject, path + " is a link that leads nowhere; browsers pass over it.");
        places += (places.empty() ? "" : " or ") + path;
    }
    examination.bad(subject,
        displayName(browser) + " finds no manifest: there is no " + places + '.'
            + std::string(saysNotFound),
        registerCommand(browser));
}

// Browsers that are packed with a sandbox of their own, and where they keep what they write.
void examineSandboxes(Examination& examination)
{
    const Surroundings& surroundings = examination.surroundings;
    if (surroundings.system == platform::OperatingSystem::macOS)
        return;
    for (const std::string place :
        { ".var/app/com.google.Chrome", ".var/app/org.chromium.Chromium", "snap/chromium" }) {
        const std::string path = bridge::appendingPathComponent(surroundings.home, place);
        if (presenceOf(path) == Presence::present)
            examination.notice("sandbox",
                path
                    + " belongs to a browser from Flatpak or Snap. Such browsers cannot start "
                      "hosts.",
                "Use the browser from its maker's own package.");
    }
    const bool isInFlatpak
        = presenceOf(surroundings.systemRoot + "/.flatpak-info") == Presence::present;
    if (isInFlatpak || surroundings.variable("SNAP"))
        examination.notice("sandbox",
            "This tool runs in a sandbox of Flatpak or Snap and may see other files than a "
            "browser.",
            "Run it in an ordinary terminal.");
}

void examineVariables(Examination& examination)
{
    const Surroundings& surroundings = examination.surroundings;
    if (surroundings.system == platform::OperatingSystem::macOS)
        return;
    for (const char* const name : { "CHROME_CONFIG_HOME", "XDG_CONFIG_HOME" }) {
        if (const auto value = surroundings.variable(name); value && value->starts_with('/'))
            examination.notice("environment",
                std::string(name) + " is " + *value
                    + " here. A browser that was started elsewhere may not have it and look in "
                      "another place.");
    }
}

// An administrator who looks for somebody else sees what that user's browser does not.
void examineUser(Examination& examination)
{
    const std::string& home = examination.surroundings.home;
    const auto status = platform::statusOfItem(home);
    if (status && status->owner != platform::currentUser())
        examination.notice("user",
            home + " belongs to another user (number " + std::to_string(status->owner)
                + ") than the one who runs this tool, so what follows may not hold for him.",
            "Run the command as the user whose browser it is about.");
}

} // namespace

void examineBrowsers(Examination& examination)
{
    examineUser(examination);
    examineVariables(examination);
    examineSandboxes(examination);
    const std::vector<std::string>& names = examination.options.browsers;
    bool isAnyThere = false;
    for (const BrowserLocation& browser : knownBrowsers()) {
        const bool isWanted
            = names.empty() || std::ranges::find(names, browser.name) != names.end();
        if (!isWanted || !examineProfiles(examination, browser))
            continue;
        isAnyThere = true;
        examineBrowser(examination, browser);
    }
    if (!isAnyThere && names.empty())
        examination.bad("browser", "None of the browsers that this tool knows has profiles here.",
            "Start Google Chrome once, as this user.");
}

} // namespace kestranectl
