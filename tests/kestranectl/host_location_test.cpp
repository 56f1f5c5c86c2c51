#include "kestranectl/host_location.h"

#include "tests/kestranectl/browser_test.h"

#include <unistd.h>

namespace kestranectl {
namespace {

using InstalledHostPath = BrowserTest;
using WhyNotLasting = BrowserTest;
using UsableHostPath = BrowserTest;

const std::string fileName = "/kestrane-native-host";

TEST_F(InstalledHostPath, IsBesideTheTool)
{
    support::writeFile(root + "/bundle" + fileName, "");
    EXPECT_EQ(installedHostPath(root + "/bundle/kestranectl"), root + "/bundle" + fileName);
}

TEST_F(InstalledHostPath, IsInTheDirectoryForProgramsThatNobodyStarts)
{
    support::writeFile(root + "/libexec/kestrane" + fileName, "");
    EXPECT_EQ(installedHostPath(root + "/bin/kestranectl"), root + "/libexec/kestrane" + fileName);
}

TEST_F(InstalledHostPath, PrefersTheToolsOwnDirectory)
{
    support::writeFile(root + "/bin" + fileName, "");
    support::writeFile(root + "/libexec/kestrane" + fileName, "");
    EXPECT_EQ(installedHostPath(root + "/bin/kestranectl"), root + "/bin" + fileName);
}

TEST_F(InstalledHostPath, IsEmptyWhereThereIsNone)
{
    support::makeDirectory(root + "/bin" + fileName);
    EXPECT_EQ(installedHostPath(root + "/bin/kestranectl"), "");
    EXPECT_EQ(installedHostPath(""), "");
    EXPECT_EQ(installedHostPath("/kestranectl"), "");
}

TEST_F(WhyNotLasting, NamesTemporaryDirectories)
{
    for (const std::string place : { "/tmp", "/var/tmp", "/dev/shm", "/run" }) {
        EXPECT_TRUE(whyNotLasting(root + place + "/host", surroundings)) << place;
        EXPECT_FALSE(whyNotLasting(root + place + "s/host", surroundings)) << place;
    }
    surroundings.system = platform::OperatingSystem::macOS;
    for (const std::string place : { "/tmp", "/private/var/folders/xy" })
        EXPECT_TRUE(whyNotLasting(root + place + "/host", surroundings)) << place;
}

TEST_F(WhyNotLasting, NamesTheUsersOwnTemporaryDirectory)
{
    EXPECT_FALSE(whyNotLasting("/scratch/host", surroundings));
    variables["TMPDIR"] = "/scratch/";
    EXPECT_TRUE(whyNotLasting("/scratch/host", surroundings));
    EXPECT_FALSE(whyNotLasting("/scratches/host", surroundings));
    variables["TMPDIR"] = "/";
    EXPECT_FALSE(whyNotLasting("/scratch/host", surroundings));
}

TEST_F(WhyNotLasting, NamesOtherVolumesOnMacOSAlone)
{
    EXPECT_FALSE(whyNotLasting(root + "/Volumes/Kestrane/host", surroundings));
    surroundings.system = platform::OperatingSystem::macOS;
    EXPECT_TRUE(whyNotLasting(root + "/Volumes/Kestrane/host", surroundings));
    EXPECT_FALSE(whyNotLasting("/Applications/Kestrane.app/host", surroundings));
}

TEST_F(WhyNotLasting, NamesMovedApplications)
{
    EXPECT_TRUE(whyNotLasting("/x/AppTranslocation/1/Kestrane.app/host", surroundings));
}

TEST_F(UsableHostPath, IsTheAbsolutePathWithItsLinks)
{
    support::makeSymbolicLink(host, root + "/current");
    EXPECT_EQ(usableHostPath(root + "/current", surroundings), root + "/current");
}

TEST_F(UsableHostPath, IsMadeAbsolute)
{
    ASSERT_EQ(::chdir(root.c_str()), 0);
    EXPECT_EQ(usableHostPath("opt/../opt/host", surroundings), host);
    ASSERT_EQ(::chdir("/"), 0);
}

TEST_F(UsableHostPath, RefusesWhatIsNoExecutableFile)
{
    support::writeFile(root + "/text", "", 0644);
    EXPECT_FALSE(usableHostPath(root + "/text", surroundings));
    EXPECT_FALSE(usableHostPath(root + "/opt", surroundings));
    EXPECT_FALSE(usableHostPath(root + "/nothing", surroundings));
    EXPECT_FALSE(usableHostPath("nothing", surroundings));
}

TEST_F(UsableHostPath, RefusesALinkIntoAPlaceThatDoesNotLast)
{
    support::writeFile(root + "/tmp/host", "", 0755);
    support::makeSymbolicLink(root + "/tmp/host", root + "/current");
    EXPECT_FALSE(usableHostPath(root + "/current", surroundings));
}

TEST_F(UsableHostPath, RefusesAPathThatIsNoText)
{
    support::writeFile(root + "/\xFFhost", "", 0755);
    EXPECT_FALSE(usableHostPath(root + "/\xFFhost", surroundings));
}

TEST_F(UsableHostPath, IsTheInstalledOneWhereNoneIsNamed)
{
    // There is no host beside the test program.
    const auto path = usableHostPath("", surroundings);
    ASSERT_FALSE(path);
    EXPECT_EQ(path.error(),
        "There is no host beside this tool or in ../libexec/kestrane; say where it is with "
        "--host.");
}

} // namespace
} // namespace kestranectl
