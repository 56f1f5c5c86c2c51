#include "kestranectl/registration.h"

#include "tests/kestranectl/browser_test.h"
#include "tests/support/as_other_user.h"

namespace kestranectl {
namespace {

class RegisterHost : public BrowserTest {
protected:
    ExitStatus run(RegisterOptions options = {})
    {
        output.clear();
        errors.clear();
        if (options.hostPath.empty())
            options.hostPath = host;
        if (options.extensionIdentifiers.empty())
            options.extensionIdentifiers = { identifier };
        return registerHost(options, surroundings, console);
    }
};

TEST_F(RegisterHost, WritesAManifestForEveryBrowserOfTheUser)
{
    install("chrome");
    install("chromium");
    EXPECT_EQ(run(), ExitStatus::success);
    EXPECT_EQ(support::readFile(manifest("chrome")), soundManifest());
    EXPECT_EQ(support::readFile(manifest("chromium")), soundManifest());
    EXPECT_FALSE(support::exists(surroundings.home + "/.config/google-chrome-beta"));
    EXPECT_NE(output.find("Google Chrome: wrote " + manifest("chrome") + '\n'), std::string::npos);
    EXPECT_NE(output.find("Google Chrome Beta: skipped"), std::string::npos);
    EXPECT_EQ(errors, "");
}

TEST_F(RegisterHost, LetsEverybodyReadTheManifest)
{
    const support::ScopedUmask mask(077);
    install("chrome");
    EXPECT_EQ(run(), ExitStatus::success);
    EXPECT_EQ(support::permissionsOf(manifest("chrome")), 0644U);
}

TEST_F(RegisterHost, LeavesNothingElse)
{
    install("chrome");
    EXPECT_EQ(run(), ExitStatus::success);
    EXPECT_EQ(support::namesIn(surroundings.home + "/.config/google-chrome/NativeMessagingHosts"),
        (std::vector { std::string(manifestFileName) }));
}

TEST_F(RegisterHost, WritesForTheBrowsersThatAreNamedAlone)
{
    install("chrome");
    install("chromium");
    EXPECT_EQ(run({ .browsers = { "chromium" } }), ExitStatus::success);
    EXPECT_FALSE(support::exists(manifest("chrome")));
    EXPECT_TRUE(support::exists(manifest("chromium")));
}

TEST_F(RegisterHost, SaysThatANamedBrowserIsMissing)
{
    install("chrome");
    EXPECT_EQ(run({ .browsers = { "chrome-beta", "chrome" } }), ExitStatus::problem);
    EXPECT_TRUE(errors.starts_with("Google Chrome Beta: skipped, as it has no profiles in "));
    EXPECT_FALSE(support::exists(surroundings.home + "/.config/google-chrome-beta"));
    EXPECT_TRUE(support::exists(manifest("chrome")));
}

TEST_F(RegisterHost, SaysThatNoBrowserWasFound)
{
    EXPECT_EQ(run(), ExitStatus::problem);
    EXPECT_EQ(errors, "No browser was found, so nothing was written.\n");
}

TEST_F(RegisterHost, SaysWhereItIsNotKnownWhereABrowserLooks)
{
    EXPECT_EQ(run({ .browsers = { "chrome-canary" } }), ExitStatus::problem);
    EXPECT_EQ(errors,
        "Google Chrome Canary: skipped, as it is not known where it looks for hosts here\n");
}

TEST_F(RegisterHost, WritesNothingTwice)
{
    install("chrome");
    EXPECT_EQ(run(), ExitStatus::success);
    EXPECT_EQ(run(), ExitStatus::success);
    EXPECT_NE(output.find(manifest("chrome") + " is up to date\n"), std::string::npos);
}

TEST_F(RegisterHost, RepairsThePermissionsOfAManifest)
{
    install("chrome");
    leaveManifest("chrome", soundManifest());
    support::setPermissions(manifest("chrome"), 0600);
    EXPECT_EQ(run(), ExitStatus::success);
    EXPECT_EQ(support::permissionsOf(manifest("chrome")), 0644U);
}

TEST_F(RegisterHost, ReplacesAManifestOfTheSameHost)
{
    install("chrome");
    leaveManifest("chrome", encode(makeManifest(host, { otherIdentifier })));
    EXPECT_EQ(run(), ExitStatus::success);
    EXPECT_EQ(support::readFile(manifest("chrome")), soundManifest());
    EXPECT_NE(output.find("replaced "), std::string::npos);
}

TEST_F(RegisterHost, ReplacesAManifestThatNamesTheSameHostByALink)
{
    install("chrome");
    support::makeSymbolicLink(host, root + "/current");
    leaveManifest("chrome", encode(makeManifest(root + "/current", { identifier })));
    EXPECT_EQ(run(), ExitStatus::success);
    EXPECT_EQ(support::readFile(manifest("chrome")), soundManifest());
}

TEST_F(RegisterHost, ReplacesAManifestWhoseHostIsGone)
{
    install("chrome");
    leaveManifest("chrome", encode(makeManifest(root + "/gone", { identifier })));
    EXPECT_EQ(run(), ExitStatus::success);
    EXPECT_EQ(support::readFile(manifest("chrome")), soundManifest());
}

TEST_F(RegisterHost, LeavesAManifestOfAnotherHostUnlessForced)
{
    install("chrome");
    support::writeFile(root + "/other", "", 0755);
    const std::string text = encode(makeManifest(root + "/other", { identifier }));
    leaveManifest("chrome", text);
    EXPECT_EQ(run(), ExitStatus::problem);
    EXPECT_EQ(support::readFile(manifest("chrome")), text);
    EXPECT_NE(errors.find("it names another host, " + root + "/other"), std::string::npos);
    EXPECT_EQ(run({ .force = true }), ExitStatus::success);
    EXPECT_EQ(support::readFile(manifest("chrome")), soundManifest());
}

TEST_F(RegisterHost, LeavesWhatIsNoManifestUnlessForced)
{
    install("chrome");
    leaveManifest("chrome", "{\x1b");
    EXPECT_EQ(run(), ExitStatus::problem);
    EXPECT_EQ(support::readFile(manifest("chrome")), "{\x1b");
    EXPECT_EQ(run({ .force = true }), ExitStatus::success);
    EXPECT_EQ(support::readFile(manifest("chrome")), soundManifest());
}

TEST_F(RegisterHost, LeavesALinkUnlessForcedAndNeverWritesThroughIt)
{
    install("chrome");
    support::writeFile(root + "/elsewhere", soundManifest());
    support::makeDirectory(surroundings.home + "/.config/google-chrome/NativeMessagingHosts");
    support::makeSymbolicLink(root + "/elsewhere", manifest("chrome"));
    EXPECT_EQ(run({ .extensionIdentifiers = { otherIdentifier } }), ExitStatus::problem);
    EXPECT_EQ(
        run({ .extensionIdentifiers = { otherIdentifier }, .force = true }), ExitStatus::success);
    EXPECT_EQ(support::readFile(root + "/elsewhere"), soundManifest());
    EXPECT_EQ(
        support::readFile(manifest("chrome")), encode(makeManifest(host, { otherIdentifier })));
}

TEST_F(RegisterHost, LeavesADirectoryEvenIfForced)
{
    install("chrome");
    support::writeFile(manifest("chrome") + "/inside", "");
    EXPECT_EQ(run({ .force = true }), ExitStatus::problem);
    EXPECT_NE(errors.find("it is a directory; remove it yourself."), std::string::npos) << errors;
    EXPECT_TRUE(support::exists(manifest("chrome") + "/inside"));
}

TEST_F(RegisterHost, SaysWhatItWouldDo)
{
    install("chrome");
    EXPECT_EQ(run({ .dryRun = true }), ExitStatus::success);
    EXPECT_NE(output.find("Google Chrome: would have written " + manifest("chrome") + '\n'),
        std::string::npos);
    EXPECT_EQ(support::namesIn(surroundings.home + "/.config/google-chrome"),
        std::vector<std::string> { "Local State" });
}

TEST_F(RegisterHost, ChecksNamesBeforeAnythingElse)
{
    install("chrome");
    EXPECT_EQ(run({ .browsers = { "chrome", "netscape\x1b" },
                  .extensionIdentifiers = { "wrong" },
                  .hostPath = "wrong" }),
        ExitStatus::usage);
    EXPECT_TRUE(errors.starts_with("No browser is known as \"netscape\\x1B\"; known are chrome, "));
    EXPECT_FALSE(support::exists(manifest("chrome")));
}

TEST_F(RegisterHost, ChecksIdentifiersBeforeTheHost)
{
    install("chrome");
    EXPECT_EQ(run({ .extensionIdentifiers = { identifier, "abc" }, .hostPath = "wrong" }),
        ExitStatus::usage);
    EXPECT_TRUE(errors.starts_with("\"abc\" is no extension identifier")) << errors;
    EXPECT_FALSE(support::exists(manifest("chrome")));
}

TEST_F(RegisterHost, NeedsAnExtension)
{
    // The tests are built without the extension's identifiers.
    EXPECT_EQ(registerHost({ .hostPath = host }, surroundings, console), ExitStatus::usage);
    EXPECT_TRUE(errors.starts_with("This build knows no extension;")) << errors;
}

TEST_F(RegisterHost, RefusesAHostThatNoBrowserCouldStart)
{
    install("chrome");
    EXPECT_EQ(run({ .hostPath = root + "/nothing" }), ExitStatus::problem);
    EXPECT_FALSE(support::exists(manifest("chrome")));
}

TEST_F(RegisterHost, WritesForTheSystemWhereABrowserIs)
{
    install("chrome");
    support::makeDirectory(root + "/etc");
    support::makeDirectory(root + "/etc/chromium");
    EXPECT_EQ(run({ .scope = Scope::system }), ExitStatus::success) << errors;
    EXPECT_EQ(support::readFile(manifest("chrome", Scope::system)), soundManifest());
    EXPECT_EQ(support::readFile(manifest("chromium", Scope::system)), soundManifest());
    EXPECT_EQ(support::permissionsOf(root + "/etc/opt/chrome/native-messaging-hosts"), 0755U);
    EXPECT_FALSE(support::exists(manifest("chrome")));
}

TEST_F(RegisterHost, WritesForTheSystemWhereABrowserIsNamed)
{
    EXPECT_EQ(run({ .browsers = { "chromium" }, .scope = Scope::system }), ExitStatus::success);
    EXPECT_TRUE(support::exists(manifest("chromium", Scope::system)));
    EXPECT_EQ(run({ .scope = Scope::system }), ExitStatus::success);
    EXPECT_FALSE(support::exists(manifest("chrome", Scope::system)));
}

TEST_F(RegisterHost, WritesAManifestThatBrowsersShareOnce)
{
    EXPECT_EQ(run({ .browsers = { "chrome", "chrome-beta" }, .scope = Scope::system }),
        ExitStatus::success);
    const std::string path = manifest("chrome", Scope::system);
    EXPECT_EQ(
        output, "Google Chrome: wrote " + path + "\nGoogle Chrome Beta: shares " + path + '\n');
}

TEST_F(RegisterHost, SaysWhatKeepsItFromWriting)
{
    install("chrome");
    support::makeDirectory(surroundings.home + "/.config/google-chrome/NativeMessagingHosts", 0500);
    support::setPermissions(root, 0755);
    const auto check = [this] {
        EXPECT_EQ(run({ .browsers = { "chrome" } }), ExitStatus::problem);
        EXPECT_NE(errors.find("failed: Permission denied."), std::string::npos) << errors;
    };
    if (support::isRoot()) {
        support::setPermissions(surroundings.home, 0755);
        support::setPermissions(surroundings.home + "/.config", 0755);
        support::setPermissions(surroundings.home + "/.config/google-chrome", 0755);
        support::setPermissions(
            surroundings.home + "/.config/google-chrome/NativeMessagingHosts", 0755);
        support::setPermissions(root + "/opt", 0755);
    }
    support::asOrdinaryUser(check);
}

} // namespace
} // namespace kestranectl
