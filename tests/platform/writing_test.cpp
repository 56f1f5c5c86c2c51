// Making files, writing them, setting their permissions and giving them their names.

#include "platform/file_system.h"
#include "tests/support/as_other_user.h"
#include "tests/support/file_cases.h"
#include "tests/support/temporary_directory.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <string>
#include <string_view>

namespace {

using namespace support;

constexpr unsigned ownerOnly = 0600;
constexpr std::string_view tenBytes = "0123456789";

void nothing(const std::string&) { }

std::string create(const std::string& path, std::string_view bytes = tenBytes)
{
    const platform::FileSystem& fileSystem = platform::localFileSystem();
    const auto file = fileSystem.createFile(path);
    if (!file)
        return message(file.error());
    return outcome(fileSystem.write(*file, bytes));
}

std::string createX(const std::string& directory)
{
    return create(directory + "/x");
}

std::string rename(const std::string& from, const std::string& to)
{
    return outcome(platform::localFileSystem().rename(from, to));
}

// A whole replacement of d/x, as the store composes it.
std::string replaceX(const std::string& directory)
{
    const platform::FileSystem& fileSystem = platform::localFileSystem();
    const auto file = fileSystem.createFile(directory + "/d/.temporary");
    if (!file)
        return message(file.error());
    if (const auto written = fileSystem.write(*file, tenBytes); !written)
        return message(written.error());
    if (const auto set = fileSystem.setPermissions(*file, ownerOnly); !set)
        return message(set.error());
    return rename(directory + "/d/.temporary", directory + "/d/x");
}

std::function<void(const std::string&)> directoryOf(unsigned permissions)
{
    return [permissions](const std::string& d) { makeDirectory(d + "/d", permissions); };
}

std::function<void(const std::string&)> fileOf(unsigned permissions)
{
    return [permissions](const std::string& d) { writeFile(d + "/d/x", "old", permissions); };
}

TEST(CreateFile, MakesAPrivateFile)
{
    checkCasesForEveryone({
        { "umask 000", nothing, createX, "done", { { "x", "file 0600 10 B" } }, 0000 },
        { "umask 022", nothing, createX, "done", { { "x", "file 0600 10 B" } }, 0022 },
        { "umask 077", nothing, createX, "done", { { "x", "file 0600 10 B" } }, 0077 },
        { "umask 777", nothing, createX, "done", { { "x", "file 0000 10 B" } }, 0777 },
        { "0 bytes", nothing, [](const std::string& d) { return create(d + "/x", ""); }, "done",
            { { "x", "file 0600 0 B" } } },
    });
}

TEST(CreateFile, FailsIfTheNameIsTakenWhateverItNames)
{
    const std::string taken = failure(EEXIST);
    checkCasesForEveryone({
        { "file", [](const std::string& d) { writeFile(d + "/x", "old", 0644); }, createX, taken,
            { { "x", "file 0644 3 B" } } },
        { "directory", [](const std::string& d) { makeDirectory(d + "/x"); }, createX, taken,
            { { "x", "directory 0700" } } },
        { "FIFO", [](const std::string& d) { makeFIFO(d + "/x"); }, createX, taken,
            { { "x", "FIFO 0600" } } },
        { "link to a file",
            [](const std::string& d) {
                writeFile(d + "/t", "old");
                makeSymbolicLink("t", d + "/x");
            },
            createX, taken, { { "x", "link" }, { "t", "file 0600 3 B" } } },
        { "dangling link", [](const std::string& d) { makeSymbolicLink("t", d + "/x"); }, createX,
            taken, { { "x", "link" }, { "t", "absent" } } },
    });
}

TEST(CreateFile, FailsWithoutADirectoryToMakeItIn)
{
    checkCasesForEveryone({
        { "directory missing", nothing, replaceX, failure(ENOENT), { { "d", "absent" } } },
        { "the directory is a file", [](const std::string& d) { writeFile(d + "/d", "1", 0644); },
            replaceX, failure(ENOTDIR), { { "d", "file 0644 1 B" } } },
        { "the directory is a dangling link",
            [](const std::string& d) { makeSymbolicLink("nowhere", d + "/d"); }, replaceX,
            failure(ENOENT), { { "d", "link" }, { "nowhere", "absent" } } },
        { "name of 256 bytes", nothing,
            [](const std::string& d) { return create(d + '/' + std::string(256, 'n')); },
            failure(ENAMETOOLONG) },
    });
}

TEST(CreateFile, TakesANameOf255Bytes)
{
    const std::string longest(255, 'n');
    checkCasesForEveryone({ { "name of 255 bytes", nothing,
        [longest](const std::string& d) { return create(d + '/' + longest); }, "done",
        { { longest, "file 0600 10 B" } } } });
}

TEST(CreateFile, IsDeniedToAUserWithoutWriteAndSearchPermission)
{
    checkCasesForOrdinaryUser({
        { "directory of mode 0555", directoryOf(0555), replaceX, failure(EACCES),
            { { "d/.temporary", "absent" } } },
        { "directory of mode 0000", directoryOf(0000), replaceX, failure(EACCES),
            { { "d", "directory 0000" } } },
    });
}

TEST(CreateFile, IsNotDeniedToRoot)
{
    checkCasesForRoot({
        { "directory of mode 0555", directoryOf(0555), replaceX, "done",
            { { "d/x", "file 0600 10 B" } } },
        { "directory of mode 0000", directoryOf(0000), replaceX, "done",
            { { "d/x", "file 0600 10 B" } } },
    });
}

TEST(Write, WritesAllBytesAsTheyAreAndGoesOnWhereItEnded)
{
    const TemporaryDirectory directory;
    const platform::FileSystem& fileSystem = platform::localFileSystem();
    const std::string withNUL("a\0\n\xFF", 4);
    const std::string large(3'000'000, 'l');
    {
        const auto file = fileSystem.createFile(directory / "x");
        ASSERT_TRUE(file);
        EXPECT_TRUE(fileSystem.write(*file, withNUL));
        EXPECT_TRUE(fileSystem.write(*file, large));
    }
    EXPECT_TRUE(readFile(directory / "x") == withNUL + large);
}

TEST(Write, FailsForAFileThatIsOpenForReading)
{
    const TemporaryDirectory directory;
    writeFile(directory / "x", "old");
    const platform::FileSystem& fileSystem = platform::localFileSystem();
    const auto file = fileSystem.openForReading(directory / "x");
    ASSERT_TRUE(file);
    EXPECT_EQ(outcome(fileSystem.write(*file, "new")), failure(EBADF));
    EXPECT_EQ(readFile(directory / "x"), "old");
}

std::string makeXPrivate(const std::string& directory)
{
    const platform::FileSystem& fileSystem = platform::localFileSystem();
    const auto file = fileSystem.openForReading(directory + "/x");
    return file ? outcome(fileSystem.setPermissions(*file, ownerOnly))
                : "not opened: " + message(file.error());
}

TEST(SetPermissions, SetsThemExactlyWhateverTheUmask)
{
    const auto file = [](unsigned permissions) {
        return [permissions](const std::string& d) { writeFile(d + "/x", "1", permissions); };
    };
    for (const unsigned umask : { 0000U, 0777U }) {
        checkCasesForEveryone({
            { "file of mode 0644", file(0644), makeXPrivate, "done", { { "x", "file 0600 1 B" } },
                umask },
            { "file of mode 0444", file(0444), makeXPrivate, "done", { { "x", "file 0600 1 B" } },
                umask },
            { "file of mode 4755", file(04755), makeXPrivate, "done", { { "x", "file 0600 1 B" } },
                umask },
        });
    }
}

// The file has an owner who may set what it will, also when nobody may open it any more.
TEST(SetPermissions, WorksOnANewFileThatTheUmaskLeftWithoutAny)
{
    checkCasesForEveryone({ { "umask 777", directoryOf(0700), replaceX, "done",
        { { "d/x", "file 0600 10 B" } }, 0777 } });
}

TEST(SetPermissions, ReachesTheFileUnderWhateverName)
{
    const TemporaryDirectory directory;
    const platform::FileSystem& fileSystem = platform::localFileSystem();
    const auto file = fileSystem.createFile(directory / "x");
    ASSERT_TRUE(file);
    ASSERT_EQ(rename(directory / "x", directory / "y"), "done");
    writeFile(directory / "x", "another", 0644);
    EXPECT_TRUE(fileSystem.setPermissions(*file, 0640));
    EXPECT_EQ(describeItem(directory / "y"), "file 0640 0 B");
    EXPECT_EQ(describeItem(directory / "x"), "file 0644 7 B");
}

TEST(SetPermissions, IsForTheOwnerAndRootAlone)
{
    checkCasesAmongRootsFiles(
        { { "file of another owner", [](const std::string& d) { writeFile(d + "/x", "1", 0644); },
            makeXPrivate, failure(EPERM), { { "x", "file 0644 1 B" } } } });
    checkCasesForRoot({ { "file of another owner",
        [](const std::string& d) {
            writeFile(d + "/x", "1", 0644);
            giveToUnprivilegedUser(d + "/x");
        },
        makeXPrivate, "done", { { "x", "file 0600 1 B" } } } });
}

TEST(Replacing, PutsTheNewFileInThePlaceOfTheOldWhateverThatMayBe)
{
    checkCasesForEveryone({
        { "new file", directoryOf(0700), replaceX, "done", { { "d/x", "file 0600 10 B" } } },
        { "over a file of mode 0644", fileOf(0644), replaceX, "done",
            { { "d/x", "file 0600 10 B" } } },
        { "over a file of mode 0444", fileOf(0444), replaceX, "done",
            { { "d/x", "file 0600 10 B" } } },
        { "over a file of mode 0000", fileOf(0000), replaceX, "done",
            { { "d/x", "file 0600 10 B" } } },
        { "directory of mode 0300 (no read)", directoryOf(0300), replaceX, "done",
            { { "d/x", "file 0600 10 B" } } },
        { "the directory is a link to a directory",
            [](const std::string& d) {
                makeDirectory(d + "/r");
                makeSymbolicLink("r", d + "/d");
            },
            replaceX, "done", { { "d", "link" }, { "r/x", "file 0600 10 B" } } },
        { "a link of that name to a file",
            [](const std::string& d) {
                writeFile(d + "/t", "old", 0644);
                makeDirectory(d + "/d");
                makeSymbolicLink("../t", d + "/d/x");
            },
            replaceX, "done", { { "d/x", "file 0600 10 B" }, { "t", "file 0644 3 B" } } },
        { "a dangling link of that name",
            [](const std::string& d) {
                makeDirectory(d + "/d");
                makeSymbolicLink("../t", d + "/d/x");
            },
            replaceX, "done", { { "d/x", "file 0600 10 B" }, { "t", "absent" } } },
        { "a link of that name to a directory",
            [](const std::string& d) {
                makeDirectory(d + "/d");
                makeSymbolicLink(".", d + "/d/x");
            },
            replaceX, "done", { { "d/x", "file 0600 10 B" } } },
        { "a FIFO of that name",
            [](const std::string& d) {
                makeDirectory(d + "/d");
                makeFIFO(d + "/d/x");
            },
            replaceX, "done", { { "d/x", "file 0600 10 B" } } },
        { "a socket of that name",
            [](const std::string& d) {
                makeDirectory(d + "/d");
                makeSocket(d + "/d/x");
            },
            replaceX, "done", { { "d/x", "file 0600 10 B" } } },
    });
}

TEST(Replacing, FailsOverADirectory)
{
    checkCasesForEveryone({
        { "a directory of that name, empty",
            [](const std::string& d) { makeDirectory(d + "/d/x", 0755); }, replaceX,
            failure(EISDIR), { { "d/x", "directory 0755" } } },
        { "a directory of that name, not empty",
            [](const std::string& d) {
                writeFile(d + "/d/x/y", "1", 0644);
                setPermissions(d + "/d/x", 0755);
            },
            replaceX, failure(EISDIR),
            { { "d/x", "directory 0755" }, { "d/x/y", "file 0644 1 B" } } },
    });
}

TEST(Replacing, TakesFilesOfAnotherOwnerUnlessTheDirectoryIsSticky)
{
    checkCasesAmongRootsFiles({
        { "over a file of another owner, mode 0644",
            [](const std::string& d) {
                writeFile(d + "/d/x", "old", 0644);
                giveToUnprivilegedUser(d + "/d");
            },
            replaceX, "done", { { "d/x", "file 0600 10 B" } } },
        { "sticky directory, file of another owner",
            [](const std::string& d) {
                writeFile(d + "/d/x", "old", 0644);
                setPermissions(d + "/d", 01777);
            },
            replaceX, failure(EPERM), { { "d/x", "file 0644 3 B" } } },
    });
    checkCasesForRoot({ { "sticky directory, file of another owner",
        [](const std::string& d) {
            writeFile(d + "/d/x", "old", 0644);
            setPermissions(d + "/d", 01777);
            giveToUnprivilegedUser(d + "/d/x");
        },
        replaceX, "done", { { "d/x", "file 0600 10 B" } } } });
}

TEST(Rename, FailsWithoutTheItemOrTheDirectory)
{
    checkCasesForEveryone({
        { "no such item", nothing, [](const std::string& d) { return rename(d + "/x", d + "/y"); },
            failure(ENOENT), { { "y", "absent" } } },
        { "no such directory", [](const std::string& d) { writeFile(d + "/x", "1"); },
            [](const std::string& d) { return rename(d + "/x", d + "/d/x"); }, failure(ENOENT),
            { { "x", "file 0600 1 B" } } },
    });
}

} // namespace
