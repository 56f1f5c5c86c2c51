// What only Linux tells, and what becomes of its calls when they fail.

#include "platform/directory_watcher.h"
#include "tests/support/failing_system_calls_linux.h"
#include "tests/support/temporary_directory.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace platform {
namespace {

using std::chrono::milliseconds;
using support::FailingSystemCall;
using support::SystemCall;
using support::TemporaryDirectory;

struct Watching {
    explicit Watching(const std::string& path) { watch(path); }

    void watch(const std::string& path) { watcher.watch(std::array { path }); }
    FileResult<Awakening> happened() { return watcher.wait(endRequests, {}, milliseconds(0)); }

    EndRequests endRequests = EndRequests::make().value();
    DirectoryWatcher watcher = DirectoryWatcher::make().value();
};

constexpr Awakening nothing {};
constexpr Awakening change { .changed = true };

TEST(DirectoryWatcherOnLinux, TellsOfAFileThatIsWrittenToInItsPlaceOnceItIsClosed)
{
    const TemporaryDirectory directory;
    support::writeFile(directory / "file", "1");
    Watching watching(directory.path());
    const int file = ::open((directory / "file").c_str(), O_WRONLY | O_CLOEXEC);
    ASSERT_GE(file, 0);
    ASSERT_EQ(::write(file, "2", 1), 1);
    EXPECT_EQ(watching.happened(), nothing);
    ASSERT_EQ(::close(file), 0);
    EXPECT_EQ(watching.happened(), change);
}

TEST(DirectoryWatcherOnLinux, TakesLostEventsForAChange)
{
    const int most = std::atoi(support::readFile("/proc/sys/fs/inotify/max_queued_events").c_str());
    if (most > 100000)
        GTEST_SKIP() << "the queue holds too many events: " << most;
    const TemporaryDirectory directory;
    const TemporaryDirectory other;
    Watching watching(directory.path());
    for (int count = 0; count <= most; ++count) {
        // Events that are alike count once, so their names differ.
        const std::string path = directory / std::to_string(count % 2);
        const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        ASSERT_GE(file, 0);
        ASSERT_EQ(::close(file), 0);
    }
    watching.watch(other.path());
    EXPECT_EQ(watching.happened(), change);
    EXPECT_EQ(watching.happened(), nothing);
}

// How many directories this process watches (proc_pid_fdinfo(5)).
int watchCount()
{
    int count = 0;
    for (const std::string& descriptor : support::namesIn("/proc/self/fdinfo")) {
        // The descriptor of the listing itself is gone by now.
        const std::string path = "/proc/self/fdinfo/" + descriptor;
        if (!support::exists(path))
            continue;
        const std::string text = support::readFile(path);
        for (auto at = text.find("inotify wd:"); at != std::string::npos;
            at = text.find("inotify wd:", at + 1))
            ++count;
    }
    return count;
}

TEST(DirectoryWatcherOnLinux, LeavesNoDirectoryWatchedThatIsNoLongerNamed)
{
    const TemporaryDirectory directory;
    const TemporaryDirectory other;
    const int before = watchCount();
    Watching watching(directory.path());
    EXPECT_EQ(watchCount(), before + 1);
    watching.watch(other.path());
    EXPECT_EQ(watchCount(), before + 1);
    watching.watch(other / "missing");
    EXPECT_EQ(watchCount(), before);
}

TEST(DirectoryWatcherOnLinux, WaitsOnWhenInterrupted)
{
    const TemporaryDirectory directory;
    Watching watching(directory.path());
    support::writeFile(directory / "file", "1");
    const FailingSystemCall interrupted(SystemCall::poll, EINTR);
    EXPECT_EQ(watching.happened(), change);
    EXPECT_TRUE(interrupted.hasFailed());
}

TEST(DirectoryWatcherOnLinux, FailsWithTheErrorOfWaiting)
{
    const TemporaryDirectory directory;
    Watching watching(directory.path());
    const FailingSystemCall failing(SystemCall::poll, ENOMEM);
    const auto awakening = watching.happened();
    ASSERT_FALSE(awakening);
    EXPECT_EQ(awakening.error(), FileError { ENOMEM });
}

// No more open files than there are, for a scope.
class NoMoreDescriptors {
public:
    NoMoreDescriptors()
    {
        EXPECT_EQ(::getrlimit(RLIMIT_NOFILE, &previous_), 0);
        const int next = ::dup(STDIN_FILENO);
        EXPECT_GE(next, 0);
        ::close(next);
        const rlimit limit { .rlim_cur = static_cast<rlim_t>(next),
            .rlim_max = previous_.rlim_max };
        EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
    }
    NoMoreDescriptors(const NoMoreDescriptors&) = delete;
    NoMoreDescriptors& operator=(const NoMoreDescriptors&) = delete;
    ~NoMoreDescriptors() { ::setrlimit(RLIMIT_NOFILE, &previous_); }

private:
    rlimit previous_ {};
};

TEST(DirectoryWatcherOnLinux, IsNotMadeWithoutADescriptor)
{
    const NoMoreDescriptors limit;
    const auto watcher = DirectoryWatcher::make();
    ASSERT_FALSE(watcher);
    EXPECT_EQ(watcher.error(), FileError { EMFILE });
}

TEST(EndRequestsOnLinux, AreNotMadeWithoutADescriptor)
{
    const NoMoreDescriptors limit;
    const auto requests = EndRequests::make();
    ASSERT_FALSE(requests);
    EXPECT_EQ(requests.error(), FileError { EMFILE });
}

} // namespace
} // namespace platform
