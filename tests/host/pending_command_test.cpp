#include "tests/host/host_test.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

namespace host {
namespace {

class PendingCommand : public HostTest {
protected:
    std::optional<bridge::BrowserBridgeCommand> pending(
        const std::optional<bridge::BrowserBridgeState>& state = support::validState(),
        std::optional<std::string_view> browser = support::chrome) const
    {
        return pendingCommand(state, browser, environment);
    }

    std::vector<std::string> commandFiles() const { return support::namesIn(pathOf("Commands")); }

    // Leaves a command that differs from others by its last digit.
    bridge::BrowserBridgeCommand leave(
        const std::string& name, char digit, std::optional<base::UUID> session = std::nullopt) const
    {
        bridge::BrowserBridgeCommandEnvelope envelope = support::command();
        envelope.command.id
            = support::uuid(std::string("C0FFEE00-1111-4222-8333-44445555666") + digit);
        envelope.command.sessionIdentifier = session;
        support::writeCommand(root(), name, envelope);
        return envelope.command;
    }
};

TEST_F(PendingCommand, IsNoneWithoutCommands)
{
    EXPECT_EQ(pending(), std::nullopt);
    EXPECT_FALSE(support::exists(pathOf("Commands"))); // and nothing is made
}

TEST_F(PendingCommand, IsTheFirstAndTheOthersAreLost)
{
    leave("b.command", '2');
    const auto first = leave("a.command", '1');
    leave("c.command", '3');
    EXPECT_EQ(pending(), first);
    EXPECT_EQ(commandFiles(), std::vector<std::string> {});
    EXPECT_EQ(pending(), std::nullopt);
}

TEST_F(PendingCommand, LeavesTheDirectoryUntouchedWithoutABrowser)
{
    leave("a.command", '1');
    support::writeCommand(root(), "broken.command", "{");
    EXPECT_EQ(pending(support::validState(), std::nullopt), std::nullopt);
    EXPECT_EQ(commandFiles().size(), 2U);
    EXPECT_EQ(std::ranges::count(fileSystem.calls(), support::FileOperation::visibleNames), 0);
}

TEST_F(PendingCommand, LeavesTheDirectoryUntouchedWithoutAToken)
{
    leave("a.command", '1');
    support::writeCommand(root(), "broken.command", "{");
    std::filesystem::remove(pathOf("bridge-token"));
    EXPECT_EQ(pending(), std::nullopt);
    EXPECT_EQ(commandFiles().size(), 2U);
    EXPECT_EQ(std::ranges::count(fileSystem.calls(), support::FileOperation::visibleNames), 0);
}

TEST_F(PendingCommand, NeedsNoApplicationThatRuns)
{
    const auto command = leave("a.command", '1');
    EXPECT_EQ(pending(std::nullopt), command);
}

TEST_F(PendingCommand, LivesForExactlySixtySeconds)
{
    const auto command = leave("a.command", '1');
    time = support::after(support::sampleTime, 60.0);
    EXPECT_EQ(pending(), command);
    leave("a.command", '1');
    time = support::after(support::sampleTime, 60.001);
    EXPECT_EQ(pending(), std::nullopt);
    EXPECT_EQ(commandFiles(), std::vector<std::string> {});
}

TEST_F(PendingCommand, MayLieExactlyTwoSecondsAhead)
{
    const auto command = leave("a.command", '1');
    time = support::after(support::sampleTime, -2.0);
    EXPECT_EQ(pending(), command);
    leave("a.command", '1');
    time = support::after(support::sampleTime, -2.5);
    EXPECT_EQ(pending(), std::nullopt);
}

TEST_F(PendingCommand, OfASessionNeedsThatSessionToRun)
{
    bridge::BrowserBridgeState noSession = support::validState();
    noSession.sessionRunning = false;
    bridge::BrowserBridgeState otherSession = support::validState();
    otherSession.sessionIdentifier = support::otherSessionIdentifier();
    bridge::BrowserBridgeState withoutIdentifier = support::validState();
    withoutIdentifier.sessionIdentifier.reset();

    const auto bound = leave("a.command", '1', support::sessionIdentifier());
    EXPECT_EQ(pending(), bound);
    for (const auto& state : { std::optional(noSession), std::optional(otherSession),
             std::optional(withoutIdentifier), std::optional<bridge::BrowserBridgeState>() }) {
        leave("a.command", '1', support::sessionIdentifier());
        EXPECT_EQ(pending(state), std::nullopt);
        EXPECT_EQ(commandFiles(), std::vector<std::string> {});
    }
}

TEST_F(PendingCommand, OfNoSessionIsDeliveredInEveryState)
{
    bridge::BrowserBridgeState noSession = support::validState();
    noSession.sessionRunning = false;
    for (const auto& state : { std::optional(noSession), std::optional(support::validState()) }) {
        const auto command = leave("a.command", '1');
        EXPECT_EQ(pending(state), command);
    }
}

TEST_F(PendingCommand, ForAnotherBrowserStays)
{
    leave("a.command", '1');
    EXPECT_EQ(pending(support::validState(), support::firefox), std::nullopt);
    EXPECT_EQ(commandFiles(), std::vector<std::string> { "a.command" });
}

TEST_F(PendingCommand, ThatCannotBeDeletedIsDeliveredAgain)
{
    const auto command = leave("a.command", '1');
    fileSystem.failOperation(support::FileOperation::remove, EACCES);
    EXPECT_EQ(pending(), command);
    EXPECT_EQ(pending(), command);
}

TEST_F(PendingCommand, IsNoneWhenTheDirectoryCannotBeListed)
{
    leave("a.command", '1');
    fileSystem.failOperation(support::FileOperation::visibleNames, EACCES);
    EXPECT_EQ(pending(), std::nullopt);
    EXPECT_EQ(commandFiles(), std::vector<std::string> { "a.command" });
}

} // namespace
} // namespace host
