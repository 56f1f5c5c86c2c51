#include "tests/end_to_end/end_to_end_test.h"
#include "tests/support/as_other_user.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

namespace {

using namespace end_to_end;

// A request that changes nothing anywhere; the answer tells whether the bridge was found.
const object question = request("nothing");

class Environment : public EndToEnd {
protected:
    bool findsBridge(const support::HostOptions& options)
    {
        startHost(options);
        const object answer = ask(question);
        expectEnd();
        return answer.at("sessionIdentifier") == "5e551011-0000-4000-8000-00000000000a";
    }

    // Starts the host in the directory in which "bridge" lies.
    support::HostOptions besideBridge(const std::string& variable) const
    {
        support::HostOptions result = options();
        result.environment = { "MERROWIN_BRIDGE_DIR=" + variable };
        result.beforeStart = [path = directory().path()] {
            if (::chdir(path.c_str()) != 0)
                ::_exit(1);
        };
        return result;
    }
};

TEST_F(Environment, TheVariableIsUsedAsItStands)
{
    EXPECT_TRUE(findsBridge(besideBridge(root())));
    EXPECT_TRUE(findsBridge(besideBridge(root() + '/')));
    EXPECT_TRUE(findsBridge(besideBridge(root() + "/../bridge")));
    EXPECT_FALSE(findsBridge(besideBridge(directory().path()))); // nothing is appended
}

TEST_F(Environment, ARelativeValueIsRelativeToTheWorkingDirectory)
{
    EXPECT_TRUE(findsBridge(besideBridge("bridge")));
    EXPECT_TRUE(findsBridge(besideBridge("./bridge/")));
    EXPECT_FALSE(findsBridge(besideBridge("bridge/bridge")));
}

TEST_F(Environment, ATildeIsAnOrdinaryCharacter)
{
    std::filesystem::rename(root(), directory() / "~");
    support::HostOptions withTilde = besideBridge("~");
    withTilde.environment.push_back("HOME=" + root());
    EXPECT_TRUE(findsBridge(withTilde));
}

TEST_F(Environment, EventsGoToARelativeBridgeToo)
{
    startHost(besideBridge("bridge"));
    EXPECT_EQ(ask(activity()).at("accepted"), true);
    expectEnd();
    EXPECT_EQ(inbox().size(), 2U);
}

TEST_F(Environment, AMissingWorkingDirectoryHurtsNoAbsoluteValue)
{
    support::makeDirectory(directory() / "doomed");
    support::HostOptions nowhere = options();
    nowhere.beforeStart = [path = directory() / "doomed"] {
        if (::chdir(path.c_str()) != 0 || ::rmdir(path.c_str()) != 0)
            ::_exit(1);
    };
    startHost(nowhere);
    EXPECT_EQ(ask(activity()).at("accepted"), true);
    expectEnd();
    EXPECT_FALSE(support::exists(directory() / "doomed"));
}

TEST_F(Environment, ARelativeValueLeadsNowhereInAMissingWorkingDirectory)
{
    support::makeDirectory(directory() / "doomed");
    support::HostOptions nowhere = options();
    nowhere.environment = { "MERROWIN_BRIDGE_DIR=bridge" };
    nowhere.beforeStart = [path = directory() / "doomed"] {
        if (::chdir(path.c_str()) != 0 || ::rmdir(path.c_str()) != 0)
            ::_exit(1);
    };
    EXPECT_FALSE(findsBridge(nowhere));
}

TEST_F(Environment, ABridgeThatIsMissingIsNotMade)
{
    support::HostOptions missing = options();
    missing.environment = { "MERROWIN_BRIDGE_DIR=" + (directory() / "missing/bridge") };
    startHost(missing);
    EXPECT_EQ(ask(activity({}, { { "extensionVersion", "1.0" } })).at("error"),
        "Kestrane is not running.");
    EXPECT_EQ(ask(request("trackingPauseChanged", { { "paused", true } })).at("accepted"), true);
    expectEnd();
    EXPECT_FALSE(support::exists(directory() / "missing"));
}

// Without the variable the bridge lies below the user's home directory.
class HomeDirectory : public Environment {
protected:
    HomeDirectory()
    {
        support::makeDirectory(directory() / "home/Library/Application Support/Merrowin");
        std::filesystem::rename(
            root(), directory() / "home/Library/Application Support/Merrowin/BrowserBridge");
    }

    support::HostOptions withHome(std::vector<std::string> variables = {}) const
    {
        support::HostOptions result = options();
        result.environment = std::move(variables);
        result.environment.push_back("HOME=" + (directory() / "home"));
        return result;
    }

    // A user of whom the password database knows nothing.
    support::HostOptions asUnknownUser(support::HostOptions options) const
    {
        options.executable = directory() / "host";
        std::filesystem::copy_file(KESTRANE_NATIVE_HOST, options.executable,
            std::filesystem::copy_options::overwrite_existing);
        EXPECT_EQ(::lchown(directory().path().c_str(), unknownUser, unknownUser), 0);
        for (const auto& entry : std::filesystem::recursive_directory_iterator(directory().path()))
            EXPECT_EQ(::lchown(entry.path().c_str(), unknownUser, unknownUser), 0);
        options.beforeStart = [] {
            if (::setgroups(0, nullptr) != 0 || ::setgid(unknownUser) != 0
                || ::setuid(unknownUser) != 0)
                ::_exit(1);
        };
        return options;
    }

    static constexpr uid_t unknownUser = 54321;
};

TEST_F(HomeDirectory, ThePasswordDatabaseCountsAndNotTheEnvironment)
{
    if (::getpwuid(::getuid()) == nullptr)
        GTEST_SKIP() << "the password database does not know the user of this test";
    EXPECT_FALSE(findsBridge(withHome()));
    EXPECT_FALSE(findsBridge(withHome({ "MERROWIN_BRIDGE_DIR=" })));
}

TEST_F(HomeDirectory, AUserWhomThePasswordDatabaseDoesNotKnowHasThatOfTheEnvironment)
{
    if (!support::isRoot() || ::getpwuid(unknownUser) != nullptr)
        GTEST_SKIP() << "only root can start the host as a user that is not there";
    EXPECT_TRUE(findsBridge(asUnknownUser(withHome())));
    EXPECT_TRUE(findsBridge(asUnknownUser(withHome({ "MERROWIN_BRIDGE_DIR=" })))); // empty is unset

    startHost(asUnknownUser(withHome()));
    EXPECT_EQ(ask(activity()).at("accepted"), true);
    expectEnd();
    const std::string bridge
        = directory() / "home/Library/Application Support/Merrowin/BrowserBridge";
    EXPECT_EQ(support::namesIn(bridge + "/Inbox").size(), 2U);
    EXPECT_EQ(support::permissionsOf(bridge + "/Inbox"), 0700U);
}

TEST_F(HomeDirectory, AUserWithoutAnyHomeIsServedAllTheSame)
{
    if (!support::isRoot() || ::getpwuid(unknownUser) != nullptr)
        GTEST_SKIP() << "only root can start the host as a user that is not there";
    support::HostOptions homeless = asUnknownUser(options());
    homeless.environment = {};
    EXPECT_FALSE(findsBridge(homeless));
}

} // namespace
