// What only Linux lets a test do to a file system: fill it, take its inodes, make it read-only,
// give items names that are no text.

#include "platform/file_system.h"
#include "tests/support/as_other_user.h"
#include "tests/support/file_cases.h"
#include "tests/support/temporary_directory.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>

namespace {

using namespace support;

std::string create(const std::string& path, std::string_view bytes)
{
    const platform::FileSystem& fileSystem = platform::localFileSystem();
    const auto file = fileSystem.createFile(path);
    if (!file)
        return "not created: " + message(file.error());
    const auto written = fileSystem.write(*file, bytes);
    return written ? "done" : "not written: " + message(written.error());
}

// Runs `check` where a small file system of its own is mounted, which nobody else sees.
void onSmallFileSystem(
    const char* options, const std::function<void(const std::string& directory)>& check)
{
    if (!isRoot())
        GTEST_SKIP() << "only root can mount a file system";
    const TemporaryDirectory directory;
    const char* const path = directory.path().c_str();
    inChildProcess([&] {
        if (::unshare(CLONE_NEWNS) != 0
            || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0
            || ::mount("none", path, "tmpfs", 0, options) != 0)
            GTEST_SKIP() << "mounting is not permitted here: " << std::strerror(errno);
        check(directory.path());
    });
}

TEST(FullFileSystem, TakesNoMoreBytes)
{
    onSmallFileSystem("size=16k", [](const std::string& d) {
        ASSERT_EQ(create(d + "/fill", std::string(16384, 'f')), "done");
        EXPECT_EQ(create(d + "/x", "0123456789"), "not written: " + failure(ENOSPC));
        EXPECT_EQ(describeItem(d + "/fill"), "file 0600 16384 B");
    });
}

TEST(FullFileSystem, FailsInTheMiddleOfAWritingAfterWhatFits)
{
    onSmallFileSystem("size=16k", [](const std::string& d) {
        ASSERT_EQ(create(d + "/fill", std::string(8192, 'f')), "done");
        EXPECT_EQ(create(d + "/x", std::string(20000, 'x')), "not written: " + failure(ENOSPC));
        EXPECT_EQ(describeItem(d + "/x"), "file 0600 8192 B");
    });
}

TEST(FullFileSystem, LetsFilesBeRemovedAndRenamed)
{
    onSmallFileSystem("size=16k", [](const std::string& d) {
        ASSERT_EQ(create(d + "/old", "old"), "done");
        ASSERT_NE(create(d + "/fill", std::string(16384, 'f')), "done");
        const platform::FileSystem& fileSystem = platform::localFileSystem();
        EXPECT_EQ(outcome(fileSystem.rename(d + "/old", d + "/x")), "done");
        EXPECT_EQ(readFile(d + "/x"), "old");
        EXPECT_EQ(outcome(fileSystem.remove(d + "/fill")), "done");
        EXPECT_EQ(create(d + "/new", "0123456789"), "done");
    });
}

TEST(FileSystemWithoutInodes, TakesNoMoreItems)
{
    onSmallFileSystem("size=64k,nr_inodes=2", [](const std::string& d) {
        ASSERT_EQ(create(d + "/a", ""), "done");
        EXPECT_EQ(create(d + "/x", "0123456789"), "not created: " + failure(ENOSPC));
        EXPECT_EQ(outcome(platform::localFileSystem().createDirectories(d + "/b/c", 0700)),
            failure(ENOSPC));
        EXPECT_EQ(namesIn(d), std::vector<std::string> { "a" });
    });
}

TEST(ReadOnlyFileSystem, CanBeReadAndNothingElse)
{
    onSmallFileSystem("size=64k", [](const std::string& d) {
        const platform::FileSystem& fileSystem = platform::localFileSystem();
        writeFile(d + "/x", "old");
        makeDirectory(d + "/full/inner");
        ASSERT_EQ(::mount("none", d.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);

        const std::string readOnly = failure(EROFS);
        EXPECT_EQ(create(d + "/new", "1"), "not created: " + readOnly);
        EXPECT_EQ(outcome(fileSystem.rename(d + "/x", d + "/y")), readOnly);
        EXPECT_EQ(outcome(fileSystem.remove(d + "/x")), readOnly);
        EXPECT_EQ(outcome(fileSystem.remove(d + "/full")), readOnly);
        EXPECT_EQ(outcome(fileSystem.createDirectories(d + "/a/b", 0700)), readOnly);
        EXPECT_EQ(outcome(fileSystem.createDirectories(d + "/full/inner", 0700)), "done");
        EXPECT_EQ(outcome(fileSystem.setDirectoryPermissions(d + "/full", 0755)), readOnly);
        EXPECT_EQ(fileSystem.visibleNames(d)->names.size(), 2U);
        const auto file = fileSystem.openForReading(d + "/x");
        ASSERT_TRUE(file);
        EXPECT_EQ(outcome(fileSystem.setPermissions(*file, 0600)), readOnly);
        EXPECT_EQ(readFile(d + "/x"), "old");
    });
}

TEST(MountedDirectory, IsNotRemoved)
{
    onSmallFileSystem("size=64k", [](const std::string& d) {
        EXPECT_EQ(outcome(platform::localFileSystem().remove(d)), failure(EBUSY));
    });
}

TEST(BlockDevice, IsNeitherRegularNorOpenedIfThereIsNone)
{
    if (!isRoot())
        GTEST_SKIP() << "only root can make a device";
    const TemporaryDirectory directory;
    constexpr dev_t noSuchDevice = 0xEF00;
    if (::mknod((directory / "x").c_str(), S_IFBLK | 0600, noSuchDevice) != 0)
        GTEST_SKIP() << "making a device is not permitted here: " << std::strerror(errno);
    const auto attributes = platform::localFileSystem().attributes(directory / "x");
    ASSERT_TRUE(attributes);
    EXPECT_EQ(attributes->kind, platform::FileKind::other);
    EXPECT_FALSE(platform::localFileSystem().openForReading(directory / "x"));
}

TEST(NameThatIsNotUTF8, IsListedAndUsedLikeAnyOther)
{
    const std::string name = "x\xFF.command";
    const TemporaryDirectory directory;
    writeFile(directory / name, "123");
    writeFile(directory / ".\xFF", "");
    const platform::FileSystem& fileSystem = platform::localFileSystem();
    EXPECT_EQ(fileSystem.visibleNames(directory.path())->names, std::vector<std::string> { name });
    EXPECT_EQ(fileSystem.attributes(directory / name)->size, 3U);
    EXPECT_TRUE(fileSystem.openForReading(directory / name));
    EXPECT_EQ(outcome(fileSystem.remove(directory / name)), "done");
    EXPECT_FALSE(exists(directory / name));
}

} // namespace
