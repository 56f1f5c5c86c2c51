#include "tests/bridge/bridge_directory.h"

#include <string>

namespace bridge {

namespace {

using support::FileOperation;
using support::permissionsOf;

} // namespace

TEST(EnsurePrivateDirectory, MakesTheDirectoryAndAllMissingOnesAboveIt)
{
    for (const unsigned mask : { 0U, 022U, 077U, 0777U }) {
        const BridgeDirectory bridge;
        const support::ScopedUmask umask(mask);
        ASSERT_TRUE(ensurePrivateDirectory(bridge / "a/b/c", bridge.fileSystem));
        for (const char* const name : { "a", "a/b", "a/b/c" })
            EXPECT_EQ(permissionsOf(bridge / name), 0700U) << name << ", umask " << mask;
    }
}

TEST(EnsurePrivateDirectory, NarrowsAnExistingDirectory)
{
    for (const unsigned permissions : { 0755U, 0777U, 01777U, 0700U, 0711U, 0600U }) {
        const BridgeDirectory bridge;
        support::makeDirectory(bridge / "a", permissions);
        ASSERT_TRUE(ensurePrivateDirectory(bridge / "a", bridge.fileSystem));
        EXPECT_EQ(permissionsOf(bridge / "a"), 0700U) << std::oct << permissions;
    }
}

TEST(EnsurePrivateDirectory, LeavesExistingDirectoriesAboveAsTheyAre)
{
    const BridgeDirectory bridge;
    support::makeDirectory(bridge / "a", 0755);
    ASSERT_TRUE(ensurePrivateDirectory(bridge / "a/b/c", bridge.fileSystem));
    EXPECT_EQ(permissionsOf(bridge / "a"), 0755U);
    EXPECT_EQ(permissionsOf(bridge / "a/b"), 0700U);
    EXPECT_EQ(permissionsOf(bridge / "a/b/c"), 0700U);
}

TEST(EnsurePrivateDirectory, KeepsWhatTheDirectoryHolds)
{
    const BridgeDirectory bridge;
    support::writeFile(bridge / "a/file", "contents", 0644);
    ASSERT_TRUE(ensurePrivateDirectory(bridge / "a", bridge.fileSystem));
    EXPECT_EQ(support::readFile(bridge / "a/file"), "contents");
    EXPECT_EQ(permissionsOf(bridge / "a/file"), 0644U);
}

TEST(EnsurePrivateDirectory, NarrowsTheTargetOfALink)
{
    const BridgeDirectory bridge;
    support::makeDirectory(bridge / "elsewhere", 0755);
    support::makeSymbolicLink("elsewhere", bridge / "a");
    ASSERT_TRUE(ensurePrivateDirectory(bridge / "a", bridge.fileSystem));
    EXPECT_EQ(permissionsOf(bridge / "elsewhere"), 0700U);
}

TEST(EnsurePrivateDirectory, FailsWhereThereIsAFile)
{
    const BridgeDirectory bridge;
    support::writeFile(bridge / "a", "contents", 0644);
    const auto ensured = ensurePrivateDirectory(bridge / "a", bridge.fileSystem);
    ASSERT_FALSE(ensured);
    EXPECT_EQ(ensured.error(), platform::FileError { EEXIST });
    EXPECT_EQ(support::readFile(bridge / "a"), "contents");
    EXPECT_EQ(permissionsOf(bridge / "a"), 0644U);
}

TEST(EnsurePrivateDirectory, FailsBelowAFile)
{
    const BridgeDirectory bridge;
    support::writeFile(bridge / "a", "contents");
    const auto ensured = ensurePrivateDirectory(bridge / "a/b", bridge.fileSystem);
    ASSERT_FALSE(ensured);
    EXPECT_EQ(ensured.error(), platform::FileError { ENOTDIR });
}

TEST(EnsurePrivateDirectory, FailsForADanglingLinkAndMakesNothing)
{
    const BridgeDirectory bridge;
    support::makeSymbolicLink("missing", bridge / "a");
    EXPECT_FALSE(ensurePrivateDirectory(bridge / "a", bridge.fileSystem));
    EXPECT_FALSE(support::exists(bridge / "missing"));
}

TEST(EnsurePrivateDirectory, PassesOnAnErrorOfMakingTheDirectory)
{
    for (const int code : everydayErrors) {
        BridgeDirectory bridge;
        bridge.fileSystem.failOperation(FileOperation::createDirectories, code);
        const auto ensured = ensurePrivateDirectory(bridge / "a", bridge.fileSystem);
        ASSERT_FALSE(ensured);
        EXPECT_EQ(ensured.error(), platform::FileError { code });
        EXPECT_FALSE(support::exists(bridge / "a"));
    }
}

TEST(EnsurePrivateDirectory, PassesOnAnErrorOfSettingPermissions)
{
    for (const int code : everydayErrors) {
        for (const bool isThere : { false, true }) {
            BridgeDirectory bridge;
            if (isThere)
                support::makeDirectory(bridge / "a", 0755);
            bridge.fileSystem.failOperation(FileOperation::setDirectoryPermissions, code);
            const auto ensured = ensurePrivateDirectory(bridge / "a", bridge.fileSystem);
            ASSERT_FALSE(ensured);
            EXPECT_EQ(ensured.error(), platform::FileError { code });
        }
    }
}

} // namespace bridge
