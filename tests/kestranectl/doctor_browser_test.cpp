#include "tests/kestranectl/doctor_test.h"

#include "tests/support/as_other_user.h"

#include <cstdio>

#include <unistd.h>

namespace kestranectl {
namespace {

using DoctorBrowser = DoctorTest;

constexpr std::string_view notFound = "\"Specified native messaging host not found.\"";
constexpr std::string_view forbidden
    = "\"Access to the specified native messaging host is forbidden.\"";

TEST_F(DoctorBrowser, MayBeMissing)
{
    surroundings.home = root + "/nobody";
    examineAll();
    EXPECT_TRUE(found(Verdict::bad, "browser", "None of the browsers"));
    EXPECT_TRUE(started.empty());
}

TEST_F(DoctorBrowser, IsPassedOverWithoutProfilesUnlessNamed)
{
    examineAll();
    EXPECT_FALSE(found(Verdict::notice, "browser", "Chromium"));
    examineAll({ .browsers = { "chromium" } });
    EXPECT_TRUE(found(Verdict::notice, "browser", "Chromium has no profiles"));
    EXPECT_TRUE(found(Verdict::bad, "manifest", "Chromium finds no manifest"));
    EXPECT_FALSE(found(Verdict::good, "browser", "Google Chrome"));
}

TEST_F(DoctorBrowser, IsNotJudgedWhereItsProfilesAreNotKnown)
{
    examineAll({ .browsers = { "chrome-canary" } });
    EXPECT_TRUE(found(Verdict::unknown, "browser", "Google Chrome Canary"));
    EXPECT_EQ(all(Verdict::bad), "");
}

TEST_F(DoctorBrowser, IsNotTakenForMissingWhereTheSystemDoesNotTell)
{
    if (!support::isRoot())
        GTEST_SKIP() << "only root can act as another user";
    support::setPermissions(root, 0755);
    support::setPermissions(surroundings.home, 0755);
    support::setPermissions(surroundings.home + "/.config", 0700);
    support::asUser(support::unprivilegedUser, [this] {
        examineAll();
        EXPECT_TRUE(found(Verdict::unknown, "browser", "google-chrome cannot be looked at"));
        EXPECT_TRUE(found(Verdict::unknown, "manifest"));
        EXPECT_FALSE(found(Verdict::bad, "manifest"));
        EXPECT_FALSE(found(Verdict::bad, "browser"));
    });
}

TEST_F(DoctorBrowser, FindsNoManifest)
{
    support::writeFile(surroundings.home + "/.config/google-chrome/Local State", "");
    ASSERT_EQ(std::remove(manifest("chrome").c_str()), 0);
    examineAll();
    EXPECT_TRUE(found(Verdict::bad, "manifest",
        "there is no " + manifest("chrome") + " or " + manifest("chrome", Scope::system) + '.'));
    EXPECT_TRUE(found(Verdict::bad, "manifest", notFound));
    EXPECT_EQ(advice(), "Run: kestranectl register --browser chrome");
}

TEST_F(DoctorBrowser, ReadsTheSystemsManifestWhereTheUserHasNone)
{
    ASSERT_EQ(std::remove(manifest("chrome").c_str()), 0);
    leaveManifest("chrome", soundManifest(), Scope::system);
    examineAll();
    EXPECT_TRUE(found(Verdict::good, "manifest", "reads " + manifest("chrome", Scope::system)));
    EXPECT_EQ(all(Verdict::bad), "");
}

TEST_F(DoctorBrowser, ReadsTheUsersManifestFirstEvenIfItIsBroken)
{
    leaveManifest("chrome", "{");
    leaveManifest("chrome", soundManifest(), Scope::system);
    examineAll();
    EXPECT_TRUE(found(Verdict::bad, "manifest", "refuses " + manifest("chrome")));
    EXPECT_TRUE(found(Verdict::bad, "manifest", notFound));
    EXPECT_EQ(advice(), "Run: kestranectl register --browser chrome --force");
    EXPECT_TRUE(started.empty());
}

TEST_F(DoctorBrowser, PassesOverALinkThatLeadsNowhere)
{
    ASSERT_EQ(std::remove(manifest("chrome").c_str()), 0);
    support::makeSymbolicLink("nothing", manifest("chrome"));
    leaveManifest("chrome", soundManifest(), Scope::system);
    examineAll();
    EXPECT_TRUE(found(Verdict::notice, "manifest", "a link that leads nowhere"));
    EXPECT_TRUE(found(Verdict::good, "manifest", "reads " + manifest("chrome", Scope::system)));
}

TEST_F(DoctorBrowser, FollowsALinkToTheManifest)
{
    support::writeFile(root + "/elsewhere", soundManifest(), 0644);
    ASSERT_EQ(std::remove(manifest("chrome").c_str()), 0);
    support::makeSymbolicLink(root + "/elsewhere", manifest("chrome"));
    examineAll();
    EXPECT_EQ(all(Verdict::bad), "");
}

TEST_F(DoctorBrowser, SaysWhichRuleTheManifestBreaks)
{
    Manifest broken = makeManifest(host, { identifier });
    broken.allowedOrigins = { "chrome-extension://" + identifier };
    leaveManifest("chrome", encode(broken));
    examineAll();
    EXPECT_TRUE(found(Verdict::bad, "manifest", "lacks the slash at its end."));
    EXPECT_TRUE(found(Verdict::bad, "manifest", notFound));
}

TEST_F(DoctorBrowser, CannotReadADirectoryOrALargeFile)
{
    leaveManifest("chrome", std::string(16385, ' '));
    examineAll();
    EXPECT_TRUE(found(Verdict::bad, "manifest", "it is larger than 16384 bytes"));
    ASSERT_EQ(std::remove(manifest("chrome").c_str()), 0);
    support::makeDirectory(manifest("chrome"));
    examineAll();
    EXPECT_TRUE(found(Verdict::bad, "manifest", "it is no regular file"));
}

TEST_F(DoctorBrowser, MustLetTheExtensionIn)
{
    examineAll({ .extensionIdentifier = otherIdentifier });
    EXPECT_TRUE(found(Verdict::bad, "extension", otherIdentifier));
    EXPECT_TRUE(found(Verdict::bad, "extension", forbidden));
    EXPECT_EQ(
        advice(), "Run: kestranectl register --browser chrome --extension-id " + otherIdentifier);
    examineAll({ .extensionIdentifier = identifier });
    EXPECT_EQ(all(Verdict::bad), "");
}

TEST_F(DoctorBrowser, MustLetSomeExtensionIn)
{
    leaveManifest("chrome", encode(makeManifest(host, {})));
    examineAll();
    EXPECT_TRUE(found(Verdict::bad, "extension", "lets no extension in"));
}

TEST_F(DoctorBrowser, ReadsAManifestThatOthersCanChange)
{
    support::setPermissions(manifest("chrome"), 0646);
    examineAll();
    EXPECT_TRUE(found(Verdict::bad, "manifest", "can be changed by everybody (permissions 0646)"));
}

TEST_F(DoctorBrowser, FromFlatpakOrSnapCannotStartHosts)
{
    for (const std::string place : { "/.var/app/com.google.Chrome/x",
             "/.var/app/org.chromium.Chromium/x", "/snap/chromium/x" })
        support::writeFile(surroundings.home + place, "");
    examineAll();
    EXPECT_TRUE(found(Verdict::notice, "sandbox", "/.var/app/com.google.Chrome "));
    EXPECT_TRUE(found(Verdict::notice, "sandbox", "/.var/app/org.chromium.Chromium "));
    EXPECT_TRUE(found(Verdict::notice, "sandbox", "/snap/chromium "));
}

TEST_F(DoctorBrowser, MayBeHiddenFromAToolInASandbox)
{
    examineAll();
    EXPECT_EQ(all(Verdict::notice).find("sandbox"), std::string::npos);
    variables["SNAP"] = "/snap/x/1";
    examineAll();
    EXPECT_TRUE(found(Verdict::notice, "sandbox", "This tool runs in a sandbox"));
    variables.erase("SNAP");
    support::writeFile(root + "/.flatpak-info", "");
    examineAll();
    EXPECT_TRUE(found(Verdict::notice, "sandbox", "This tool runs in a sandbox"));
}

TEST_F(DoctorBrowser, MayBeAnotherUsers)
{
    if (!support::isRoot())
        GTEST_SKIP() << "only root can give files away";
    examineAll();
    EXPECT_FALSE(found(Verdict::notice, "user"));
    ASSERT_EQ(
        ::chown(surroundings.home.c_str(), support::unprivilegedUser, support::unprivilegedUser),
        0);
    examineAll();
    EXPECT_TRUE(found(Verdict::notice, "user", "belongs to another user (number 65534)"));
}

TEST_F(DoctorBrowser, MayHaveAnotherEnvironment)
{
    variables["XDG_CONFIG_HOME"] = surroundings.home + "/.config";
    examineAll();
    EXPECT_TRUE(found(Verdict::notice, "environment", "XDG_CONFIG_HOME is "));
    EXPECT_EQ(all(Verdict::bad), "");
}

} // namespace
} // namespace kestranectl
