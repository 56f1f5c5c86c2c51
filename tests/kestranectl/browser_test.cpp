#include "tests/kestranectl/browser_test.h"

#include "kestranectl/manifest_file.h"
#include "platform/item_status.h"

namespace kestranectl {

BrowserTest::BrowserTest()
    : root_(platform::resolvedPath(directory_.path()).value_or(directory_.path()))
    , host_(root_ + "/opt/host")
    , surroundings_ { .system = platform::OperatingSystem::linux,
        .home = root_ + "/home",
        .variable = [this](const char* name) -> std::optional<std::string> {
            const auto found = variables_.find(name);
            return found == variables_.end() ? std::nullopt : std::optional(found->second);
        },
        .systemRoot = root_ }
    , console_ { .output = [this](std::string_view text) { output_ += text; },
        .error = [this](std::string_view text) { errors_ += text; } }
{
    support::makeDirectory(surroundings_.home);
    support::writeFile(host_, "#!/bin/sh\n", 0755);
}

void BrowserTest::install(std::string_view browser) const
{
    support::writeFile(
        userDataDirectory(*knownBrowser(browser), surroundings_) + "/Local State", "{}");
}

std::string BrowserTest::manifest(std::string_view browser, Scope scope) const
{
    return manifestPath(*knownBrowser(browser), scope, surroundings_);
}

void BrowserTest::leaveManifest(
    std::string_view browser, const std::string& text, Scope scope) const
{
    support::writeFile(manifest(browser, scope), text, 0644);
}

std::string BrowserTest::soundManifest() const
{
    return encode(makeManifest(host_, { identifier }));
}

} // namespace kestranectl
