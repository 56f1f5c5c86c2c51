// A clock that is set while a connection lasts. Nothing is remembered of the time before, so each
// request goes by the clock as it is then.

#include "tests/host/host_test.h"

#include "host/request_handler.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace host {
namespace {

constexpr double anHourBack = -3600.0;
constexpr double aDayForward = 86400.0;

class ClockJump : public HostTest, public testing::WithParamInterface<double> {
protected:
    ClockJump() { EXPECT_EQ(handle(activityNow()), liveResponse()); }

    void jump() { time = support::after(time, GetParam()); }

    // An event that the browser stamps by the same clock.
    std::string activityNow() const
    {
        events::BrowserActivityEvent event = support::validEvent();
        event.timestamp = time;
        return activityText(event, versionMember);
    }

    // The application, which goes by the same clock, writes its state again.
    void renewState() const
    {
        bridge::BrowserBridgeState state = support::validState();
        state.updatedAt = time;
        support::writeState(root(), state);
    }

    void leaveCommand() const
    {
        bridge::BrowserBridgeCommandEnvelope envelope = support::command();
        envelope.command.createdAt = time;
        support::writeCommand(root(), "1.command", envelope);
    }

    std::vector<std::string> commandFiles() const { return support::namesIn(pathOf("Commands")); }
};

TEST_P(ClockJump, MakesTheStateStaleUntilTheApplicationWritesItAgain)
{
    jump();
    const NativeHostResponse gone = refused(NativeHostResponse {}, appUnavailableText);
    EXPECT_EQ(handle(activityNow()), gone);
    EXPECT_EQ(inbox().size(), 1U);
    renewState();
    EXPECT_EQ(handle(activityNow()), liveResponse());
    EXPECT_EQ(inbox().size(), 2U);
    expectNothingUnfinished();
}

TEST_P(ClockJump, RefusesEventsThatWereStampedBefore)
{
    const std::string before = activityNow();
    jump();
    renewState();
    EXPECT_EQ(handle(before),
        refused(liveResponse(),
            GetParam() < 0 ? "The browser event timestamp is too far in the future."
                           : "The browser event timestamp is too old."));
    EXPECT_EQ(inbox().size(), 1U);
}

TEST_P(ClockJump, StampsRecordsByTheNewTime)
{
    jump();
    renewState();
    EXPECT_EQ(handle(activityNow()), liveResponse());
    EXPECT_EQ(readiness().updatedAt, time);
    auto relayed = inbox(); // in the order of their names, which is that of the clock
    ASSERT_EQ(relayed.size(), 2U);
    if (GetParam() < 0)
        std::swap(relayed.front(), relayed.back());
    EXPECT_EQ(relayed.front().envelope.receivedAt, support::sampleTime);
    EXPECT_EQ(relayed.back().envelope.receivedAt, time);
    EXPECT_EQ(relayed.back().event.timestamp, time);
}

TEST_P(ClockJump, DropsCommandsThatWereLeftBeforeAndDeliversThoseAfter)
{
    leaveCommand();
    jump();
    renewState();
    EXPECT_EQ(handle(pingText()).command, std::nullopt);
    EXPECT_EQ(commandFiles(), std::vector<std::string> {});
    leaveCommand();
    EXPECT_NE(handle(pingText()).command, std::nullopt);
}

TEST_P(ClockJump, LosesTheTracesOfTheEndOnlyWithTheApplication)
{
    jump();
    announceReadiness(*memory.lastBrowser, *memory.lastExtensionVersion, false, environment);
    reportExtensionDisconnected(*memory.lastBrowser, environment);
    EXPECT_TRUE(readiness().connectionAvailable);
    EXPECT_EQ(inbox().size(), 1U);
    renewState();
    announceReadiness(*memory.lastBrowser, *memory.lastExtensionVersion, false, environment);
    reportExtensionDisconnected(*memory.lastBrowser, environment);
    EXPECT_FALSE(readiness().connectionAvailable);
    EXPECT_EQ(readiness().updatedAt, time);
    EXPECT_EQ(inbox().size(), 2U);
}

TEST_P(ClockJump, ThereAndBackIsAsIfNothingHadHappened)
{
    leaveCommand();
    jump();
    std::ignore = handle("{"); // refused before any file of the bridge is deleted
    time = support::sampleTime;
    const auto answer = handle(activityNow());
    EXPECT_TRUE(answer.accepted);
    EXPECT_NE(answer.command, std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(AnHourBack, ClockJump, testing::Values(anHourBack));
INSTANTIATE_TEST_SUITE_P(ADayForward, ClockJump, testing::Values(aDayForward));

} // namespace
} // namespace host
