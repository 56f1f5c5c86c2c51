// The bridge directory on file systems with no room left.

#include "tests/exhaustion/exhaustion_test.h"
#include "tests/exhaustion/private_mount.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace exhaustion;

constexpr std::string_view noSpace = "No space left on device";
constexpr std::string_view readOnly = "Read-only file system";

const object eventWithVersion = activity({}, { { "extensionVersion", "1.0.0" } });

class SmallFileSystem : public Exhaustion {
protected:
    void SetUp() override
    {
        if (const std::string reason = enterOwnMountNamespace(); !reason.empty())
            GTEST_SKIP() << reason;
        mount();
    }

    // Puts the bridge directory on a fresh file system.
    void mount()
    {
        mount_.reset();
        mount_.emplace(root(), "size=64k,nr_inodes=64");
        support::writeToken(root());
        leaveState(liveState());
        support::makeDirectory(filler());
    }

    // Takes all room for contents but this many pages.
    void fillPages(int pagesLeft) const
    {
        const std::string path = filler() + "/pages";
        const support::Descriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
        ASSERT_GE(file.number(), 0) << std::strerror(errno);
        const std::string page(static_cast<std::size_t>(::sysconf(_SC_PAGESIZE)), 'x');
        off_t size = 0;
        while (
            ::write(file.number(), page.data(), page.size()) == static_cast<ssize_t>(page.size()))
            size += static_cast<off_t>(page.size());
        ASSERT_EQ(errno, ENOSPC) << std::strerror(errno);
        size -= pagesLeft * static_cast<off_t>(page.size());
        ASSERT_EQ(::ftruncate(file.number(), size), 0) << std::strerror(errno);
    }

    // Takes all room for files and directories but that for this many.
    void fillInodes(int inodesLeft) const
    {
        int made = 0;
        while (::mkdir(fillerDirectory(made).c_str(), 0700) == 0)
            ++made;
        ASSERT_EQ(errno, ENOSPC) << std::strerror(errno);
        ASSERT_GE(made, inodesLeft);
        for (; inodesLeft > 0; --inodesLeft)
            ASSERT_EQ(::rmdir(fillerDirectory(--made).c_str()), 0) << std::strerror(errno);
    }

    void makeRoom() const
    {
        std::filesystem::remove_all(filler());
        support::makeDirectory(filler());
    }

    void setReadOnly(bool isReadOnly) const { mount_->setReadOnly(isReadOnly); }

    void makeInboxAndReadiness() const
    {
        support::makeDirectory(pathOf("Inbox"));
        support::makeDirectory(pathOf("Readiness"));
    }

private:
    std::string filler() const { return pathOf("filler"); }
    std::string fillerDirectory(int number) const
    {
        return filler() + '/' + std::to_string(number);
    }

    std::optional<PrivateMount> mount_;
};

TEST_F(SmallFileSystem, FullRefusesEventsUntilThereIsRoomAgain)
{
    fillPages(0);
    for (int requests = 0; requests < 3; ++requests)
        EXPECT_EQ(ask(activity()), refusal(noSpace));
    expectEvents(0);
    expectNothingUnfinished();
    makeRoom();
    EXPECT_EQ(ask(activity()), liveResponse());
    expectEvents(1);
    EXPECT_EQ(ask(ping()), liveResponse());
    expectEndWithTraces(2);
}

// First the record of readiness takes what there is, then the event.
TEST_F(SmallFileSystem, TakesWhatThereIsPagesFor)
{
    for (const int pages : { 0, 1, 2 }) {
        SCOPED_TRACE(pages);
        mount();
        fillPages(pages);
        startHost(options());
        EXPECT_EQ(ask(eventWithVersion), pages < 2 ? refusal(noSpace) : liveResponse());
        expectNothingUnfinished();
        EXPECT_EQ(readiness().empty(), pages < 1);
        expectEvents(pages < 2 ? 0 : 1);
        makeRoom();
        EXPECT_EQ(ask(eventWithVersion), liveResponse());
        expectEndWithTraces(pages < 2 ? 2 : 3);
    }
}

// The directory of readiness, its record, the inbox, the event.
TEST_F(SmallFileSystem, TakesWhatThereAreInodesFor)
{
    for (const int inodes : { 0, 1, 2, 3, 4 }) {
        SCOPED_TRACE(inodes);
        mount();
        fillInodes(inodes);
        startHost(options());
        EXPECT_EQ(ask(eventWithVersion), inodes < 4 ? refusal(noSpace) : liveResponse());
        expectNothingUnfinished();
        EXPECT_EQ(support::exists(pathOf("Readiness")), inodes >= 1);
        EXPECT_EQ(readiness().empty(), inodes < 2);
        EXPECT_EQ(support::exists(pathOf("Inbox")), inodes >= 3);
        expectEvents(inodes < 4 ? 0 : 1);
        makeRoom();
        EXPECT_EQ(ask(eventWithVersion), liveResponse());
        expectEndWithTraces(inodes < 4 ? 2 : 3);
    }
}

TEST_F(SmallFileSystem, WithoutInodesRefusesEventsAlsoWhereTheDirectoriesAreThere)
{
    makeInboxAndReadiness();
    fillInodes(0);
    EXPECT_EQ(ask(eventWithVersion), refusal(noSpace));
    EXPECT_TRUE(readiness().empty());
    expectNothingUnfinished();
    makeRoom();
    EXPECT_EQ(ask(eventWithVersion), liveResponse());
    expectEndWithTraces(2);
}

TEST_F(SmallFileSystem, FullKeepsTheReadinessThatIsThere)
{
    EXPECT_EQ(ask(ping("1.0")), liveResponse());
    fillPages(0);
    EXPECT_EQ(ask(ping("2.0")), liveResponse());
    EXPECT_EQ(readiness().at("extensionVersion"), "1.0");
    expectNothingUnfinished();
    makeRoom();
    EXPECT_EQ(ask(ping("2.0")), liveResponse());
    EXPECT_EQ(readiness().at("extensionVersion"), "2.0");
    expectEndWithTraces(1);
}

TEST_F(SmallFileSystem, FullAtTheEndLosesTheTracesAndDisturbsNoHostAfterwards)
{
    EXPECT_EQ(ask(ping()), liveResponse());
    fillPages(0);
    expectEnd();
    EXPECT_EQ(readiness().at("connectionAvailable"), true);
    expectEvents(0);
    expectNothingUnfinished();
    makeRoom();
    expectNextHostToServe();
}

TEST_F(SmallFileSystem, FullKeepsNoCommandBack)
{
    leaveCommand("1.command");
    fillPages(0);
    fillInodes(0);
    EXPECT_TRUE(ask(ping()).contains("command"));
    EXPECT_EQ(support::namesIn(pathOf("Commands")), std::vector<std::string> {});
    EXPECT_FALSE(ask(ping()).contains("command"));
}

TEST_F(SmallFileSystem, ReadOnlyRefusesEventsUntilItIsWritable)
{
    for (const bool directoriesAreThere : { false, true }) {
        SCOPED_TRACE(directoriesAreThere);
        mount();
        if (directoriesAreThere)
            makeInboxAndReadiness();
        setReadOnly(true);
        startHost(options());
        EXPECT_EQ(ask(eventWithVersion), refusal(readOnly));
        EXPECT_EQ(ask(ping()), liveResponse());
        EXPECT_EQ(support::exists(pathOf("Inbox")), directoriesAreThere);
        EXPECT_TRUE(readiness().empty());
        expectNothingUnfinished();
        setReadOnly(false);
        EXPECT_EQ(ask(eventWithVersion), liveResponse());
        expectEndWithTraces(2);
    }
}

TEST_F(SmallFileSystem, ReadOnlyKeepsTheReadinessThatIsThereAndTheHostEndsAllTheSame)
{
    EXPECT_EQ(ask(ping("1.0")), liveResponse());
    setReadOnly(true);
    EXPECT_EQ(ask(ping("2.0")), liveResponse());
    expectEnd();
    EXPECT_EQ(readiness().at("extensionVersion"), "1.0");
    EXPECT_EQ(readiness().at("connectionAvailable"), true);
    setReadOnly(false);
    expectNextHostToServe();
}

// As any command that cannot be deleted.
TEST_F(SmallFileSystem, ReadOnlyDeliversACommandAgainAndAgain)
{
    leaveCommand("1.command");
    setReadOnly(true);
    EXPECT_TRUE(ask(ping()).contains("command"));
    EXPECT_TRUE(ask(ping()).contains("command"));
    setReadOnly(false);
    EXPECT_TRUE(ask(ping()).contains("command"));
    EXPECT_FALSE(ask(ping()).contains("command"));
}

} // namespace
