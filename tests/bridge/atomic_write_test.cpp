#include "tests/bridge/bridge_directory.h"

#include <filesystem>
#include <string>
#include <vector>

namespace bridge {

namespace {

using support::FileOperation;
using support::namesIn;
using support::permissionsOf;
using support::readFile;

using Names = std::vector<std::string>;

platform::FileResult<void> write(const BridgeDirectory& bridge, std::string_view bytes = "new")
{
    const auto written = writePrivateFileAtomically(bytes, bridge / "file", bridge.fileSystem);
    EXPECT_EQ(bridge.fileSystem.openFileCount(), 0);
    return written;
}

// The number of the call of setting permissions that comes after the rename.
int lastPermissionsCall()
{
    const BridgeDirectory bridge;
    EXPECT_TRUE(write(bridge));
    int number = 0;
    int last = 0;
    for (const FileOperation operation : bridge.fileSystem.calls()) {
        ++number;
        if (operation == FileOperation::setPermissions)
            last = number;
    }
    return last;
}

} // namespace

TEST(WritePrivateFileAtomically, LeavesTheFileAloneInTheDirectory)
{
    const BridgeDirectory bridge;
    ASSERT_TRUE(write(bridge, std::string("a\0\xFF\n", 4)));
    EXPECT_EQ(readFile(bridge / "file"), std::string("a\0\xFF\n", 4));
    EXPECT_EQ(permissionsOf(bridge / "file"), 0600U);
    EXPECT_EQ(namesIn(bridge.path()), Names { "file" });
}

TEST(WritePrivateFileAtomically, WritesAnEmptyFile)
{
    const BridgeDirectory bridge;
    ASSERT_TRUE(write(bridge, ""));
    EXPECT_EQ(readFile(bridge / "file"), "");
}

TEST(WritePrivateFileAtomically, GivesPrivatePermissionsUnderAnyUmask)
{
    for (const unsigned mask : { 0U, 022U, 077U, 0777U }) {
        const BridgeDirectory bridge;
        const support::ScopedUmask umask(mask);
        ASSERT_TRUE(write(bridge));
        EXPECT_EQ(permissionsOf(bridge / "file"), 0600U) << std::oct << mask;
    }
}

TEST(WritePrivateFileAtomically, ReplacesAFileWithItsPermissions)
{
    for (const unsigned permissions : { 0644U, 0666U, 0400U, 0U, 0600U }) {
        const BridgeDirectory bridge;
        support::writeFile(bridge / "file", "a longer old text", permissions);
        ASSERT_TRUE(write(bridge));
        EXPECT_EQ(readFile(bridge / "file"), "new");
        EXPECT_EQ(permissionsOf(bridge / "file"), 0600U);
    }
}

TEST(WritePrivateFileAtomically, ReplacesALinkAndNotItsTarget)
{
    const BridgeDirectory bridge;
    support::writeFile(bridge / "target", "old", 0644);
    support::makeSymbolicLink("target", bridge / "file");
    ASSERT_TRUE(write(bridge));
    EXPECT_EQ(readFile(bridge / "target"), "old");
    EXPECT_EQ(permissionsOf(bridge / "target"), 0644U);
    EXPECT_FALSE(std::filesystem::is_symlink(bridge / "file"));
    EXPECT_EQ(readFile(bridge / "file"), "new");
}

TEST(WritePrivateFileAtomically, ShowsTheFinalNameOnlyWithTheWholeFile)
{
    BridgeDirectory bridge;
    support::writeFile(bridge / "file", "old");
    std::vector<std::string> seen;
    bridge.fileSystem.beforeCall([&](FileOperation, const std::string&) {
        const std::string contents = readFile(bridge / "file");
        if (seen.empty() || seen.back() != contents)
            seen.push_back(contents);
    });
    ASSERT_TRUE(write(bridge));
    EXPECT_EQ(seen, (std::vector<std::string> { "old", "new" }));
}

TEST(WritePrivateFileAtomically, IsPrivateBeforeItTakesTheFinalName)
{
    BridgeDirectory bridge;
    const support::ScopedUmask umask(0);
    unsigned permissions = 0;
    bridge.fileSystem.beforeCall([&](FileOperation operation, const std::string& path) {
        if (operation == FileOperation::rename)
            permissions = permissionsOf(path);
    });
    ASSERT_TRUE(write(bridge));
    EXPECT_EQ(permissions, 0600U);
}

TEST(WritePrivateFileAtomically, NamesTheTemporaryFileAfterTheFinalOne)
{
    BridgeDirectory bridge;
    Names created;
    bridge.fileSystem.beforeCall([&](FileOperation operation, const std::string& path) {
        if (operation == FileOperation::createFile)
            created.push_back(path);
    });
    ASSERT_TRUE(write(bridge));
    ASSERT_TRUE(write(bridge));
    ASSERT_EQ(created.size(), 2U);
    EXPECT_NE(created.front(), created.back());
    for (const std::string& path : created) {
        const std::string start = bridge / ".file.";
        const std::string end = ".temporary";
        ASSERT_TRUE(path.starts_with(start) && path.ends_with(end)) << path;
        const std::string identifier
            = path.substr(start.size(), path.size() - start.size() - end.size());
        EXPECT_EQ(base::upperCaseText(support::uuid(identifier)), identifier);
    }
}

TEST(WritePrivateFileAtomically, PutsTheTemporaryFileOfABareNameIntoTheWorkingDirectory)
{
    support::FailingFileSystem fileSystem;
    std::string created;
    fileSystem.beforeCall([&](FileOperation, const std::string& path) { created = path; });
    fileSystem.failOperation(FileOperation::createFile, EACCES);
    EXPECT_FALSE(writePrivateFileAtomically("new", "file", fileSystem));
    EXPECT_TRUE(created.starts_with(".file.")) << created;
}

TEST(WritePrivateFileAtomically, LeavesTheTemporaryFilesOfOthers)
{
    const BridgeDirectory bridge;
    const std::string other = ".file.3F2504E0-4F89-11D3-9A0C-0305E82C3301.temporary";
    support::writeFile(bridge / other, "half");
    ASSERT_TRUE(write(bridge));
    EXPECT_EQ(namesIn(bridge.path()), (Names { other, "file" }));
    EXPECT_EQ(readFile(bridge / other), "half");
}

TEST(WritePrivateFileAtomically, FailsOntoADirectoryAndLeavesNothing)
{
    const BridgeDirectory bridge;
    support::writeFile(bridge / "file/inside", "kept");
    const auto written = write(bridge);
    ASSERT_FALSE(written);
    EXPECT_EQ(written.error(), platform::FileError { EISDIR });
    EXPECT_EQ(namesIn(bridge.path()), Names { "file" });
    EXPECT_EQ(readFile(bridge / "file/inside"), "kept");
}

TEST(WritePrivateFileAtomically, FailsInAMissingDirectory)
{
    const BridgeDirectory bridge;
    const auto written
        = writePrivateFileAtomically("new", bridge / "missing/file", bridge.fileSystem);
    ASSERT_FALSE(written);
    EXPECT_EQ(written.error(), platform::FileError { ENOENT });
    EXPECT_EQ(namesIn(bridge.path()), Names {});
}

TEST(WritePrivateFileAtomically, PassesOnAnyErrorBeforeTheRenameAndKeepsThePreviousFile)
{
    for (const FileOperation operation : { FileOperation::createFile, FileOperation::write,
             FileOperation::setPermissions, FileOperation::rename }) {
        for (const int code : everydayErrors) {
            SCOPED_TRACE(testing::Message()
                << "operation " << static_cast<int>(operation) << ", error " << code);
            BridgeDirectory bridge;
            support::writeFile(bridge / "file", "old", 0644);
            bridge.fileSystem.failOperation(operation, code);
            const auto written = write(bridge);
            ASSERT_FALSE(written);
            EXPECT_EQ(written.error(), platform::FileError { code });
            EXPECT_EQ(readFile(bridge / "file"), "old");
            EXPECT_EQ(permissionsOf(bridge / "file"), 0644U);
            EXPECT_EQ(namesIn(bridge.path()), Names { "file" });
        }
    }
}

TEST(WritePrivateFileAtomically, MakesNoFileWhenAStepBeforeTheRenameFails)
{
    for (const FileOperation operation : { FileOperation::createFile, FileOperation::write,
             FileOperation::setPermissions, FileOperation::rename }) {
        BridgeDirectory bridge;
        bridge.fileSystem.failOperation(operation, ENOSPC);
        EXPECT_FALSE(write(bridge));
        EXPECT_EQ(namesIn(bridge.path()), Names {});
    }
}

TEST(WritePrivateFileAtomically, PassesOnAnErrorAfterTheRenameWithTheNewFileInPlace)
{
    for (const int code : everydayErrors) {
        BridgeDirectory bridge;
        support::writeFile(bridge / "file", "old", 0644);
        bridge.fileSystem.failCall(lastPermissionsCall(), code);
        const auto written = write(bridge);
        ASSERT_FALSE(written);
        EXPECT_EQ(written.error(), platform::FileError { code });
        EXPECT_EQ(readFile(bridge / "file"), "new");
        EXPECT_EQ(permissionsOf(bridge / "file"), 0600U);
        EXPECT_EQ(namesIn(bridge.path()), Names { "file" });
    }
}

TEST(WritePrivateFileAtomically, TurnsAnUnknownErrorOfTheRenameIntoAnInputOutputError)
{
    BridgeDirectory bridge;
    bridge.fileSystem.failOperation(FileOperation::rename, 99999);
    const auto written = write(bridge);
    ASSERT_FALSE(written);
    EXPECT_EQ(written.error(), platform::FileError { EIO });
    EXPECT_EQ(namesIn(bridge.path()), Names {});
}

TEST(WritePrivateFileAtomically, IgnoresThatTheTemporaryNameCannotBeRemoved)
{
    BridgeDirectory bridge;
    bridge.fileSystem.failOperation(FileOperation::remove, EACCES);
    EXPECT_TRUE(write(bridge));
    EXPECT_EQ(namesIn(bridge.path()), Names { "file" });
}

TEST(WritePrivateFileAtomically, ReportsTheFailedStepAndNotThatOfTheRemoval)
{
    BridgeDirectory bridge;
    bridge.fileSystem.failOperation(FileOperation::rename, EDQUOT);
    // Without the temporary file the removal fails with an error of its own.
    bridge.fileSystem.beforeCall([&](FileOperation operation, const std::string& path) {
        if (operation == FileOperation::remove)
            std::filesystem::remove(path);
    });
    const auto written = write(bridge);
    ASSERT_FALSE(written);
    EXPECT_EQ(written.error(), platform::FileError { EDQUOT });
}

TEST(WritePrivateFileAtomically, SetsPermissionsOfTheFileThatItWroteWhateverTakesItsName)
{
    BridgeDirectory bridge;
    bool isRenamed = false;
    bridge.fileSystem.beforeCall([&](FileOperation operation, const std::string&) {
        // Another process replaces the file as soon as it has its final name.
        if (isRenamed && operation == FileOperation::setPermissions) {
            support::writeFile(bridge / "other", "another's", 0644);
            std::filesystem::rename(bridge / "other", bridge / "file");
        }
        isRenamed = isRenamed || operation == FileOperation::rename;
    });
    EXPECT_TRUE(write(bridge));
    EXPECT_EQ(readFile(bridge / "file"), "another's");
    EXPECT_EQ(permissionsOf(bridge / "file"), 0644U);
}

} // namespace bridge
