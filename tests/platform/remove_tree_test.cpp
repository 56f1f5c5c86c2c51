// Trees that are deep.

#include "platform/remove_tree.h"
#include "tests/support/as_other_user.h"
#include "tests/support/file_cases.h"
#include "tests/support/temporary_directory.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <tuple>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace support;

// The most files that the process may have open, set for a scope.
class ScopedFileLimit {
public:
    explicit ScopedFileLimit(rlim_t limit)
    {
        EXPECT_EQ(::getrlimit(RLIMIT_NOFILE, &previous_), 0);
        rlimit changed = previous_;
        changed.rlim_cur = limit;
        EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &changed), 0);
    }
    ScopedFileLimit(const ScopedFileLimit&) = delete;
    ScopedFileLimit& operator=(const ScopedFileLimit&) = delete;
    ~ScopedFileLimit() { std::ignore = ::setrlimit(RLIMIT_NOFILE, &previous_); }

private:
    rlimit previous_ {};
};

// Makes as many directories within one another, the first one at `path`, and a file in the last
// one. The path of the last one is longer than the system takes.
void makeNestedDirectories(const std::string& path, int count)
{
    ASSERT_EQ(::mkdir(path.c_str(), 0700), 0);
    int directory = ::open(path.c_str(), O_RDONLY | O_DIRECTORY);
    for (int made = 1; made < count; ++made) {
        ASSERT_EQ(::mkdirat(directory, "nested", 0700), 0);
        const int inner = ::openat(directory, "nested", O_RDONLY | O_DIRECTORY);
        ASSERT_GE(inner, 0);
        ::close(directory);
        directory = inner;
    }
    const int file = ::openat(directory, "file", O_WRONLY | O_CREAT, 0600);
    ASSERT_GE(file, 0);
    ::close(file);
    ::close(directory);
}

TEST(RemoveTree, Takes512DirectoriesWithinOneAnother)
{
    const ScopedFileLimit limit(1024);
    const TemporaryDirectory directory;
    makeNestedDirectories(directory / "x", 512);
    EXPECT_EQ(outcome(platform::removeTree(directory / "x")), "done");
    EXPECT_FALSE(exists(directory / "x"));
}

TEST(RemoveTree, FailsAtOneMore)
{
    const ScopedFileLimit limit(1024);
    const TemporaryDirectory directory;
    makeNestedDirectories(directory / "x", 513);
    EXPECT_EQ(outcome(platform::removeTree(directory / "x")), failure(ENAMETOOLONG));
    EXPECT_TRUE(exists(directory / "x"));
}

TEST(RemoveTree, FailsWhenThereAreNoMoreDescriptors)
{
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizer needs descriptors of its own to look at objects";
#endif
    const TemporaryDirectory directory;
    makeNestedDirectories(directory / "x", 100);
    {
        const ScopedFileLimit limit(50);
        EXPECT_EQ(outcome(platform::removeTree(directory / "x")), failure(EMFILE));
        EXPECT_TRUE(exists(directory / "x"));
    }
    EXPECT_EQ(outcome(platform::removeTree(directory / "x")), "done");
}

TEST(RemoveTree, LeavesNoDescriptorOpen)
{
    const TemporaryDirectory directory;
    const auto nextDescriptor = [] {
        const int number = ::open("/", O_RDONLY);
        ::close(number);
        return number;
    };
    const int before = nextDescriptor();
    makeNestedDirectories(directory / "x", 20);
    ASSERT_EQ(outcome(platform::removeTree(directory / "x")), "done");
    makeNestedDirectories(directory / "x", 513);
    ASSERT_NE(outcome(platform::removeTree(directory / "x")), "done");
    EXPECT_EQ(nextDescriptor(), before);
}

TEST(RemoveTree, WorksWhereStandardInputIsClosed)
{
    const TemporaryDirectory directory;
    writeFile(directory / "x/f", "1");
    inChildProcess([&directory] {
        ::close(STDIN_FILENO);
        EXPECT_EQ(outcome(platform::removeTree(directory / "x")), "done");
    });
    EXPECT_FALSE(exists(directory / "x"));
}

TEST(RemoveTree, DoesNotFollowALinkAtTheRoot)
{
    const TemporaryDirectory directory;
    writeFile(directory / "out/keep", "1");
    makeSymbolicLink("out", directory / "x");
    EXPECT_EQ(outcome(platform::removeTree(directory / "x")), "done");
    EXPECT_FALSE(exists(directory / "x"));
    EXPECT_TRUE(exists(directory / "out/keep"));
}

} // namespace
