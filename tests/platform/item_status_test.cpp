#include "platform/item_status.h"

#include "platform/clock.h"

#include "tests/support/as_other_user.h"
#include "tests/support/temporary_directory.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>

#include <unistd.h>

namespace platform {
namespace {

class ItemStatusTest : public testing::Test {
protected:
    support::TemporaryDirectory directory;
};

using StatusOfItem = ItemStatusTest;
using StatusOfTarget = ItemStatusTest;
using MayExecute = ItemStatusTest;
using ResolvedPath = ItemStatusTest;

FileError errorOf(const auto& result)
{
    return result ? FileError {} : result.error();
}

TEST_F(StatusOfItem, TellsKindSizePermissionsAndOwner)
{
    support::writeFile(directory / "file", "12345", 0640);
    const auto status = statusOfItem(directory / "file");
    ASSERT_TRUE(status);
    EXPECT_EQ(status->kind, FileKind::regular);
    EXPECT_EQ(status->size, 5U);
    EXPECT_EQ(status->permissions, 0640U);
    EXPECT_EQ(status->owner, ::geteuid());
    EXPECT_EQ(status->owner, currentUser());
}

TEST_F(StatusOfItem, TellsWhenTheItemWasChanged)
{
    support::writeFile(directory / "file", "");
    const auto status = statusOfItem(directory / "file");
    ASSERT_TRUE(status);
    // An hour allows for any machine, and a wrong epoch is 31 years off.
    EXPECT_LT(std::abs(base::secondsBetween(status->modifiedAt, currentTime())), 3600);
}

TEST_F(StatusOfItem, TellsTheStickyBit)
{
    support::makeDirectory(directory / "shared");
    support::setPermissions(directory / "shared", 01777);
    const auto status = statusOfItem(directory / "shared");
    ASSERT_TRUE(status);
    EXPECT_EQ(status->kind, FileKind::directory);
    EXPECT_EQ(status->permissions, 01777U);
}

TEST_F(StatusOfItem, IsThatOfALinkItself)
{
    support::makeSymbolicLink(directory / "nothing", directory / "link");
    const auto status = statusOfItem(directory / "link");
    ASSERT_TRUE(status);
    EXPECT_EQ(status->kind, FileKind::symbolicLink);
}

TEST_F(StatusOfItem, TellsAFIFOFromAFile)
{
    support::makeFIFO(directory / "fifo");
    const auto status = statusOfItem(directory / "fifo");
    ASSERT_TRUE(status);
    EXPECT_EQ(status->kind, FileKind::other);
}

TEST_F(StatusOfItem, FailsWithTheSystemsError)
{
    support::writeFile(directory / "file", "");
    EXPECT_EQ(errorOf(statusOfItem(directory / "nothing")), FileError { ENOENT });
    EXPECT_EQ(errorOf(statusOfItem(directory / "file/below")), FileError { ENOTDIR });
}

TEST_F(StatusOfTarget, FollowsALink)
{
    support::writeFile(directory / "file", "123");
    support::makeSymbolicLink("file", directory / "link");
    const auto status = statusOfTarget(directory / "link");
    ASSERT_TRUE(status);
    EXPECT_EQ(status->kind, FileKind::regular);
    EXPECT_EQ(status->size, 3U);
}

TEST_F(StatusOfTarget, FailsForALinkToNothing)
{
    support::makeSymbolicLink("nothing", directory / "link");
    EXPECT_EQ(errorOf(statusOfTarget(directory / "link")), FileError { ENOENT });
}

TEST_F(MayExecute, DependsOnThePermission)
{
    support::writeFile(directory / "tool", "", 0755);
    support::writeFile(directory / "text", "", 0644);
    EXPECT_TRUE(mayExecute(directory / "tool"));
    EXPECT_EQ(errorOf(mayExecute(directory / "text")), FileError { EACCES });
    EXPECT_EQ(errorOf(mayExecute(directory / "nothing")), FileError { ENOENT });
}

TEST_F(MayExecute, IsAskedForTheUserThatTheProcessActsAs)
{
    if (!support::isRoot())
        GTEST_SKIP() << "only root can act as another user";
    support::setPermissions(directory.path(), 0755);
    support::writeFile(directory / "tool", "", 0700);
    support::inChildProcess([&] {
        ASSERT_EQ(::seteuid(support::unprivilegedUser), 0); // started by root all the same
        EXPECT_EQ(errorOf(mayExecute(directory / "tool")), FileError { EACCES });
    });
}

TEST_F(ResolvedPath, HasNoLinksAndNoDots)
{
    const auto resolved = resolvedPath(directory.path());
    ASSERT_TRUE(resolved);
    support::makeDirectory(directory / "real");
    support::writeFile(directory / "real/file", "");
    support::makeSymbolicLink("real", directory / "link");
    EXPECT_EQ(resolvedPath(directory / "link/.././link/file"), *resolved + "/real/file");
}

TEST_F(ResolvedPath, FailsForWhatIsNotThere)
{
    EXPECT_EQ(errorOf(resolvedPath(directory / "nothing")), FileError { ENOENT });
}

} // namespace
} // namespace platform
