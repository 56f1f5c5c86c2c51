#include "platform/directory_watcher.h"
#include "tests/support/host_process.h"
#include "tests/support/temporary_directory.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>

namespace platform {
namespace {

using std::chrono::milliseconds;
using support::TemporaryDirectory;

constexpr Awakening nothing {};
constexpr Awakening change { .changed = true };

// A watcher of directories that a test changes before it asks.
class DirectoryWatcherTest : public testing::Test {
protected:
    void SetUp() override
    {
        support::makeDirectory(watched());
        support::makeDirectory(other());
        watch({ watched() });
    }

    [[nodiscard]] std::string watched() const { return directory_ / "watched"; }
    [[nodiscard]] std::string other() const { return directory_ / "other"; }
    [[nodiscard]] std::string inside(const std::string& name) const
    {
        return watched() + '/' + name;
    }

    void watch(const std::vector<std::string>& directories) { watcher_.watch(directories); }

    // What has happened so far.
    Awakening happened(std::optional<int> input = {}) { return wait(input, milliseconds(0)); }

    Awakening wait(std::optional<int> input, std::optional<milliseconds> timeout)
    {
        const auto awakening = watcher_.wait(endRequests_, input, timeout);
        if (!awakening) {
            ADD_FAILURE() << message(awakening.error());
            return {};
        }
        return *awakening;
    }

private:
    TemporaryDirectory directory_;
    EndRequests endRequests_ = EndRequests::make().value();
    DirectoryWatcher watcher_ = DirectoryWatcher::make().value();
};

TEST_F(DirectoryWatcherTest, TellsNothingWhereNothingHappens)
{
    EXPECT_EQ(happened(), nothing);
}

TEST_F(DirectoryWatcherTest, TellsOfFilesThatComeGoAndAreReplaced)
{
    const std::string name = inside("file");
    const std::string elsewhere = other() + "/file";
    const std::vector<std::function<void()>> changes {
        [&] { support::writeFile(name, "1"); },
        [&] {
            support::writeFile(elsewhere, "2");
            ASSERT_EQ(std::rename(elsewhere.c_str(), name.c_str()), 0);
        },
        [&] { ASSERT_EQ(std::rename(name.c_str(), elsewhere.c_str()), 0); },
        [&] { support::makeDirectory(inside("directory")); },
        [&] { ASSERT_EQ(::rmdir(inside("directory").c_str()), 0); },
        [&] { support::makeSymbolicLink("nowhere", name); },
        [&] { ASSERT_EQ(::unlink(name.c_str()), 0); },
    };
    for (std::size_t index = 0; index < changes.size(); ++index) {
        changes[index]();
        EXPECT_EQ(happened(), change) << "change " << index;
        EXPECT_EQ(happened(), nothing) << "after change " << index;
    }
}

TEST_F(DirectoryWatcherTest, TellsOfSeveralChangesAtOnce)
{
    for (int number = 0; number < 1000; ++number)
        support::writeFile(inside(std::to_string(number)), "");
    EXPECT_EQ(happened(), change);
    EXPECT_EQ(happened(), nothing);
}

TEST_F(DirectoryWatcherTest, TellsWhenTheDirectoryItselfGoes)
{
    ASSERT_EQ(::rmdir(watched().c_str()), 0);
    EXPECT_EQ(happened(), change);
    EXPECT_EQ(happened(), nothing);
}

TEST_F(DirectoryWatcherTest, TellsWhenTheDirectoryIsMovedAway)
{
    ASSERT_EQ(std::rename(watched().c_str(), (other() + "/moved").c_str()), 0);
    EXPECT_EQ(happened(), change);
}

TEST_F(DirectoryWatcherTest, IsNotWokenByReading)
{
    support::writeFile(inside("file"), "1");
    EXPECT_EQ(happened(), change);
    EXPECT_EQ(support::readFile(inside("file")), "1");
    EXPECT_EQ(support::namesIn(watched()).size(), 1U);
    EXPECT_EQ(happened(), nothing);
}

TEST_F(DirectoryWatcherTest, IsNotWokenByOtherDirectories)
{
    support::writeFile(other() + "/file", "1");
    support::makeDirectory(inside("deeper"));
    EXPECT_EQ(happened(), change);
    support::writeFile(inside("deeper/file"), "1");
    EXPECT_EQ(happened(), nothing);
}

TEST_F(DirectoryWatcherTest, KeepsWhatHappenedWhileTheDirectoriesWereNamedAgain)
{
    support::writeFile(inside("file"), "1");
    watch({ other(), watched() });
    EXPECT_EQ(happened(), change);
    support::writeFile(other() + "/file", "1");
    EXPECT_EQ(happened(), change);
}

TEST_F(DirectoryWatcherTest, ForgetsDirectoriesThatAreNoLongerNamed)
{
    support::writeFile(inside("before"), "1");
    watch({ other() });
    EXPECT_EQ(happened(), nothing);
    support::writeFile(inside("after"), "1");
    EXPECT_EQ(happened(), nothing);
}

TEST_F(DirectoryWatcherTest, FollowsThePathToANewDirectory)
{
    ASSERT_EQ(::rmdir(watched().c_str()), 0);
    support::makeDirectory(watched());
    watch({ watched() });
    EXPECT_EQ(happened(), nothing) << "what became of the old one";
    support::writeFile(inside("file"), "1");
    EXPECT_EQ(happened(), change);
}

TEST_F(DirectoryWatcherTest, PassesOverWhatIsNoDirectory)
{
    support::writeFile(other() + "/file", "1");
    watch({ other() + "/missing", other() + "/file", "", watched() });
    EXPECT_EQ(happened(), nothing);
    support::writeFile(other() + "/file", "2");
    EXPECT_EQ(happened(), nothing);
    support::writeFile(inside("file"), "1");
    EXPECT_EQ(happened(), change);
}

TEST_F(DirectoryWatcherTest, FollowsLinks)
{
    support::makeSymbolicLink(other(), inside("link"));
    watch({ inside("link") });
    support::writeFile(other() + "/file", "1");
    EXPECT_EQ(happened(), change);
}

TEST_F(DirectoryWatcherTest, TellsOfInput)
{
    support::Pipe pipe;
    const int input = pipe.readEnd.number();
    EXPECT_EQ(happened(input), nothing);
    ASSERT_EQ(::write(pipe.writeEnd.number(), "a", 1), 1);
    const Awakening ready { .inputReady = true };
    EXPECT_EQ(happened(), nothing) << "nobody asked for the input";
    EXPECT_EQ(happened(input), ready);
    EXPECT_EQ(support::readSome(input, 1), "a");
    EXPECT_EQ(happened(input), nothing);
    pipe.writeEnd.close();
    EXPECT_EQ(happened(input), ready);
}

TEST_F(DirectoryWatcherTest, TakesAnInputThatCannotBeReadForReady)
{
    constexpr int notOpen = 1000000;
    EXPECT_TRUE(happened(notOpen).inputReady);
}

TEST_F(DirectoryWatcherTest, TellsOfARequestToEndEveryTime)
{
    ASSERT_EQ(std::raise(SIGTERM), 0);
    const Awakening end { .endRequested = true };
    EXPECT_EQ(happened(), end);
    EXPECT_EQ(happened(), end);
}

TEST_F(DirectoryWatcherTest, TellsEverythingThatHasHappened)
{
    const support::Pipe pipe;
    ASSERT_EQ(::write(pipe.writeEnd.number(), "a", 1), 1);
    ASSERT_EQ(std::raise(SIGTERM), 0);
    support::writeFile(inside("file"), "1");
    const Awakening everything { .changed = true, .inputReady = true, .endRequested = true };
    EXPECT_EQ(wait(pipe.readEnd.number(), {}), everything);
}

TEST_F(DirectoryWatcherTest, IsWokenWhileItWaits)
{
    std::thread changing([this] { support::writeFile(inside("file"), "1"); });
    EXPECT_EQ(wait({}, {}), change);
    changing.join();
}

TEST_F(DirectoryWatcherTest, EndsItsWaitingWhenTheTimeIsOver)
{
    EXPECT_EQ(wait({}, milliseconds(1)), nothing);
}

} // namespace
} // namespace platform
