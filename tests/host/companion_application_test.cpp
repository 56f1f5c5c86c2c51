#include "tests/host/host_test.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <limits>

namespace host {
namespace {

class LiveAppState : public HostTest {
protected:
    // Whether the state counts as live this many seconds after it was written.
    bool isLiveAfter(double seconds) const
    {
        return liveAppState(support::after(support::sampleTime, seconds), environment).has_value();
    }
};

TEST_F(LiveAppState, IsWhatTheApplicationWrote)
{
    EXPECT_EQ(liveAppState(time, environment), support::validState());
}

TEST_F(LiveAppState, LastsExactlyTenSeconds)
{
    EXPECT_TRUE(isLiveAfter(10.0));
    EXPECT_FALSE(isLiveAfter(10.001));
    EXPECT_FALSE(isLiveAfter(std::nextafter(support::sampleTime.secondsSince2001 + 10.0, 1e300)
        - support::sampleTime.secondsSince2001));
}

TEST_F(LiveAppState, MayLieExactlyTwoSecondsAhead)
{
    EXPECT_TRUE(isLiveAfter(-2.0));
    EXPECT_FALSE(isLiveAfter(-2.5));
    EXPECT_FALSE(isLiveAfter(std::nextafter(support::sampleTime.secondsSince2001 - 2.0, -1e300)
        - support::sampleTime.secondsSince2001));
}

TEST_F(LiveAppState, NeedsAnAgeThatIsANumber)
{
    using Limits = std::numeric_limits<double>;
    for (const double now : { Limits::quiet_NaN(), Limits::infinity(), -Limits::infinity() })
        EXPECT_FALSE(liveAppState({ now }, environment)) << now;
    EXPECT_EQ(probedProcesses, std::vector<std::int32_t> {});
}

TEST_F(LiveAppState, NeedsAProcessIdentifierOfAtLeastOne)
{
    bridge::BrowserBridgeState state = support::validState();
    for (const std::int32_t identifier : { 0, -1, std::numeric_limits<std::int32_t>::min() }) {
        state.appProcessIdentifier = identifier;
        support::writeState(root(), state);
        EXPECT_FALSE(isLiveAfter(0)) << identifier;
    }
    // Such identifiers stand for groups of processes, so they must not even be asked for.
    EXPECT_EQ(probedProcesses, std::vector<std::int32_t> {});
    state.appProcessIdentifier = 1;
    support::writeState(root(), state);
    EXPECT_TRUE(isLiveAfter(0));
    EXPECT_EQ(probedProcesses, std::vector<std::int32_t> { 1 });
}

TEST_F(LiveAppState, NeedsAProcessThatExists)
{
    EXPECT_TRUE(isLiveAfter(0));
    processExists = false;
    EXPECT_FALSE(isLiveAfter(0));
    EXPECT_EQ(probedProcesses, (std::vector<std::int32_t> { 4711, 4711 }));
}

TEST_F(LiveAppState, StaleStatesAreNotProbed)
{
    EXPECT_FALSE(isLiveAfter(11));
    EXPECT_FALSE(isLiveAfter(-3));
    EXPECT_EQ(probedProcesses, std::vector<std::int32_t> {});
}

TEST_F(LiveAppState, NeedsAStateThatCanBeRead)
{
    support::writeState(root(), "{");
    EXPECT_FALSE(isLiveAfter(0));
    support::writeState(root(), "");
    EXPECT_FALSE(isLiveAfter(0));
    bridge::BrowserBridgeState state = support::validState();
    state.version = 2;
    support::writeState(root(), state);
    EXPECT_FALSE(isLiveAfter(0));
    std::filesystem::remove(pathOf("state.json"));
    EXPECT_FALSE(isLiveAfter(0));
    support::makeDirectory(pathOf("state.json"));
    EXPECT_FALSE(isLiveAfter(0));
    EXPECT_EQ(probedProcesses, std::vector<std::int32_t> {});
}

TEST_F(LiveAppState, FailsQuietlyWhenReadingFails)
{
    fileSystem.failOperation(support::FileOperation::read, EIO);
    EXPECT_FALSE(isLiveAfter(0));
    EXPECT_EQ(fileSystem.openFileCount(), 0);
}

TEST_F(LiveAppState, IsReadAfreshEachTime)
{
    EXPECT_EQ(liveAppState(time, environment)->sessionRunning, true);
    bridge::BrowserBridgeState state = support::validState();
    state.sessionRunning = false;
    support::writeState(root(), state);
    EXPECT_EQ(liveAppState(time, environment)->sessionRunning, false);
    std::filesystem::remove(pathOf("state.json"));
    EXPECT_FALSE(liveAppState(time, environment));
}

} // namespace
} // namespace host
