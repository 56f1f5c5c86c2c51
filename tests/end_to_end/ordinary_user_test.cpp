#include "tests/end_to_end/end_to_end_test.h"
#include "tests/support/as_other_user.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace end_to_end;

const object ping = request("readinessPing", { { "extensionVersion", "1.0.0" } });

// The host as an ordinary user; root is let through everywhere.
class OrdinaryUser : public EndToEnd {
protected:
    void startAsOrdinaryUser() { startHost(optionsOfOrdinaryUser()); }
};

// The application is this test: as root it is another user's process, which is there all the same.
TEST_F(OrdinaryUser, AnApplicationOfAnotherUserRuns)
{
    if (!support::isRoot())
        GTEST_SKIP() << "only root can start the host as another user";
    startAsOrdinaryUser();
    EXPECT_EQ(ask(activity()).at("accepted"), true);
    expectEnd();
    EXPECT_EQ(inbox().size(), 2U);
}

TEST_F(OrdinaryUser, AnUnreadableTokenMakesTheBridgeNotReady)
{
    support::setPermissions(pathOf("bridge-token"), 0000);
    startAsOrdinaryUser();
    EXPECT_EQ(
        ask(activity()).at("error"), "Kestrane is not running or its browser bridge is not ready.");
}

TEST_F(OrdinaryUser, AnUnreadableStateMeansThatTheApplicationDoesNotRun)
{
    support::setPermissions(pathOf("state.json"), 0000);
    startAsOrdinaryUser();
    EXPECT_EQ(ask(activity()).at("error"), "Kestrane is not running.");
}

TEST_F(OrdinaryUser, UnreadablePreferencesMeanThatLabelsAreOff)
{
    leavePreferences(true);
    support::setPermissions(pathOf("preferences.json"), 0000);
    startAsOrdinaryUser();
    EXPECT_EQ(ask(ping).at("filenameLabelsEnabled"), false);
}

TEST_F(OrdinaryUser, AnUnreadableCommandIsDeleted)
{
    leaveCommand("1.command");
    support::setPermissions(pathOf("Commands/1.command"), 0000);
    startAsOrdinaryUser();
    EXPECT_FALSE(ask(ping).contains("command"));
    EXPECT_EQ(support::namesIn(pathOf("Commands")), std::vector<std::string> {});
}

TEST_F(OrdinaryUser, CommandsInADirectoryThatCannotBeListedStay)
{
    leaveCommand("1.command");
    support::setPermissions(pathOf("Commands"), 0300);
    startAsOrdinaryUser();
    EXPECT_FALSE(ask(ping).contains("command"));
    support::setPermissions(pathOf("Commands"), 0700);
    EXPECT_TRUE(support::exists(pathOf("Commands/1.command")));
}

TEST_F(OrdinaryUser, ACommandThatCannotBeDeletedIsDeliveredAgain)
{
    leaveCommand("1.command");
    support::setPermissions(pathOf("Commands"), 0500);
    startAsOrdinaryUser();
    EXPECT_TRUE(ask(ping).contains("command"));
    EXPECT_TRUE(ask(ping).contains("command"));
    support::setPermissions(pathOf("Commands"), 0700);
}

TEST_F(OrdinaryUser, DirectoriesThatMustNotBeMadeRefuseTheEvent)
{
    support::setPermissions(root(), 0500);
    startAsOrdinaryUser();
    EXPECT_EQ(ask(activity()).at("error"), "Permission denied");
    EXPECT_EQ(ask(ping).at("accepted"), true);
    expectEnd();
    EXPECT_EQ(namesMadeByHost(), std::vector<std::string> {});
    support::setPermissions(root(), 0700);
}

TEST_F(OrdinaryUser, DirectoriesWithoutAnyPermissionAreOpenedUp)
{
    support::makeDirectory(pathOf("Inbox"), 0000);
    support::makeDirectory(pathOf("Readiness"), 0000);
    startAsOrdinaryUser();
    EXPECT_EQ(ask(activity()).at("accepted"), true);
    EXPECT_EQ(ask(ping).at("accepted"), true);
    EXPECT_EQ(support::permissionsOf(pathOf("Inbox")), 0700U);
    EXPECT_EQ(support::permissionsOf(pathOf("Readiness")), 0700U);
}

TEST_F(OrdinaryUser, ADirectoryOfAnotherUserRefusesTheEvent)
{
    if (!support::isRoot())
        GTEST_SKIP() << "only root can make directories of another user";
    startAsOrdinaryUser();
    support::makeDirectory(pathOf("Inbox"), 0777); // root's
    support::makeDirectory(pathOf("Readiness"), 0777);
    EXPECT_EQ(ask(activity()).at("error"), "Operation not permitted");
    EXPECT_EQ(ask(ping).at("accepted"), true);
    EXPECT_EQ(support::permissionsOf(pathOf("Inbox")), 0777U);
    EXPECT_EQ(support::namesIn(pathOf("Inbox")), std::vector<std::string> {});
    EXPECT_EQ(support::namesIn(pathOf("Readiness")), std::vector<std::string> {});
}

TEST_F(OrdinaryUser, AnUnreachableBridgeMeansThatTheApplicationDoesNotRun)
{
    support::setPermissions(root(), 0000);
    startAsOrdinaryUser();
    EXPECT_EQ(ask(activity()), response({ { "error", "Kestrane is not running." } }));
    expectEnd();
    support::setPermissions(root(), 0700);
    EXPECT_EQ(namesMadeByHost(), std::vector<std::string> {});
}

} // namespace
