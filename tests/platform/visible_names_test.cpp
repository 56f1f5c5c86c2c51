// Listing directories.

#include "platform/directory_names.h"
#include "platform/file_system.h"
#include "tests/support/as_other_user.h"
#include "tests/support/file_cases.h"
#include "tests/support/temporary_directory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <string>
#include <vector>

namespace {

using namespace support;

using Names = std::vector<std::string>;

Names sortedNames(const std::string& path)
{
    auto listing = platform::localFileSystem().visibleNames(path);
    if (!listing)
        return { message(listing.error()) };
    std::ranges::sort(listing->names);
    return listing->names;
}

// The names, each with a blank after it, or the error.
std::string listed(const std::string& path)
{
    const auto names = platform::localFileSystem().visibleNames(path);
    if (!names)
        return message(names.error());
    std::string text;
    for (const std::string& name : sortedNames(path))
        text += name + ' ';
    return text;
}

std::string listD(const std::string& directory)
{
    return listed(directory + "/d");
}

// Systems differ in what they say of a link.
std::string isListed(const std::string& directory)
{
    return platform::localFileSystem().visibleNames(directory + "/d") ? "yes" : "no";
}

std::function<void(const std::string&)> directoryWithX(unsigned permissions)
{
    return [permissions](const std::string& d) {
        writeFile(d + "/d/x", "1");
        setPermissions(d + "/d", permissions);
    };
}

TEST(VisibleNames, AreThoseOfItemsOfEveryKind)
{
    checkCasesForEveryone({
        { "empty", [](const std::string& d) { makeDirectory(d + "/d"); }, listD, "" },
        { "entries of every kind",
            [](const std::string& d) {
                writeFile(d + "/d/file", "1");
                writeFile(d + "/d/sub/inner", "1");
                makeFIFO(d + "/d/fifo");
                makeSymbolicLink("file", d + "/d/link");
                makeSymbolicLink("nowhere", d + "/d/dangling");
                writeFile(d + "/d/.hidden", "1");
                makeDirectory(d + "/d/.hiddenDirectory");
            },
            listD, "dangling fifo file link sub " },
        { "mode 0400 (no search)", directoryWithX(0400), listD, "x " },
    });
}

TEST(VisibleNames, FailForWhatIsNoDirectoryItself)
{
    const auto linkTo = [](const char* target) {
        return [target](const std::string& d) {
            writeFile(d + "/t/x", "1");
            makeSymbolicLink(target, d + "/d");
        };
    };
    checkCasesForEveryone({
        { "missing", [](const std::string&) {}, listD, failure(ENOENT) },
        { "a file", [](const std::string& d) { writeFile(d + "/d", "1"); }, listD,
            failure(ENOTDIR) },
        { "FIFO", [](const std::string& d) { makeFIFO(d + "/d"); }, listD, failure(ENOTDIR) },
        { "socket", [](const std::string& d) { makeSocket(d + "/d"); }, listD, failure(ENOTDIR) },
        { "link to a directory", linkTo("t"), isListed, "no" },
        { "link to a file", linkTo("t/x"), isListed, "no" },
        { "dangling link", linkTo("nowhere"), isListed, "no" },
        { "through a link to a directory",
            [](const std::string& d) {
                writeFile(d + "/r/d/x", "1");
                makeSymbolicLink("r", d + "/p");
            },
            [](const std::string& d) { return listed(d + "/p/d"); }, "x " },
    });
}

TEST(VisibleNames, AreDeniedToAUserWithoutReadPermission)
{
    checkCasesForOrdinaryUser({
        { "mode 0000", directoryWithX(0000), listD, failure(EACCES) },
        { "mode 0300 (no read)", directoryWithX(0300), listD, failure(EACCES) },
        { "through a directory of mode 0000",
            [](const std::string& d) {
                makeDirectory(d + "/p/d");
                setPermissions(d + "/p", 0000);
            },
            [](const std::string& d) { return listed(d + "/p/d"); }, failure(EACCES) },
    });
}

TEST(VisibleNames, AreNotDeniedToRoot)
{
    checkCasesForRoot({
        { "mode 0000", directoryWithX(0000), listD, "x " },
        { "mode 0300 (no read)", directoryWithX(0300), listD, "x " },
        { "through a directory of mode 0000",
            [](const std::string& d) {
                makeDirectory(d + "/p/d");
                setPermissions(d + "/p", 0000);
            },
            [](const std::string& d) { return listed(d + "/p/d"); }, "" },
    });
}

TEST(VisibleNames, AreBytesAndHiddenByTheByteAlone)
{
    const Names visible { "a\nb%41#c?", "\xCC\x81", "\xEF\xBB\xBFx", "\xEF\xBC\x8E" };
    const Names hidden { ".x", "..x", "...", ".\xCC\x81" };
    const TemporaryDirectory directory;
    for (const std::string& name : visible)
        writeFile(directory / name, "");
    for (const std::string& name : hidden)
        writeFile(directory / name, "");
    EXPECT_EQ(sortedNames(directory.path()), visible);
}

// More than the system hands over at once.
TEST(VisibleNames, AreAllOfThemInALargeDirectory)
{
    const TemporaryDirectory directory;
    Names expected;
    for (int number = 1000; number < 3000; ++number) {
        expected.push_back(std::string(40, 'n') + std::to_string(number));
        writeFile(directory / expected.back(), "");
    }
    EXPECT_EQ(sortedNames(directory.path()), expected);
}

TEST(VisibleNames, HaveUpTo255Bytes)
{
    const TemporaryDirectory directory;
    Names expected;
    for (char letter = 'a'; letter <= 'z'; ++letter) {
        for (char other = 'a'; other <= 'e'; ++other) {
            expected.push_back(std::string(254, letter) + other);
            writeFile(directory / expected.back(), "");
        }
    }
    EXPECT_EQ(sortedNames(directory.path()), expected);
}

TEST(NamesInDirectory, HoldHiddenNamesButNotItsOwnAndItsParents)
{
    const TemporaryDirectory directory;
    for (const char* const name : { ".x", "...", "..x", "x" })
        writeFile(directory / name, "");
    const auto open = platform::localFileSystem().openForReading(directory.path());
    ASSERT_TRUE(open);
    auto names = platform::namesInDirectory(open->number());
    ASSERT_TRUE(names);
    std::ranges::sort(*names);
    EXPECT_EQ(*names, (Names { "...", "..x", ".x", "x" }));
    // The descriptor is still the caller's.
    EXPECT_TRUE(platform::localFileSystem().attributes(*open));
}

TEST(NamesInDirectory, FailForWhatIsNoDirectory)
{
    const TemporaryDirectory directory;
    writeFile(directory / "x", "");
    const auto open = platform::localFileSystem().openForReading(directory / "x");
    ASSERT_TRUE(open);
    const auto names = platform::namesInDirectory(open->number());
    ASSERT_FALSE(names);
    EXPECT_EQ(names.error().code, ENOTDIR);
    EXPECT_EQ(platform::namesInDirectory(-1).error().code, EBADF);
}

} // namespace
