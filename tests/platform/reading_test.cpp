// Opening for reading, and reading.

#include "platform/file_system.h"
#include "tests/support/as_other_user.h"
#include "tests/support/file_cases.h"
#include "tests/support/temporary_directory.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <functional>
#include <string>

namespace {

using namespace support;

// What one reading of at most `count` bytes gives once the item is open.
std::string readFrom(const std::string& path, std::size_t count)
{
    const platform::FileSystem& fileSystem = platform::localFileSystem();
    const auto file = fileSystem.openForReading(path);
    if (!file)
        return "not opened: " + message(file.error());
    std::string buffer(count, '\0');
    const auto size = fileSystem.read(*file, buffer);
    return size ? "read " + std::to_string(*size) : "not read: " + message(size.error());
}

std::string read129(const std::string& directory)
{
    return readFrom(directory + "/x", 129);
}

std::function<void(const std::string&)> fileOf(std::size_t size, unsigned permissions = 0600)
{
    return [size, permissions](
               const std::string& d) { writeFile(d + "/x", std::string(size, 'b'), permissions); };
}

TEST(OpenForReading, GivesRegularFilesAndDirectoriesAlone)
{
    checkCasesForEveryone({
        { "missing", [](const std::string&) {}, read129, "not opened: " + failure(ENOENT) },
        { "empty file", fileOf(0), read129, "read 0" },
        { "5 bytes", fileOf(5), read129, "read 5" },
        { "129 bytes", fileOf(129), read129, "read 129" },
        { "300 bytes", fileOf(300), read129, "read 129" },
        { "directory", [](const std::string& d) { makeDirectory(d + "/x"); }, read129,
            "not read: " + failure(EISDIR) },
        { "through a file", [](const std::string& d) { writeFile(d + "/p", "1"); },
            [](const std::string& d) { return readFrom(d + "/p/x", 1); },
            "not opened: " + failure(ENOTDIR) },
        { "through a link to a directory",
            [](const std::string& d) {
                writeFile(d + "/r/x", "1");
                makeSymbolicLink("r", d + "/p");
            },
            [](const std::string& d) { return readFrom(d + "/p/x", 9); }, "read 1" },
        { "name of 300 bytes", [](const std::string&) {},
            [](const std::string& d) { return readFrom(d + '/' + std::string(300, 'n'), 1); },
            "not opened: " + failure(ENAMETOOLONG) },
        { "name that begins with a BOM and holds a newline, a percent sign, # and ?",
            [](const std::string& d) { writeFile(d + "/\xEF\xBB\xBF\n%41#?", "1"); },
            [](const std::string& d) { return readFrom(d + "/\xEF\xBB\xBF\n%41#?", 9); },
            "read 1" },
    });
}

TEST(OpenForReading, DoesNotFollowALinkAtTheEndOfThePath)
{
    checkCasesForEveryone({
        { "link to a file",
            [](const std::string& d) {
                writeFile(d + "/y", "123");
                makeSymbolicLink("y", d + "/x");
            },
            read129, "not opened: " + failure(ELOOP) },
        { "dangling link", [](const std::string& d) { makeSymbolicLink("nowhere", d + "/x"); },
            read129, "not opened: " + failure(ELOOP) },
        { "link to a directory",
            [](const std::string& d) {
                makeDirectory(d + "/y");
                makeSymbolicLink("y", d + "/x");
            },
            read129, "not opened: " + failure(ELOOP) },
        { "link to a FIFO",
            [](const std::string& d) {
                makeFIFO(d + "/y");
                makeSymbolicLink("y", d + "/x");
            },
            read129, "not opened: " + failure(ELOOP) },
    });
}

// A blocking opening would wait here for ever.
TEST(OpenForReading, NeverWaits)
{
    const auto open = [](const std::string& path) {
        return platform::localFileSystem().openForReading(path).has_value();
    };
    const TemporaryDirectory directory;
    makeFIFO(directory / "FIFO");
    EXPECT_TRUE(open(directory / "FIFO"));
    makeSocket(directory / "socket");
    EXPECT_FALSE(open(directory / "socket"));
    EXPECT_TRUE(open("/dev/null"));
}

TEST(OpenForReading, IsDeniedToAUserWithoutReadPermission)
{
    checkCasesForOrdinaryUser({
        { "mode 0000", fileOf(1, 0), read129, "not opened: " + failure(EACCES) },
        { "mode 0200", fileOf(1, 0200), read129, "not opened: " + failure(EACCES) },
        { "mode 0400", fileOf(1, 0400), read129, "read 1" },
    });
}

TEST(OpenForReading, IsNotDeniedToRoot)
{
    checkCasesForRoot({ { "mode 0000", fileOf(1, 0), read129, "read 1" } });
}

TEST(Read, GoesOnWhereTheLastReadingEndedAndGivesNothingAtTheEnd)
{
    const TemporaryDirectory directory;
    writeFile(directory / "x", "abcde");
    const platform::FileSystem& fileSystem = platform::localFileSystem();
    const auto file = fileSystem.openForReading(directory / "x");
    ASSERT_TRUE(file);
    std::array<char, 3> buffer {};
    ASSERT_EQ(fileSystem.read(*file, buffer), 3U);
    EXPECT_EQ(std::string(buffer.data(), 3), "abc");
    ASSERT_EQ(fileSystem.read(*file, buffer), 2U);
    EXPECT_EQ(std::string(buffer.data(), 2), "de");
    EXPECT_EQ(fileSystem.read(*file, buffer), 0U);
}

TEST(Read, SeesWhatWasAddedAfterTheOpening)
{
    const TemporaryDirectory directory;
    writeFile(directory / "x", "abc");
    const platform::FileSystem& fileSystem = platform::localFileSystem();
    const auto file = fileSystem.openForReading(directory / "x");
    ASSERT_TRUE(file);
    writeFile(directory / "x", "abcdef");
    std::array<char, 9> buffer {};
    EXPECT_EQ(fileSystem.read(*file, buffer), 6U);
}

TEST(Read, GivesAllBytesAsTheyAre)
{
    const TemporaryDirectory directory;
    std::string bytes;
    for (int value = 0; value < 256; ++value)
        bytes += static_cast<char>(value);
    writeFile(directory / "x", bytes);
    const platform::FileSystem& fileSystem = platform::localFileSystem();
    const auto file = fileSystem.openForReading(directory / "x");
    ASSERT_TRUE(file);
    std::string buffer(300, '\0');
    ASSERT_EQ(fileSystem.read(*file, buffer), 256U);
    EXPECT_EQ(buffer.substr(0, 256), bytes);
}

} // namespace
