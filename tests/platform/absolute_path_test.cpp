#include "platform/absolute_path.h"
#include "tests/support/as_other_user.h"
#include "tests/support/temporary_directory.h"

#include <gtest/gtest.h>

#include <string>

#include <unistd.h>

namespace {

using namespace support;
using platform::absolutePath;

TEST(AbsolutePath, LeavesWhatIsAbsoluteOrEmptyAsItIs)
{
    EXPECT_EQ(absolutePath("/a/../b"), "/a/../b");
    EXPECT_EQ(absolutePath("/"), "/");
    EXPECT_EQ(absolutePath(""), "");
}

TEST(AbsolutePath, PutsTheWorkingDirectoryInFront)
{
    inChildProcess([] {
        ASSERT_EQ(::chdir("/usr/bin"), 0);
        EXPECT_EQ(absolutePath("a/b"), "/usr/bin/a/b");
        EXPECT_EQ(absolutePath("../b"), "/usr/bin/../b");
        EXPECT_EQ(absolutePath("~/b"), "/usr/bin/~/b");
        ASSERT_EQ(::chdir("/"), 0);
        EXPECT_EQ(absolutePath("a"), "/a");
    });
}

TEST(AbsolutePath, KnowsLongWorkingDirectories)
{
    const TemporaryDirectory directory;
    inChildProcess([&directory] {
        std::string path = directory.path();
        while (path.size() < 1000) {
            path += '/' + std::string(200, 'd');
            makeDirectory(path);
        }
        ASSERT_EQ(::chdir(path.c_str()), 0);
        EXPECT_EQ(absolutePath("a"), path + "/a");
    });
}

TEST(AbsolutePath, LeavesThePathWhereTheWorkingDirectoryIsGone)
{
    const TemporaryDirectory directory;
    makeDirectory(directory / "gone");
    inChildProcess([&directory] {
        ASSERT_EQ(::chdir((directory / "gone").c_str()), 0);
        ASSERT_EQ(::rmdir((directory / "gone").c_str()), 0);
        EXPECT_EQ(absolutePath("a"), "a");
    });
}

} // namespace
