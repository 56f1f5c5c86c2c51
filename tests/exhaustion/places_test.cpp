// Directories that every program expects to be there: those of the system, of temporary files, of
// the user, and the working directory.

#include "tests/exhaustion/exhaustion_test.h"
#include "tests/exhaustion/private_mount.h"
#include "tests/support/as_other_user.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace exhaustion;

// A system that consists of the host, its libraries and the bridge directory: without temporary
// files, devices, configuration, home directories or users. It lies over a directory that every
// machine has, never below one that is removed after the test.
class BareSystem : public Exhaustion {
protected:
    void SetUp() override
    {
#ifdef KESTRANE_COUNTS_COVERAGE
        GTEST_SKIP() << "the counters are written into the system that must stay as it is";
#endif
        if (!support::exists(place))
            GTEST_SKIP() << "there is no " << place << " here";
        if (const std::string reason = enterOwnMountNamespace(); !reason.empty())
            GTEST_SKIP() << reason;
        system_.emplace(place, "mode=0755");
        for (const char* const name : { "/usr", "/lib", "/lib64", "/bin", "/proc" })
            show(name);
        makeDirectory("/bridge", 0700);
        showAt(root(), place + "/bridge");
        std::filesystem::copy_file(options().executable, place + "/host");
        before_ = names();
    }

    void makeDirectory(const std::string& path, mode_t permissions) const
    {
        ASSERT_EQ(::mkdir((place + path).c_str(), permissions), 0) << std::strerror(errno);
        before_ = names();
    }

    void writeFile(const std::string& path, std::string_view contents) const
    {
        support::writeFile(place + path, contents, 0644);
        before_ = names();
    }

    // The host in that system, as root or as `user`.
    support::HostOptions optionsInside(std::vector<std::string> environment, uid_t user = 0) const
    {
        if (user != 0) {
            EXPECT_EQ(::lchown(root().c_str(), user, user), 0);
            for (const auto& entry : std::filesystem::recursive_directory_iterator(root()))
                EXPECT_EQ(::lchown(entry.path().c_str(), user, user), 0);
        }
        support::HostOptions result = options();
        result.executable = "/host";
        result.environment = std::move(environment);
        result.beforeStart = [user] {
            if (::chroot(place.c_str()) != 0 || ::chdir("/") != 0)
                ::_exit(1);
            if (user != 0
                && (::setgroups(0, nullptr) != 0 || ::setgid(user) != 0 || ::setuid(user) != 0))
                ::_exit(1);
        };
        return result;
    }

    // A host that finds its bridge does everything and leaves the rest of the system as it is.
    void expectToServe(const support::HostOptions& options)
    {
        startHost(options);
        EXPECT_EQ(ask(ping()), liveResponse());
        EXPECT_EQ(ask(activity()), liveResponse());
        EXPECT_EQ(ask(request("openMerrowin")), liveResponse());
        expectEndWithTraces(2);
        EXPECT_EQ(names(), before_);
    }

    // One that finds none answers all the same, and makes nothing anywhere.
    void expectToMissTheApplication(const support::HostOptions& options)
    {
        startHost(options);
        EXPECT_EQ(ask(ping()), response({ { "accepted", true } }));
        EXPECT_EQ(ask(activity()), response({ { "error", text(applicationNotRunning) } }));
        EXPECT_EQ(ask(request("openMerrowin")), response({ { "accepted", true } }));
        expectEnd();
        EXPECT_EQ(names(), before_);
        EXPECT_EQ(namesMadeByHost(), std::vector<std::string> {});
    }

    static constexpr uid_t unknownUser = 54321;
    static const std::string place;

private:
    // Shows what lies there, or makes the link that lies there.
    static void show(const std::string& path)
    {
        if (!std::filesystem::exists(path))
            return;
        if (std::filesystem::is_symlink(path)) {
            std::filesystem::copy_symlink(path, place + path);
            return;
        }
        ASSERT_EQ(::mkdir((place + path).c_str(), 0755), 0) << std::strerror(errno);
        showReadOnlyAt(path, place + path);
    }

    static std::vector<std::string> names()
    {
        std::vector<std::string> all = support::namesIn(place);
        for (const char* const name : { "/home", "/tmp" }) {
            for (const std::string& below : support::namesIn(place + name))
                all.push_back(below);
        }
        return all;
    }

    std::optional<PrivateMount> system_;
    mutable std::vector<std::string> before_;
};

const std::string BareSystem::place = "/mnt";
const std::string bridgeVariable = "MERROWIN_BRIDGE_DIR=/bridge";

TEST_F(BareSystem, WithoutADirectoryOfTemporaryFilesIsEnough)
{
    expectToServe(optionsInside({ bridgeVariable, "HOME=/home/missing" }));
}

TEST_F(BareSystem, WithoutAnyEnvironmentButTheBridgeIsEnough)
{
    expectToServe(optionsInside({ bridgeVariable }));
}

TEST_F(BareSystem, WithDirectoriesThatCannotBeEnteredIsEnough)
{
    makeDirectory("/tmp", 0000);
    makeDirectory("/home", 0000);
    expectToServe(optionsInside(
        { bridgeVariable, "HOME=/home", "TMPDIR=/tmp", "XDG_DATA_HOME=/home/data" }, unknownUser));
}

// Without the variable the bridge is looked for in the home directory; a user of whom the password
// database knows nothing has that of the environment.
TEST_F(BareSystem, WithAHomeThatIsNoneTheApplicationIsMissed)
{
    makeDirectory("/home", 0755);
    makeDirectory("/home/locked", 0000);
    writeFile("/home/file", "text");
    for (const char* const home : { "HOME=/home/missing", "HOME=/home/locked", "HOME=/home/file",
             "HOME=home", "HOME=../home", "HOME=~", "HOME=", "NOTHING=" }) {
        SCOPED_TRACE(home);
        expectToMissTheApplication(optionsInside({ home }, unknownUser));
    }
}

TEST_F(BareSystem, WithAHomeThatIsNoneInThePasswordDatabaseTheApplicationIsMissed)
{
    makeDirectory("/home", 0755);
    makeDirectory("/home/locked", 0000);
    makeDirectory("/etc", 0755);
    writeFile("/home/file", "text");
    for (const char* const home :
        { "/home/missing", "/home/locked", "/home/file", "home", "~", "" }) {
        SCOPED_TRACE(home);
        writeFile("/etc/passwd", "somebody:x:54321:54321::" + std::string(home) + ":/bin/sh\n");
        expectToMissTheApplication(optionsInside({ "HOME=/bridge" }, unknownUser));
    }
}

class WorkingDirectory : public Exhaustion {
protected:
    // Starts the host in a directory that it may not read, write or enter.
    support::HostOptions optionsInLockedDirectory() const
    {
        support::makeDirectory(directory() / "locked");
        support::HostOptions result = optionsOfOrdinaryUser();
        result.beforeStart = [path = directory() / "locked", giveUpRoot = result.beforeStart] {
            if (::chdir(path.c_str()) != 0 || ::chmod(".", 0000) != 0)
                ::_exit(1);
            if (giveUpRoot)
                giveUpRoot();
        };
        return result;
    }
};

TEST_F(WorkingDirectory, ThatIsLockedHurtsNoAbsoluteBridge)
{
    startHost(optionsInLockedDirectory());
    EXPECT_EQ(ask(activity()), liveResponse());
    EXPECT_EQ(ask(request("openMerrowin")), liveResponse());
    expectEnd();
    expectEvents(2);
    support::setPermissions(directory() / "locked", 0700);
    EXPECT_EQ(support::namesIn(directory() / "locked"), std::vector<std::string> {});
}

TEST_F(WorkingDirectory, ThatIsLockedHasNoBridgeInIt)
{
    support::HostOptions relative = optionsInLockedDirectory();
    relative.environment = { "MERROWIN_BRIDGE_DIR=../bridge" };
    startHost(relative);
    EXPECT_EQ(ask(activity()), response({ { "error", text(applicationNotRunning) } }));
    expectEnd();
    support::setPermissions(directory() / "locked", 0700);
    EXPECT_EQ(namesMadeByHost(), std::vector<std::string> {});
}

} // namespace
