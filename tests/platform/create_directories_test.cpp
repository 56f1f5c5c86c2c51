// Making directories and setting their permissions.

#include "platform/file_system.h"
#include "tests/support/as_other_user.h"
#include "tests/support/file_cases.h"
#include "tests/support/temporary_directory.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

using namespace support;

constexpr unsigned ownerOnly = 0700;

using Action = std::function<std::string(const std::string&)>;

void nothing(const std::string&) { }

Action create(std::string name)
{
    return [name = std::move(name)](const std::string& d) {
        return outcome(platform::localFileSystem().createDirectories(d + '/' + name, ownerOnly));
    };
}

Action setPrivate(std::string name)
{
    return [name = std::move(name)](const std::string& d) {
        return outcome(
            platform::localFileSystem().setDirectoryPermissions(d + '/' + name, ownerOnly));
    };
}

// What the store does, in the order in which it is told: make, then set.
Action createAndSetPrivate(const std::string& name)
{
    return [name](const std::string& d) {
        const std::string created = create(name)(d);
        return created == "done" ? setPrivate(name)(d) : created;
    };
}

std::function<void(const std::string&)> directoryOf(const char* name, unsigned permissions)
{
    return
        [name, permissions](const std::string& d) { makeDirectory(d + '/' + name, permissions); };
}

TEST(CreateDirectories, MakesEveryMissingOnePrivateWhateverTheUmask)
{
    for (const unsigned umask : { 0000U, 0022U, 0077U, 0777U }) {
        SCOPED_TRACE(testing::Message() << "umask " << std::oct << umask);
        checkCasesForEveryone({
            { "missing", nothing, create("a"), "done", { { "a", "directory 0700" } }, umask },
            { "two missing parents", nothing, create("a/b/c"), "done",
                { { "a", "directory 0700" }, { "a/b", "directory 0700" },
                    { "a/b/c", "directory 0700" } },
                umask },
            { "existing directory of mode 0755", directoryOf("a", 0755), create("a"), "done",
                { { "a", "directory 0755" } }, umask },
            { "existing parent of mode 0755", directoryOf("a", 0755), create("a/b"), "done",
                { { "a", "directory 0755" }, { "a/b", "directory 0700" } }, umask },
            { "existing parent of mode 2777, whose group new items take", directoryOf("a", 02777),
                create("a/b"), "done", { { "a/b", "directory 0700" } }, umask },
        });
    }
}

TEST(CreateDirectories, TakesPathsInEverySpelling)
{
    checkCasesForEveryone({
        { "trailing slash", nothing, create("a/"), "done", { { "a", "directory 0700" } } },
        { "trailing slashes, missing parents", nothing, create("a/b///"), "done",
            { { "a", "directory 0700" }, { "a/b", "directory 0700" } } },
        { "double slash", nothing, create("a//b"), "done",
            { { "a", "directory 0700" }, { "a/b", "directory 0700" } } },
        { "..", nothing, create("a/../a/b"), "done",
            { { "a", "directory 0700" }, { "a/b", "directory 0700" } } },
    });
    EXPECT_EQ(outcome(platform::localFileSystem().createDirectories("/", ownerOnly)), "done");
    EXPECT_EQ(
        outcome(platform::localFileSystem().createDirectories("", ownerOnly)), failure(ENOENT));
}

TEST(CreateDirectories, TakesRelativePaths)
{
    inChildProcess([] {
        const TemporaryDirectory directory;
        ASSERT_EQ(::chdir(directory.path().c_str()), 0);
        EXPECT_EQ(outcome(platform::localFileSystem().createDirectories("a", ownerOnly)), "done");
        EXPECT_EQ(
            outcome(platform::localFileSystem().createDirectories("b/c/d", ownerOnly)), "done");
        EXPECT_EQ(describeItem(directory / "a"), "directory 0700");
        EXPECT_EQ(describeItem(directory / "b/c/d"), "directory 0700");
    });
}

TEST(CreateDirectories, TakesALinkToADirectoryForADirectory)
{
    const auto linkToDirectory = [](const std::string& d) {
        makeDirectory(d + "/r", 0755);
        makeSymbolicLink("r", d + "/a");
    };
    checkCasesForEveryone({
        { "link to a directory", linkToDirectory, create("a"), "done",
            { { "a", "link" }, { "r", "directory 0755" } } },
        { "below a link to a directory", linkToDirectory, create("a/b"), "done",
            { { "a", "link" }, { "r", "directory 0755" }, { "r/b", "directory 0700" } } },
    });
}

TEST(CreateDirectories, FailsWhereSomethingElseIsInTheWay)
{
    const auto danglingLink = [](const std::string& d) { makeSymbolicLink("nowhere", d + "/a"); };
    checkCasesForEveryone({
        { "existing file", [](const std::string& d) { writeFile(d + "/a", "1", 0644); },
            create("a"), failure(EEXIST), { { "a", "file 0644 1 B" } } },
        { "through a file", [](const std::string& d) { writeFile(d + "/a", "1", 0644); },
            create("a/b"), failure(ENOTDIR), { { "a", "file 0644 1 B" } } },
        { "dangling link", danglingLink, create("a"), failure(EEXIST),
            { { "a", "link" }, { "nowhere", "absent" } } },
        { "below a dangling link", danglingLink, create("a/b"), failure(EEXIST),
            { { "a", "link" }, { "nowhere", "absent" } } },
        { "link to a file",
            [](const std::string& d) {
                writeFile(d + "/f", "1");
                makeSymbolicLink("f", d + "/a");
            },
            create("a"), failure(EEXIST), { { "a", "link" } } },
        { "FIFO of that name", [](const std::string& d) { makeFIFO(d + "/a"); }, create("a"),
            failure(EEXIST), { { "a", "FIFO 0600" } } },
    });
}

TEST(CreateDirectories, LeavesWhatWasMadeBeforeAFailure)
{
    const std::string longName(300, 'n');
    checkCasesForEveryone({
        { "name of 300 bytes", nothing, create(longName), failure(ENAMETOOLONG) },
        { "missing parent, then a name of 300 bytes", nothing, create("a/" + longName),
            failure(ENAMETOOLONG), { { "a", "directory 0700" } } },
    });
}

TEST(CreateDirectories, IsDeniedToAUserWithoutWriteAndSearchPermission)
{
    checkCasesForOrdinaryUser({
        { "parent of mode 0555", directoryOf("p", 0555), create("p/a"), failure(EACCES),
            { { "p", "directory 0555" }, { "p/a", "absent" } } },
        { "parent of mode 0000", directoryOf("p", 0000), create("p/a"), failure(EACCES),
            { { "p", "directory 0000" } } },
        { "existing directory in a parent of mode 0000",
            [](const std::string& d) {
                makeDirectory(d + "/p/a");
                setPermissions(d + "/p", 0000);
            },
            create("p/a"), failure(EACCES), { { "p", "directory 0000" } } },
        { "existing directory in a parent of mode 0555",
            [](const std::string& d) {
                makeDirectory(d + "/p/a", 0755);
                setPermissions(d + "/p", 0555);
            },
            create("p/a"), "done", { { "p/a", "directory 0755" } } },
        { "grandparent of mode 0555", directoryOf("p", 0555), create("p/a/b"), failure(EACCES),
            { { "p", "directory 0555" }, { "p/a", "absent" } } },
    });
}

TEST(CreateDirectories, IsNotDeniedToRoot)
{
    checkCasesForRoot({
        { "parent of mode 0555", directoryOf("p", 0555), create("p/a"), "done",
            { { "p", "directory 0555" }, { "p/a", "directory 0700" } } },
        { "parent of mode 0000", directoryOf("p", 0000), create("p/a"), "done",
            { { "p", "directory 0000" }, { "p/a", "directory 0700" } } },
        { "existing directory in a parent of mode 0000",
            [](const std::string& d) {
                makeDirectory(d + "/p/a");
                setPermissions(d + "/p", 0000);
            },
            create("p/a"), "done", { { "p", "directory 0000" } } },
        { "grandparent of mode 0555", directoryOf("p", 0555), create("p/a/b"), "done",
            { { "p", "directory 0555" }, { "p/a/b", "directory 0700" } } },
        { "parent of another owner",
            [](const std::string& d) {
                makeDirectory(d + "/a", 0755);
                giveToUnprivilegedUser(d + "/a");
            },
            create("a/b"), "done", { { "a", "directory 0755" }, { "a/b", "directory 0700" } } },
    });
}

TEST(CreateDirectories, LeavesDirectoriesOfOtherOwnersAlone)
{
    checkCasesAmongRootsFiles({
        { "existing directory of another owner, mode 0755", directoryOf("a", 0755), create("a"),
            "done", { { "a", "directory 0755" } } },
        { "parent of another owner, mode 0755", directoryOf("a", 0755), create("a/b"),
            failure(EACCES), { { "a", "directory 0755" }, { "a/b", "absent" } } },
    });
}

TEST(CreateAndSetDirectoryPermissions, NarrowsWhatIsThere)
{
    checkCasesForEveryone({
        { "existing directory of mode 0755", directoryOf("a", 0755), createAndSetPrivate("a"),
            "done", { { "a", "directory 0700" } } },
        { "existing directory of mode 0000", directoryOf("a", 0000), createAndSetPrivate("a"),
            "done", { { "a", "directory 0700" } } },
        { "existing directory of mode 2777", directoryOf("a", 02777), createAndSetPrivate("a"),
            "done", { { "a", "directory 0700" } } },
        { "existing directory of mode 1777", directoryOf("a", 01777), createAndSetPrivate("a"),
            "done", { { "a", "directory 0700" } } },
        { "link to a directory of mode 0755",
            [](const std::string& d) {
                makeDirectory(d + "/r", 0755);
                makeSymbolicLink("r", d + "/a");
            },
            createAndSetPrivate("a"), "done", { { "a", "link" }, { "r", "directory 0700" } } },
        { "dangling link", [](const std::string& d) { makeSymbolicLink("nowhere", d + "/a"); },
            createAndSetPrivate("a"), failure(EEXIST),
            { { "a", "link" }, { "nowhere", "absent" } } },
        { "missing, umask 777", nothing, createAndSetPrivate("a/b"), "done",
            { { "a", "directory 0700" }, { "a/b", "directory 0700" } }, 0777 },
    });
}

TEST(SetDirectoryPermissions, FailsForWhatIsNoDirectory)
{
    checkCasesForEveryone({
        { "missing", nothing, setPrivate("a"), failure(ENOENT), { { "a", "absent" } } },
        { "file", [](const std::string& d) { writeFile(d + "/a", "1", 0644); }, setPrivate("a"),
            failure(ENOTDIR), { { "a", "file 0644 1 B" } } },
        { "link to a file",
            [](const std::string& d) {
                writeFile(d + "/f", "1", 0644);
                makeSymbolicLink("f", d + "/a");
            },
            setPrivate("a"), failure(ENOTDIR), { { "f", "file 0644 1 B" } } },
        { "FIFO", [](const std::string& d) { makeFIFO(d + "/a"); }, setPrivate("a"),
            failure(ENOTDIR), { { "a", "FIFO 0600" } } },
        { "dangling link", [](const std::string& d) { makeSymbolicLink("nowhere", d + "/a"); },
            setPrivate("a"), failure(ENOENT), { { "nowhere", "absent" } } },
    });
}

// An empty path with a slash would be the root of everything.
TEST(SetDirectoryPermissions, FailsForAnEmptyPath)
{
    const unsigned before = permissionsOf("/");
    EXPECT_EQ(
        outcome(platform::localFileSystem().setDirectoryPermissions("", before)), failure(ENOENT));
    EXPECT_EQ(permissionsOf("/"), before);
}

TEST(SetDirectoryPermissions, IsForTheOwnerAndRootAlone)
{
    checkCasesAmongRootsFiles({
        { "directory of another owner, mode 0777", directoryOf("a", 0777), createAndSetPrivate("a"),
            failure(EPERM), { { "a", "directory 0777" } } },
    });
    checkCasesForRoot({
        { "directory of another owner, mode 0777",
            [](const std::string& d) {
                makeDirectory(d + "/a", 0777);
                giveToUnprivilegedUser(d + "/a");
            },
            createAndSetPrivate("a"), "done", { { "a", "directory 0700" } } },
    });
}

TEST(SetDirectoryPermissions, NeedsSearchPermissionOnTheWay)
{
    const std::vector<FileCase> cases { { "directory in a directory of mode 0000",
        [](const std::string& d) {
            makeDirectory(d + "/p/a", 0755);
            setPermissions(d + "/p", 0000);
        },
        setPrivate("p/a"), failure(EACCES), { { "p", "directory 0000" } } } };
    checkCasesForOrdinaryUser(cases);
}

} // namespace
