#include "kestranectl/event_taking.h"
#include "tests/kestranectl/bridge_fixture.h"
#include "tests/support/failing_file_system.h"

#include <cerrno>

#include <unistd.h>

namespace kestranectl {
namespace {

using Names = std::vector<std::string>;

class TakeEventsTest : public BridgeFixture {
protected:
    void SetUp() override { support::writeFile(path("Inbox/1.event"), "1"); }

    [[nodiscard]] BridgeSnapshot look() const { return takeSnapshot(environment); }
};

TEST_F(TakeEventsTest, DeletesWhatWasLookedAt)
{
    leaveEvent();
    EXPECT_EQ(takeEvents(look(), environment), Names {});
    EXPECT_EQ(namesIn("Inbox"), Names {});
}

TEST_F(TakeEventsTest, LeavesWhatCameLater)
{
    const BridgeSnapshot snapshot = look();
    support::writeFile(path("Inbox/2.event"), "2");
    EXPECT_EQ(takeEvents(snapshot, environment), Names {});
    EXPECT_EQ(namesIn("Inbox"), Names { "2.event" });
}

TEST_F(TakeEventsTest, LeavesWhatIsNoEventOrNoFile)
{
    support::writeFile(path("Inbox/notes"), "");
    support::writeFile(path("Inbox/.hidden.event"), "");
    support::writeFile(path("Inbox/directory.event/file"), "");
    support::makeSymbolicLink("1.event", path("Inbox/link.event"));
    EXPECT_EQ(takeEvents(look(), environment), Names {});
    EXPECT_EQ(
        namesIn("Inbox"), (Names { ".hidden.event", "directory.event", "link.event", "notes" }));
    EXPECT_EQ(namesIn("Inbox/directory.event"), Names { "file" });
}

TEST_F(TakeEventsTest, DoesNothingWithoutAnInbox)
{
    const BridgeSnapshot snapshot = look();
    ASSERT_EQ(::unlink(path("Inbox/1.event").c_str()), 0);
    ASSERT_EQ(::rmdir(path("Inbox").c_str()), 0);
    EXPECT_EQ(takeEvents(snapshot, environment), Names {});
}

TEST_F(TakeEventsTest, FollowsNobodyElsewhere)
{
    const BridgeSnapshot snapshot = look();
    support::FailingFileSystem fileSystem;
    const host::HostEnvironment onIt { environment.store, fileSystem, environment.services };
    support::writeFile(directory / "elsewhere/1.event", "");
    bool isReplaced = false;
    fileSystem.beforeCall([&](support::FileOperation operation, const std::string&) {
        if (operation == support::FileOperation::visibleNames || isReplaced)
            return;
        isReplaced = true;
        ASSERT_EQ(::rename(path("Inbox").c_str(), path("Moved").c_str()), 0);
        support::makeSymbolicLink(directory / "elsewhere", path("Inbox"));
    });
    EXPECT_EQ(takeEvents(snapshot, onIt), Names {});
    EXPECT_TRUE(isReplaced);
    EXPECT_EQ(support::namesIn(directory / "elsewhere"), Names { "1.event" });
    EXPECT_EQ(namesIn("Moved"), Names {});
}

TEST_F(TakeEventsTest, SaysWhatCannotBeDeleted)
{
    support::FailingFileSystem fileSystem;
    const host::HostEnvironment onIt { environment.store, fileSystem, environment.services };
    fileSystem.failOperation(support::FileOperation::remove, EACCES);
    EXPECT_EQ(
        takeEvents(look(), onIt), Names { "The event 1.event cannot be taken: Permission denied" });
    fileSystem.failOperation(support::FileOperation::remove, ENOENT);
    EXPECT_EQ(takeEvents(look(), onIt), Names {}) << "somebody else has taken it";
}

} // namespace
} // namespace kestranectl
