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
    support::writeFile(root_ + "/bundle" + fileName, "");
    EXPECT_EQ(installedHostPath(root_ + "/bundle/kestranectl"), root_ + "/bundle" + fileName);
}

TEST_F(InstalledHostPath, IsInTheDirectoryForProgramsThatNobodyStarts)
{
    support::writeFile(root_ + "/libexec/kestrane" + fileName, "");
    EXPECT_EQ(
        installedHostPath(root_ + "/bin/kestranectl"), root_ + "/libexec/kestrane" + fileName);
}

TEST_F(InstalledHostPath, PrefersTheToolsOwnDirectory)
{
    support::writeFile(root_ + "/bin" + fileName, "");
    support::writeFile(root_ + "/libexec/kestrane" + fileName, "");
    EXPECT_EQ(installedHostPath(root_ + "/bin/kestranectl"), root_ + "/bin" + fileName);
}

TEST_F(InstalledHostPath, IsEmptyWhereThereIsNone)
{
    support::makeDirectory(root_ + "/bin" + fileName);
    EXPECT_EQ(installedHostPath(root_ + "/bin/kestranectl"), "");
    EXPECT_EQ(installedHostPath(""), "");
    EXPECT_EQ(installedHostPath("/kestranectl"), "");
}

TEST_F(WhyNotLasting, NamesTemporaryDirectories)
{
    for (const std::string place : { "/tmp", "/var/tmp", "/dev/shm", "/run" }) {
        EXPECT_TRUE(whyNotLasting(root_ + place + "/host", surroundings_)) << place;
        EXPECT_FALSE(whyNotLasting(root_ + place + "s/host", surroundings_)) << place;
    }
    surroundings_.system = platform::OperatingSystem::macOS;
    for (const std::string place : { "/tmp", "/private/var/folders/xy" })
        EXPECT_TRUE(whyNotLasting(root_ + place + "/host", surroundings_)) << place;
}

TEST_F(WhyNotLasting, NamesTheUsersOwnTemporaryDirectory)
{
    EXPECT_FALSE(whyNotLasting("/scratch/host", surroundings_));
    variables_["TMPDIR"] = "/scratch/";
    EXPECT_TRUE(whyNotLasting("/scratch/host", surroundings_));
    EXPECT_FALSE(whyNotLasting("/scratches/host", surroundings_));
    variables_["TMPDIR"] = "/";
    EXPECT_FALSE(whyNotLasting("/scratch/host", surroundings_));
}

TEST_F(WhyNotLasting, NamesOtherVolumesOnMacOSAlone)
{
    EXPECT_FALSE(whyNotLasting(root_ + "/Volumes/Kestrane/host", surroundings_));
    surroundings_.system = platform::OperatingSystem::macOS;
    EXPECT_TRUE(whyNotLasting(root_ + "/Volumes/Kestrane/host", surroundings_));
    EXPECT_FALSE(whyNotLasting("/Applications/Kestrane.app/host", surroundings_));
}

TEST_F(WhyNotLasting, NamesMovedApplications)
{
    EXPECT_TRUE(whyNotLasting("/x/AppTranslocation/1/Kestrane.app/host", surroundings_));
}

TEST_F(UsableHostPath, IsTheAbsolutePathWithItsLinks)
{
    support::makeSymbolicLink(host_, root_ + "/current");
    EXPECT_EQ(usableHostPath(root_ + "/current", surroundings_), root_ + "/current");
}

TEST_F(UsableHostPath, IsMadeAbsolute)
{
    ASSERT_EQ(::chdir(root_.c_str()), 0);
    EXPECT_EQ(usableHostPath("opt/../opt/host", surroundings_), host_);
    ASSERT_EQ(::chdir("/"), 0);
}

TEST_F(UsableHostPath, RefusesWhatIsNoExecutableFile)
{
    support::writeFile(root_ + "/text", "", 0644);
    EXPECT_FALSE(usableHostPath(root_ + "/text", surroundings_));
    EXPECT_FALSE(usableHostPath(root_ + "/opt", surroundings_));
    EXPECT_FALSE(usableHostPath(root_ + "/nothing", surroundings_));
    EXPECT_FALSE(usableHostPath("nothing", surroundings_));
}

TEST_F(UsableHostPath, RefusesALinkIntoAPlaceThatDoesNotLast)
{
    support::writeFile(root_ + "/tmp/host", "", 0755);
    support::makeSymbolicLink(root_ + "/tmp/host", root_ + "/current");
    EXPECT_FALSE(usableHostPath(root_ + "/current", surroundings_));
}

TEST_F(UsableHostPath, RefusesAPathThatIsNoText)
{
    support::writeFile(root_ + "/\xFFhost", "", 0755);
    EXPECT_FALSE(usableHostPath(root_ + "/\xFFhost", surroundings_));
}

TEST_F(UsableHostPath, IsTheInstalledOneWhereNoneIsNamed)
{
    // There is no host beside the test program.
    const auto path = usableHostPath("", surroundings_);
    ASSERT_FALSE(path);
    EXPECT_EQ(path.error(),
        "There is no host beside this tool or in ../libexec/kestrane; say where it is with "
        "--host.");
}

} // namespace
} // namespace kestranectl
