// Removing items, and trees of them.

#include "platform/file_system.h"
#include "tests/support/as_other_user.h"
#include "tests/support/file_cases.h"
#include "tests/support/temporary_directory.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <string>

#include <unistd.h>

namespace {

using namespace support;

void nothing(const std::string&) { }

std::string remove(const std::string& path)
{
    return outcome(platform::localFileSystem().remove(path));
}

std::string removeX(const std::string& directory)
{
    return remove(directory + "/x");
}

void linkToFullDirectory(const std::string& directory)
{
    writeFile(directory + "/y/f", "1", 0644);
    makeSymbolicLink("y", directory + "/x");
}

std::function<void(const std::string&)> fullDirectoryOf(unsigned permissions)
{
    return [permissions](const std::string& d) {
        writeFile(d + "/x/f", "1", 0644);
        setPermissions(d + "/x", permissions);
    };
}

TEST(Remove, TakesItemsOfEveryKindThemselves)
{
    checkCasesForEveryone({
        { "file", [](const std::string& d) { writeFile(d + "/x", "1"); }, removeX, "done",
            { { "x", "absent" } } },
        { "file of mode 0000", [](const std::string& d) { writeFile(d + "/x", "1", 0000); },
            removeX, "done", { { "x", "absent" } } },
        { "link to a file",
            [](const std::string& d) {
                writeFile(d + "/y", "1", 0644);
                makeSymbolicLink("y", d + "/x");
            },
            removeX, "done", { { "x", "absent" }, { "y", "file 0644 1 B" } } },
        { "dangling link", [](const std::string& d) { makeSymbolicLink("nowhere", d + "/x"); },
            removeX, "done", { { "x", "absent" } } },
        { "link to a full directory", linkToFullDirectory, removeX, "done",
            { { "x", "absent" }, { "y/f", "file 0644 1 B" } } },
        { "link with a trailing slash to a directory", linkToFullDirectory,
            [](const std::string& d) { return remove(d + "/x/"); }, "done",
            { { "x", "absent" }, { "y/f", "file 0644 1 B" } } },
        { "FIFO", [](const std::string& d) { makeFIFO(d + "/x"); }, removeX, "done",
            { { "x", "absent" } } },
        { "socket", [](const std::string& d) { makeSocket(d + "/x"); }, removeX, "done",
            { { "x", "absent" } } },
        { "a name of 255 bytes",
            [](const std::string& d) { writeFile(d + '/' + std::string(255, 'n'), "1"); },
            [](const std::string& d) { return remove(d + '/' + std::string(255, 'n')); }, "done" },
    });
}

// A path of one character and a slash is as long as the root's would be with one more.
TEST(Remove, TakesALinkOfOneCharacterWithATrailingSlashForItself)
{
    inChildProcess([] {
        const TemporaryDirectory directory;
        linkToFullDirectory(directory.path());
        ASSERT_EQ(::chdir(directory.path().c_str()), 0);
        EXPECT_EQ(remove("x/"), "done");
        EXPECT_FALSE(exists(directory / "x"));
        EXPECT_TRUE(exists(directory / "y/f"));
    });
}

// The root of the test's own: should it be taken for something to remove, little is lost.
TEST(Remove, RefusesTheRoot)
{
    if (!isRoot())
        GTEST_SKIP() << "only root can take another root";
    const TemporaryDirectory directory;
    inChildProcess([&directory] {
        ASSERT_EQ(::chroot(directory.path().c_str()), 0);
        ASSERT_EQ(::chdir("/"), 0);
        writeFile("/f", "1");
        EXPECT_EQ(remove("/"), failure(EBUSY));
        EXPECT_EQ(remove("//"), failure(EBUSY));
        EXPECT_TRUE(exists("/f"));
    });
}

TEST(Remove, TakesDirectoriesWithAllThatTheyHold)
{
    checkCasesForEveryone({
        { "empty directory", [](const std::string& d) { makeDirectory(d + "/x"); }, removeX, "done",
            { { "x", "absent" } } },
        { "directory of mode 0000, empty",
            [](const std::string& d) { makeDirectory(d + "/x", 0000); }, removeX, "done",
            { { "x", "absent" } } },
        { "directory with a trailing slash", [](const std::string& d) { makeDirectory(d + "/x"); },
            [](const std::string& d) { return remove(d + "/x//"); }, "done",
            { { "x", "absent" } } },
        { "full tree of three levels with links, FIFO and hidden files",
            [](const std::string& d) {
                writeFile(d + "/out/keep", "1", 0644);
                writeFile(d + "/x/a/b/f", "1");
                writeFile(d + "/x/a/.hidden", "1");
                writeFile(d + "/x/..hidden/f", "1");
                makeFIFO(d + "/x/a/fifo");
                makeSocket(d + "/x/s");
                makeSymbolicLink("../out", d + "/x/link");
                makeSymbolicLink("../../../out/keep", d + "/x/a/b/link");
                makeSymbolicLink(".", d + "/x/a/self");
                makeDirectory(d + "/x/c");
            },
            removeX, "done", { { "x", "absent" }, { "out/keep", "file 0644 1 B" } } },
    });
}

// More names than the system hands over at once.
TEST(Remove, TakesALargeDirectory)
{
    const TemporaryDirectory directory;
    for (int number = 0; number < 2000; ++number)
        writeFile(directory / ("x/" + std::to_string(number) + std::string(40, 'n')), "");
    EXPECT_EQ(removeX(directory.path()), "done");
    EXPECT_FALSE(exists(directory / "x"));
}

TEST(Remove, FailsWithoutAnItem)
{
    checkCasesForEveryone({
        { "missing", nothing, removeX, failure(ENOENT) },
        { "through a file", [](const std::string& d) { writeFile(d + "/f", "1", 0644); },
            [](const std::string& d) { return remove(d + "/f/x"); }, failure(ENOTDIR),
            { { "f", "file 0644 1 B" } } },
        { "name of 300 bytes", nothing,
            [](const std::string& d) { return remove(d + '/' + std::string(300, 'n')); },
            failure(ENAMETOOLONG) },
        { "empty path", nothing, [](const std::string&) { return remove(""); }, failure(ENOENT) },
    });
}

TEST(Remove, IsDeniedToAUserWithoutWritePermissionOnTheDirectory)
{
    checkCasesForOrdinaryUser({
        { "full directory of mode 0500 (no write)", fullDirectoryOf(0500), removeX, failure(EACCES),
            { { "x", "directory 0500" }, { "x/f", "file 0644 1 B" } } },
        { "full directory of mode 0000", fullDirectoryOf(0000), removeX, failure(EACCES),
            { { "x", "directory 0000" } } },
        { "full directory of mode 0300 (no read)", fullDirectoryOf(0300), removeX, failure(EACCES),
            { { "x", "directory 0300" }, { "x/f", "file 0644 1 B" } } },
        { "full directory of mode 0600 (no search)", fullDirectoryOf(0600), removeX,
            failure(EACCES), { { "x", "directory 0600" } } },
        { "file in a directory of mode 0555",
            [](const std::string& d) {
                writeFile(d + "/d/x", "1", 0644);
                setPermissions(d + "/d", 0555);
            },
            [](const std::string& d) { return remove(d + "/d/x"); }, failure(EACCES),
            { { "d/x", "file 0644 1 B" } } },
        { "file in a directory of mode 0400 (no search)",
            [](const std::string& d) {
                writeFile(d + "/d/x", "1", 0644);
                setPermissions(d + "/d", 0400);
            },
            [](const std::string& d) { return remove(d + "/d/x"); }, failure(EACCES) },
    });
}

TEST(Remove, StopsAtTheFirstFailure)
{
    checkCasesForOrdinaryUser({ { "tree in which one inner directory is of mode 0500",
        [](const std::string& d) {
            makeDirectory(d + "/x/a", 0755);
            writeFile(d + "/x/b/f", "1", 0644);
            setPermissions(d + "/x/b", 0500);
            makeDirectory(d + "/x/c", 0755);
        },
        removeX, failure(EACCES),
        { { "x/b", "directory 0500" }, { "x/b/f", "file 0644 1 B" } } } });
}

TEST(Remove, IsNotDeniedToRoot)
{
    checkCasesForRoot({
        { "full directory of mode 0500 (no write)", fullDirectoryOf(0500), removeX, "done",
            { { "x", "absent" } } },
        { "full directory of mode 0000", fullDirectoryOf(0000), removeX, "done",
            { { "x", "absent" } } },
        { "tree in which one inner directory is of mode 0500",
            [](const std::string& d) {
                writeFile(d + "/x/b/f", "1");
                setPermissions(d + "/x/b", 0500);
            },
            removeX, "done", { { "x", "absent" } } },
        { "file in a directory of mode 0555",
            [](const std::string& d) {
                writeFile(d + "/d/x", "1");
                setPermissions(d + "/d", 0555);
            },
            [](const std::string& d) { return remove(d + "/d/x"); }, "done",
            { { "d/x", "absent" } } },
    });
}

TEST(Remove, TakesFilesOfAnotherOwnerUnlessTheDirectoryIsSticky)
{
    checkCasesAmongRootsFiles({
        { "file of another owner in one's own directory",
            [](const std::string& d) {
                writeFile(d + "/d/x", "1");
                giveToUnprivilegedUser(d + "/d");
            },
            [](const std::string& d) { return remove(d + "/d/x"); }, "done",
            { { "d/x", "absent" } } },
        { "sticky directory, file of another owner",
            [](const std::string& d) {
                writeFile(d + "/d/x", "1", 0644);
                setPermissions(d + "/d", 01777);
            },
            [](const std::string& d) { return remove(d + "/d/x"); }, failure(EPERM),
            { { "d/x", "file 0644 1 B" } } },
        { "sticky directory, full directory of another owner",
            [](const std::string& d) {
                writeFile(d + "/d/x/f", "1", 0644);
                setPermissions(d + "/d/x", 0777);
                setPermissions(d + "/d", 01777);
            },
            [](const std::string& d) { return remove(d + "/d/x"); }, failure(EPERM),
            { { "d/x/f", "file 0644 1 B" } } },
    });
}

} // namespace
