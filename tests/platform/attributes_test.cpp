// What the file system tells of items, by path and of open files.

#include "platform/file_system.h"
#include "tests/support/as_other_user.h"
#include "tests/support/file_cases.h"
#include "tests/support/temporary_directory.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace support;
using platform::FileKind;

std::string textOf(const platform::FileResult<platform::FileAttributes>& attributes)
{
    if (!attributes)
        return message(attributes.error());
    switch (attributes->kind) {
    case FileKind::regular:
        return "regular " + std::to_string(attributes->size);
    case FileKind::directory: // Its size is the file system's business.
        return "directory";
    case FileKind::symbolicLink:
        return "link " + std::to_string(attributes->size);
    case FileKind::other:
        break;
    }
    return "other " + std::to_string(attributes->size);
}

std::string attributesAt(const std::string& path)
{
    return textOf(platform::localFileSystem().attributes(path));
}

std::string attributesOnceOpen(const std::string& path)
{
    const auto file = platform::localFileSystem().openForReading(path);
    if (!file)
        return "not opened: " + message(file.error());
    return textOf(platform::localFileSystem().attributes(*file));
}

std::function<std::string(const std::string&)> attributesOf(std::string name)
{
    return [name = std::move(name)](
               const std::string& directory) { return attributesAt(directory + '/' + name); };
}

TEST(AttributesOfPath, AreThoseOfTheItemItself)
{
    const auto nothing = [](const std::string&) { };
    checkCasesForEveryone({
        { "missing", nothing, attributesOf("x"), failure(ENOENT) },
        { "regular file of 5 bytes, mode 0640",
            [](const std::string& d) { writeFile(d + "/x", "12345", 0640); }, attributesOf("x"),
            "regular 5", { { "x", "file 0640 5 B" } } },
        { "empty file", [](const std::string& d) { writeFile(d + "/x", ""); }, attributesOf("x"),
            "regular 0" },
        { "file of mode 0000", [](const std::string& d) { writeFile(d + "/x", "123", 0); },
            attributesOf("x"), "regular 3" },
        { "link to a regular file",
            [](const std::string& d) {
                writeFile(d + "/y", "123");
                makeSymbolicLink("y", d + "/x");
            },
            attributesOf("x"), "link 1" },
        { "dangling link", [](const std::string& d) { makeSymbolicLink("nowhere", d + "/x"); },
            attributesOf("x"), "link 7" },
        { "link to itself", [](const std::string& d) { makeSymbolicLink("x", d + "/x"); },
            attributesOf("x"), "link 1" },
        { "directory", [](const std::string& d) { makeDirectory(d + "/x"); }, attributesOf("x"),
            "directory" },
        { "link to a directory",
            [](const std::string& d) {
                makeDirectory(d + "/y");
                makeSymbolicLink("y", d + "/x");
            },
            attributesOf("x"), "link 1" },
        { "link to a directory, with a trailing slash",
            [](const std::string& d) {
                makeDirectory(d + "/y");
                makeSymbolicLink("y", d + "/x");
            },
            attributesOf("x/"), "directory" },
        { "FIFO", [](const std::string& d) { makeFIFO(d + "/x"); }, attributesOf("x"), "other 0" },
        { "socket", [](const std::string& d) { makeSocket(d + "/x"); }, attributesOf("x"),
            "other 0" },
        { "character device", nothing, [](const std::string&) { return attributesAt("/dev/null"); },
            "other 0" },
    });
}

TEST(AttributesOfPath, FollowLinksAndNeedSearchPermissionOnTheWay)
{
    checkCasesForEveryone({
        { "in a directory of mode 0100 (search only)",
            [](const std::string& d) {
                writeFile(d + "/p/x", "123");
                setPermissions(d + "/p", 0100);
            },
            attributesOf("p/x"), "regular 3" },
        { "through a file", [](const std::string& d) { writeFile(d + "/p", "1"); },
            attributesOf("p/x"), failure(ENOTDIR) },
        { "through a missing directory", [](const std::string&) {}, attributesOf("p/x"),
            failure(ENOENT) },
        { "through a dangling link",
            [](const std::string& d) { makeSymbolicLink("nowhere", d + "/p"); },
            attributesOf("p/x"), failure(ENOENT) },
        { "through a link to a directory",
            [](const std::string& d) {
                writeFile(d + "/r/x", "1");
                makeSymbolicLink("r", d + "/p");
            },
            attributesOf("p/x"), "regular 1" },
    });
}

std::vector<FileCase> casesWithoutSearchPermission(const std::string& outcome)
{
    std::vector<FileCase> cases;
    for (const unsigned permissions : { 0000U, 0600U }) {
        cases.push_back({ permissions == 0 ? "mode 0000" : "mode 0600 (no search)",
            [permissions](const std::string& d) {
                writeFile(d + "/p/x", "123");
                setPermissions(d + "/p", permissions);
            },
            attributesOf("p/x"), outcome });
    }
    return cases;
}

TEST(AttributesOfPath, AreDeniedToAUserWithoutSearchPermission)
{
    checkCasesForOrdinaryUser(casesWithoutSearchPermission(failure(EACCES)));
}

TEST(AttributesOfPath, AreNotDeniedToRoot)
{
    checkCasesForRoot(casesWithoutSearchPermission("regular 3"));
}

TEST(AttributesOfPath, TakeNamesAndPathsUpToTheSystemsLimits)
{
    const TemporaryDirectory directory;
    const std::string longest(255, 'n');
    writeFile(directory / longest, "1");
    EXPECT_EQ(attributesAt(directory / longest), "regular 1");
    EXPECT_EQ(attributesAt(directory / (longest + 'n')), failure(ENAMETOOLONG));
    EXPECT_EQ(attributesAt(directory / std::string(300, 'n')), failure(ENAMETOOLONG));
    EXPECT_EQ(attributesAt(std::string(5000, '/')), failure(ENAMETOOLONG));
    EXPECT_EQ(attributesAt(""), failure(ENOENT));
}

TEST(AttributesOfPath, TakeNamesAsTheBytesThatTheyAre)
{
    const TemporaryDirectory directory;
    for (const char* const name : { "\xEF\xBB\xBFx", "a\nb%41#c?", "e\xCC\x81" }) {
        writeFile(directory / name, "12");
        EXPECT_EQ(attributesAt(directory / name), "regular 2") << name;
    }
}

TEST(AttributesOfPath, HaveSizesOfMoreThan32Bits)
{
    const TemporaryDirectory directory;
    writeFile(directory / "sparse", "");
    std::filesystem::resize_file(directory / "sparse", 5'368'709'120);
    EXPECT_EQ(attributesAt(directory / "sparse"), "regular 5368709120");
    EXPECT_EQ(attributesOnceOpen(directory / "sparse"), "regular 5368709120");
}

TEST(AttributesOfOpenFile, AreThoseOfWhatWasOpened)
{
    const TemporaryDirectory directory;
    writeFile(directory / "file", "12345");
    makeDirectory(directory / "directory");
    makeFIFO(directory / "FIFO");
    EXPECT_EQ(attributesOnceOpen(directory / "file"), "regular 5");
    EXPECT_EQ(attributesOnceOpen(directory / "directory"), "directory");
    EXPECT_EQ(attributesOnceOpen(directory / "FIFO"), "other 0");
    EXPECT_EQ(attributesOnceOpen("/dev/null"), "other 0");
}

TEST(AttributesOfOpenFile, StayThoseOfTheFileWhenItsNameIsGivenToAnother)
{
    const TemporaryDirectory directory;
    writeFile(directory / "x", "12345");
    const auto file = platform::localFileSystem().openForReading(directory / "x");
    ASSERT_TRUE(file);
    std::filesystem::remove(directory / "x");
    makeSymbolicLink("elsewhere", directory / "x");
    EXPECT_EQ(textOf(platform::localFileSystem().attributes(*file)), "regular 5");
}

TEST(AttributesOfOpenFile, FailForANumberThatIsNotOpen)
{
    const platform::OpenFile file(platform::localFileSystem(), -1);
    EXPECT_EQ(textOf(platform::localFileSystem().attributes(file)), failure(EBADF));
}

} // namespace
