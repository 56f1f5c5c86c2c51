#include "tests/kestranectl/browser_test.h"

#include "kestranectl/manifest_file.h"
#include "platform/item_status.h"

namespace kestranectl {

BrowserTest::BrowserTest()
    : root(platform::resolvedPath(directory.path()).value_or(directory.path()))
    , host(root + "/opt/host")
    , surroundings { .system = platform::OperatingSystem::linux,
        .home = root + "/home",
        .variable = [this](const char* name) -> std::optional<std::string> {
            const auto found = variables.find(name);
            return found == variables.end() ? std::nullopt : std::optional(found->second);
        },
        .systemRoot = root }
    , console { .output = [this](std::string_view text) { output += text; },
        .error = [this](std::string_view text) { errors += text; } }
{
    support::makeDirectory(surroundings.home);
    support::writeFile(host, "#!/bin/sh\n", 0755);
}

void BrowserTest::install(std::string_view browser) const
{
    support::writeFile(
        userDataDirectory(*knownBrowser(browser), surroundings) + "/Local State", "{}");
}

std::string BrowserTest::manifest(std::string_view browser, Scope scope) const
{
    return manifestPath(*knownBrowser(browser), scope, surroundings);
}

void BrowserTest::leaveManifest(
    std::string_view browser, const std::string& text, Scope scope) const
{
    support::writeFile(manifest(browser, scope), text, 0644);
}

std::string BrowserTest::soundManifest() const
{
    return encode(makeManifest(host, { identifier }));
}

} // namespace kestranectl
