// Which directories are watched, so that nothing in the bridge directory is missed.

#include "kestranectl/bridge_access.h"
#include "tests/kestranectl/bridge_fixture.h"
#include "tests/support/environment_variable.h"
#include "tests/support/failing_file_system.h"

#include <unistd.h>

namespace kestranectl {
namespace {

class DirectoriesToWatchTest : public BridgeFixture {
protected:
    // Those beside the bridge directory and the three in it.
    [[nodiscard]] std::vector<std::string> above(const std::string& itsRoot) const
    {
        auto directories = directoriesToWatch(itsRoot, environment.fileSystem);
        EXPECT_GE(directories.size(), 4U);
        EXPECT_EQ(directories.at(0), itsRoot);
        directories.erase(directories.begin(), directories.begin() + 4);
        return directories;
    }
};

using Paths = std::vector<std::string>;

TEST_F(DirectoriesToWatchTest, AreTheBridgeDirectoryAndTheThreeInIt)
{
    support::makeDirectory(root);
    EXPECT_EQ(directoriesToWatch(root, environment.fileSystem),
        (Paths { root, root + "/Readiness", root + "/Commands", root + "/Inbox" }));
}

TEST_F(DirectoriesToWatchTest, AreTheNearestOneAboveWhileItIsNotThere)
{
    EXPECT_EQ(above(root), Paths { directory.path() });
    EXPECT_EQ(above(root + "/a/b//c/"), Paths { directory.path() });
    support::makeDirectory(root);
    EXPECT_EQ(above(root + "/a/b//c/"), Paths { root });
    EXPECT_EQ(above("/no-such-directory"), Paths { "/" });
    EXPECT_EQ(above("/no-such-directory/bridge"), Paths { "/" });
    EXPECT_EQ(above("no-such-directory"), Paths { "." });
    EXPECT_EQ(above("no-such-directory/bridge"), Paths { "." });
}

TEST_F(DirectoriesToWatchTest, TakeAFileForNoDirectory)
{
    support::writeFile(root, "");
    EXPECT_EQ(above(root), Paths { directory.path() });
    EXPECT_EQ(above(root + "/deeper"), Paths { directory.path() });
}

TEST_F(DirectoriesToWatchTest, TakeALinkForWhatItLeadsTo)
{
    support::makeSymbolicLink(directory.path(), root);
    EXPECT_EQ(above(root), Paths {});
    support::makeSymbolicLink("nowhere", directory / "dangling");
    EXPECT_EQ(above(directory / "dangling"), Paths { directory.path() });
}

// Whether a change at this moment is told afterwards.
class WatchBridgeTest : public BridgeFixture {
protected:
    void watch(const platform::FileSystem& fileSystem = platform::localFileSystem())
    {
        watchBridge(watcher_, root, fileSystem);
    }

    bool hasChanged()
    {
        const auto awakening = watcher_.wait(endRequests_, {}, std::chrono::milliseconds(0));
        EXPECT_TRUE(awakening);
        return awakening && awakening->changed;
    }

private:
    platform::EndRequests endRequests_ = platform::EndRequests::make().value();
    platform::DirectoryWatcher watcher_ = platform::DirectoryWatcher::make().value();
};

TEST_F(WatchBridgeTest, FollowsADirectoryThatComesAndGoes)
{
    root = directory / "a/b";
    watch();
    EXPECT_FALSE(hasChanged());
    for (const char* const name : { "a", "a/b", "a/b/Inbox", "a/b/Inbox/1.event" }) {
        support::makeDirectory(directory / name);
        EXPECT_TRUE(hasChanged()) << name;
        watch();
        EXPECT_FALSE(hasChanged()) << name;
    }
    for (const char* const name : { "a/b/Inbox/1.event", "a/b/Inbox", "a/b", "a" }) {
        ASSERT_EQ(::rmdir((directory / name).c_str()), 0);
        EXPECT_TRUE(hasChanged()) << name;
        watch();
    }
    support::makeDirectory(directory / "a");
    EXPECT_TRUE(hasChanged());
}

TEST_F(WatchBridgeTest, DoesNotMissADirectoryThatIsMadeMeanwhile)
{
    root = directory / "a/b";
    support::FailingFileSystem fileSystem;
    // Just after the first look found neither, and before the directory above is watched.
    fileSystem.beforeCall([&](support::FileOperation, const std::string& path) {
        if (path == directory / "." && !support::exists(directory / "a"))
            support::makeDirectory(directory / "a");
    });
    watch(fileSystem);
    ASSERT_TRUE(support::exists(directory / "a"));
    EXPECT_FALSE(hasChanged());
    support::makeDirectory(root);
    EXPECT_TRUE(hasChanged());
}

TEST_F(WatchBridgeTest, EndsWhereADirectoryComesAndGoesWithoutEnd)
{
    support::FailingFileSystem fileSystem;
    fileSystem.beforeCall([&](support::FileOperation, const std::string& path) {
        if (!path.starts_with(root))
            return;
        if (support::exists(root))
            ::rmdir(root.c_str());
        else
            support::makeDirectory(root);
    });
    watch(fileSystem);
    EXPECT_TRUE(hasChanged());
}

TEST(BridgeEnvironment, TakesTheHostsOwnRuleWithoutADirectory)
{
    const support::ScopedVariable variable("MERROWIN_BRIDGE_DIR", "/rule");
    EXPECT_EQ(bridgeEnvironment("").store.rootURL, "/rule");
    EXPECT_EQ(bridgeEnvironment("/given").store.rootURL, "/given");
}

TEST(BridgeEnvironment, KnowsProcessesAndTheTime)
{
    const auto environment = bridgeEnvironment("/given");
    EXPECT_TRUE(environment.services.processExists(::getpid()));
    EXPECT_GT(environment.services.now(), support::sampleTime);
}

} // namespace
} // namespace kestranectl
