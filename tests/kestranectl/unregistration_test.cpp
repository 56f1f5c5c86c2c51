#include "kestranectl/registration.h"

#include "tests/kestranectl/browser_test.h"

namespace kestranectl {
namespace {

class UnregisterHost : public BrowserTest {
protected:
    ExitStatus run(const UnregisterOptions& options = {})
    {
        output.clear();
        errors.clear();
        return unregisterHost(options, surroundings, console);
    }
};

TEST_F(UnregisterHost, RemovesTheManifestsOfAllBrowsers)
{
    leaveManifest("chrome", soundManifest());
    leaveManifest("chromium", soundManifest());
    EXPECT_EQ(run(), ExitStatus::success);
    EXPECT_FALSE(support::exists(manifest("chrome")));
    EXPECT_FALSE(support::exists(manifest("chromium")));
    EXPECT_NE(
        output.find("Google Chrome: removed " + manifest("chrome") + '\n'), std::string::npos);
}

TEST_F(UnregisterHost, RemovesTheManifestAlone)
{
    leaveManifest("chrome", soundManifest());
    const std::string other
        = surroundings.home + "/.config/google-chrome/NativeMessagingHosts/org.other.json";
    support::writeFile(other, "{}");
    EXPECT_EQ(run(), ExitStatus::success);
    EXPECT_TRUE(support::exists(other));
}

TEST_F(UnregisterHost, FindsNothingWrongWithAMissingManifest)
{
    EXPECT_EQ(run({ .browsers = { "chrome" } }), ExitStatus::success);
    EXPECT_EQ(output, "Google Chrome: has no " + manifest("chrome") + '\n');
    EXPECT_EQ(errors, "");
}

TEST_F(UnregisterHost, LeavesTheBrowsersThatAreNotNamed)
{
    leaveManifest("chrome", soundManifest());
    leaveManifest("chromium", soundManifest());
    EXPECT_EQ(run({ .browsers = { "chrome" } }), ExitStatus::success);
    EXPECT_FALSE(support::exists(manifest("chrome")));
    EXPECT_TRUE(support::exists(manifest("chromium")));
}

TEST_F(UnregisterHost, LeavesTheOtherScope)
{
    leaveManifest("chrome", soundManifest());
    leaveManifest("chrome", soundManifest(), Scope::system);
    EXPECT_EQ(run({ .scope = Scope::system }), ExitStatus::success);
    EXPECT_TRUE(support::exists(manifest("chrome")));
    EXPECT_FALSE(support::exists(manifest("chrome", Scope::system)));
}

TEST_F(UnregisterHost, RemovesAManifestWhoseHostIsGone)
{
    leaveManifest("chrome", encode(makeManifest(root + "/gone", { identifier })));
    EXPECT_EQ(run(), ExitStatus::success);
    EXPECT_FALSE(support::exists(manifest("chrome")));
}

TEST_F(UnregisterHost, LeavesWhatIsNoManifestUnlessForced)
{
    leaveManifest("chrome", "{}");
    EXPECT_EQ(run(), ExitStatus::problem);
    EXPECT_TRUE(support::exists(manifest("chrome")));
    EXPECT_NE(errors.find("It has no \"name\". Use --force to remove it."), std::string::npos);
    EXPECT_EQ(run({ .force = true }), ExitStatus::success);
    EXPECT_FALSE(support::exists(manifest("chrome")));
}

TEST_F(UnregisterHost, LeavesADirectoryEvenIfForced)
{
    support::writeFile(manifest("chrome") + "/inside", "");
    EXPECT_EQ(run({ .force = true }), ExitStatus::problem);
    EXPECT_TRUE(support::exists(manifest("chrome") + "/inside"));
}

TEST_F(UnregisterHost, RemovesALinkAndNotWhatItLeadsTo)
{
    support::writeFile(root + "/elsewhere", soundManifest());
    support::makeDirectory(surroundings.home + "/.config");
    support::makeDirectory(surroundings.home + "/.config/google-chrome");
    support::makeDirectory(surroundings.home + "/.config/google-chrome/NativeMessagingHosts");
    support::makeSymbolicLink(root + "/elsewhere", manifest("chrome"));
    EXPECT_EQ(run(), ExitStatus::problem);
    EXPECT_EQ(run({ .force = true }), ExitStatus::success);
    EXPECT_FALSE(support::exists(manifest("chrome")));
    EXPECT_TRUE(support::exists(root + "/elsewhere"));
}

TEST_F(UnregisterHost, SaysWhatItWouldDo)
{
    leaveManifest("chrome", soundManifest());
    EXPECT_EQ(run({ .dryRun = true }), ExitStatus::success);
    EXPECT_TRUE(support::exists(manifest("chrome")));
    EXPECT_NE(output.find("Google Chrome: would have removed "), std::string::npos);
}

TEST_F(UnregisterHost, RefusesNamesThatNoBrowserHas)
{
    leaveManifest("chrome", soundManifest());
    EXPECT_EQ(run({ .browsers = { "chrome", "Chrome" } }), ExitStatus::usage);
    EXPECT_TRUE(support::exists(manifest("chrome")));
}

} // namespace
} // namespace kestranectl
