#include "kestranectl/browser_locations.h"

#include "tests/support/environment_variable.h"

#include <gtest/gtest.h>

#include <map>
#include <set>

namespace kestranectl {
namespace {

using platform::OperatingSystem;

Surroundings surroundings(OperatingSystem system, std::map<std::string, std::string> variables = {})
{
    return {
        .system = system,
        .home = "/home/ada",
        .variable
        = [variables = std::move(variables)](const char* name) -> std::optional<std::string> {
            const auto found = variables.find(name);
            return found == variables.end() ? std::nullopt : std::optional(found->second);
        },
        .systemRoot = "/root",
    };
}

std::string userDirectory(std::string_view name, const Surroundings& surroundings)
{
    return userDataDirectory(*knownBrowser(name), surroundings);
}

std::string directory(std::string_view name, Scope scope, OperatingSystem system)
{
    return manifestDirectory(*knownBrowser(name), scope, surroundings(system));
}

TEST(KnownBrowsers, HaveDifferentNamesThatFindThem)
{
    std::set<std::string_view> names;
    for (const BrowserLocation& browser : knownBrowsers()) {
        EXPECT_TRUE(names.insert(browser.name).second) << browser.name;
        EXPECT_EQ(knownBrowser(browser.name), &browser);
    }
    EXPECT_EQ(names,
        (std::set<std::string_view> { "chrome", "chrome-beta", "chrome-dev", "chrome-canary",
            "chrome-for-testing", "chromium" }));
}

TEST(KnownBrowsers, BeginWithTheOneThatIsServed)
{
    EXPECT_EQ(knownBrowsers().front().name, "chrome");
}

TEST(KnownBrowser, IsNoneForAnyOtherName)
{
    EXPECT_EQ(knownBrowser("Chrome"), nullptr);
    EXPECT_EQ(knownBrowser(""), nullptr);
    EXPECT_EQ(knownBrowser("chromium "), nullptr);
}

TEST(UserDataDirectory, IsBelowApplicationSupportOnMacOS)
{
    const auto mac = surroundings(OperatingSystem::macOS, { { "XDG_CONFIG_HOME", "/x" } });
    const std::string support = "/home/ada/Library/Application Support/";
    EXPECT_EQ(userDirectory("chrome", mac), support + "Google/Chrome");
    EXPECT_EQ(userDirectory("chrome-beta", mac), support + "Google/Chrome Beta");
    EXPECT_EQ(userDirectory("chrome-dev", mac), support + "Google/Chrome Dev");
    EXPECT_EQ(userDirectory("chrome-canary", mac), support + "Google/Chrome Canary");
    EXPECT_EQ(userDirectory("chrome-for-testing", mac), support + "Google/Chrome for Testing");
    EXPECT_EQ(userDirectory("chromium", mac), support + "Chromium");
}

TEST(UserDataDirectory, IsBelowTheConfigurationDirectoryOnLinux)
{
    const auto linux = surroundings(OperatingSystem::linux);
    const std::string configuration = "/home/ada/.config/";
    EXPECT_EQ(userDirectory("chrome", linux), configuration + "google-chrome");
    EXPECT_EQ(userDirectory("chrome-beta", linux), configuration + "google-chrome-beta");
    EXPECT_EQ(userDirectory("chrome-dev", linux), configuration + "google-chrome-unstable");
    EXPECT_EQ(
        userDirectory("chrome-for-testing", linux), configuration + "google-chrome-for-testing");
    EXPECT_EQ(userDirectory("chromium", linux), configuration + "chromium");
}

TEST(UserDataDirectory, FollowsTheVariablesOnLinuxInTheirOrder)
{
    const std::pair<std::string, std::string> xdg { "XDG_CONFIG_HOME", "/xdg" };
    const std::pair<std::string, std::string> own { "CHROME_CONFIG_HOME", "/own" };
    EXPECT_EQ(
        userDirectory("chromium", surroundings(OperatingSystem::linux, { xdg })), "/xdg/chromium");
    EXPECT_EQ(userDirectory("chromium", surroundings(OperatingSystem::linux, { xdg, own })),
        "/own/chromium");
}

TEST(UserDataDirectory, PassesOverVariablesThatAreNoAbsolutePath)
{
    const auto linux = surroundings(
        OperatingSystem::linux, { { "CHROME_CONFIG_HOME", "own" }, { "XDG_CONFIG_HOME", "" } });
    EXPECT_EQ(userDirectory("chromium", linux), "/home/ada/.config/chromium");
}

TEST(UserDataDirectory, IsEmptyWhereItIsNotKnown)
{
    EXPECT_EQ(userDirectory("chrome-canary", surroundings(OperatingSystem::linux)), "");
}

TEST(ManifestDirectory, OfTheUserIsBelowTheUserDataDirectory)
{
    EXPECT_EQ(directory("chrome", Scope::user, OperatingSystem::linux),
        "/home/ada/.config/google-chrome/NativeMessagingHosts");
    EXPECT_EQ(directory("chromium", Scope::user, OperatingSystem::macOS),
        "/home/ada/Library/Application Support/Chromium/NativeMessagingHosts");
}

TEST(ManifestDirectory, OfTheSystemIsFixedForEachBrowser)
{
    for (const std::string_view channel : { "chrome", "chrome-beta", "chrome-dev" }) {
        EXPECT_EQ(directory(channel, Scope::system, OperatingSystem::linux),
            "/root/etc/opt/chrome/native-messaging-hosts");
        EXPECT_EQ(directory(channel, Scope::system, OperatingSystem::macOS),
            "/root/Library/Google/Chrome/NativeMessagingHosts");
    }
    EXPECT_EQ(directory("chromium", Scope::system, OperatingSystem::linux),
        "/root/etc/chromium/native-messaging-hosts");
    EXPECT_EQ(directory("chromium", Scope::system, OperatingSystem::macOS),
        "/root/Library/Application Support/Chromium/NativeMessagingHosts");
}

TEST(ManifestDirectory, IsEmptyWhereItIsNotKnown)
{
    EXPECT_EQ(directory("chrome-canary", Scope::user, OperatingSystem::linux), "");
    EXPECT_EQ(directory("chrome-canary", Scope::system, OperatingSystem::linux), "");
    EXPECT_EQ(directory("chrome-for-testing", Scope::system, OperatingSystem::linux), "");
    EXPECT_EQ(directory("chrome-for-testing", Scope::system, OperatingSystem::macOS), "");
}

TEST(CurrentSurroundings, TakeTheHomeDirectoryFromTheEnvironment)
{
    const support::ScopedVariable home("HOME", "/somewhere");
    EXPECT_EQ(currentSurroundings().home, "/somewhere");
    EXPECT_EQ(currentSurroundings().variable("HOME"), "/somewhere");
    EXPECT_EQ(currentSurroundings().systemRoot, "");
    EXPECT_EQ(currentSurroundings().system, platform::currentOperatingSystem);
}

TEST(CurrentSurroundings, PassOverAHomeThatIsNoAbsolutePath)
{
    const support::ScopedVariable home("HOME", "somewhere");
    EXPECT_TRUE(currentSurroundings().home.starts_with('/')) << currentSurroundings().home;
}

} // namespace
} // namespace kestranectl
