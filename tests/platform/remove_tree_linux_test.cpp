// Trees in which items are exchanged for links while they are removed, or cannot be removed. This
// program's own `unlinkat` stands before the C library's here, so that an exchange takes place
// exactly between two calls, and one of them fails.

#include "platform/remove_tree.h"
#include "tests/support/file_cases.h"
#include "tests/support/temporary_directory.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

// What is to be done once after a call for an item of that name and with those flags.
struct Interference {
    std::string_view name;
    int flags = 0;
    std::function<void()> action;
};

Interference pending;

// The call, counted from 1, that fails instead of being made, and its error.
int failingCall = 0;
int failingCallError = 0;

void interfereAfter(std::string_view name, int flags)
{
    if (pending.action && name.ends_with(pending.name) && flags == pending.flags)
        std::exchange(pending.action, nullptr)();
}

} // namespace

extern "C" int unlinkat(int directory, const char* name, int flags) noexcept
{
    if (failingCall > 0) {
        --failingCall;
        if (failingCall == 0) {
            errno = failingCallError;
            return -1;
        }
    }
    const long result = ::syscall(SYS_unlinkat, directory, name, flags);
    const int error = errno;
    interfereAfter(name, flags);
    errno = error;
    return static_cast<int>(result);
}

namespace {

using namespace support;

constexpr int removeFile = 0;

// A tree x with the file x/inner/file, and beside it the file out/file that a link may lead to.
class RemoveTreeMeanwhile : public testing::Test {
protected:
    void SetUp() override
    {
        writeFile(directory_ / "x/inner/file", "1");
        writeFile(directory_ / "out/file", "1");
    }

    // Has the item exchanged for a link to "out" after that call for it; yields what the removal
    // comes to.
    [[nodiscard]] std::string removeWhileExchanging(const std::string& item, int afterFlags)
    {
        pending = { .name = item, .flags = afterFlags, .action = [this, item] {
                       const std::string path = directory_ / (item == "x" ? "x" : "x/" + item);
                       std::filesystem::rename(path, directory_ / "aside");
                       makeSymbolicLink(directory_ / "out", path);
                   } };
        std::string result = outcome(platform::removeTree(directory_ / "x"));
        EXPECT_EQ(pending.action, nullptr) << "nothing was exchanged";
        return result;
    }

    [[nodiscard]] std::string describe(const std::string& name) const
    {
        return describeItem(directory_ / name);
    }

private:
    TemporaryDirectory directory_;
};

TEST_F(RemoveTreeMeanwhile, FollowsNoLinkThatTookTheTreesPlace)
{
    EXPECT_EQ(removeWhileExchanging("x", AT_REMOVEDIR), failure(ENOTDIR));
    EXPECT_EQ(describe("out/file"), "file 0600 1 B");
    EXPECT_EQ(describe("x"), "link");
}

TEST_F(RemoveTreeMeanwhile, FollowsNoLinkThatTookTheTreesPlaceBeforeItWasTakenForADirectory)
{
    EXPECT_EQ(removeWhileExchanging("x", removeFile), failure(EISDIR));
    EXPECT_EQ(describe("out/file"), "file 0600 1 B");
    EXPECT_EQ(describe("x"), "link");
}

TEST_F(RemoveTreeMeanwhile, FollowsNoLinkThatTookAnInnerDirectorysPlace)
{
    EXPECT_EQ(removeWhileExchanging("inner", AT_REMOVEDIR), failure(ENOTDIR));
    EXPECT_EQ(describe("out/file"), "file 0600 1 B");
    EXPECT_EQ(describe("x/inner"), "link");
}

// Removes the tree d, which holds the file d/file; its second call finds the directory not empty,
// its fourth removes it.
std::string removeWithFailingCall(const TemporaryDirectory& directory, int number, int error)
{
    writeFile(directory / "d/file", "1");
    failingCall = number;
    failingCallError = error;
    return outcome(platform::removeTree(directory / "d"));
}

TEST(RemoveTreeThatFails, TakesBothAnswersForADirectoryThatIsNotEmpty)
{
    const TemporaryDirectory directory;
    for (const int error : { ENOTEMPTY, EEXIST }) {
        EXPECT_EQ(removeWithFailingCall(directory, 2, error), "done");
        EXPECT_FALSE(exists(directory / "d"));
    }
    EXPECT_EQ(removeWithFailingCall(directory, 2, EBUSY), failure(EBUSY));
    EXPECT_TRUE(exists(directory / "d/file"));
}

// POSIX has EPERM where Linux says EISDIR.
TEST(RemoveTreeThatFails, TakesBothAnswersForADirectoryThatIsNoFile)
{
    const TemporaryDirectory directory;
    for (const int error : { EISDIR, EPERM }) {
        EXPECT_EQ(removeWithFailingCall(directory, 1, error), "done");
        EXPECT_FALSE(exists(directory / "d"));
    }
    EXPECT_EQ(removeWithFailingCall(directory, 1, EBUSY), failure(EBUSY));
    EXPECT_TRUE(exists(directory / "d/file"));
}

TEST(RemoveTreeThatFails, LeavesADirectoryThatItEmptiedAndCannotRemove)
{
    const TemporaryDirectory directory;
    EXPECT_EQ(removeWithFailingCall(directory, 4, EBUSY), failure(EBUSY));
    EXPECT_TRUE(exists(directory / "d"));
    EXPECT_EQ(namesIn(directory / "d"), std::vector<std::string> {});
}

} // namespace
