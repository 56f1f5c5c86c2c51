#include "tests/host/host_test.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace host {
namespace {

class MakeResponse : public HostTest {
protected:
    NativeHostResponse make(const std::optional<bridge::BrowserBridgeState>& state,
        std::optional<std::string_view> browser) const
    {
        return makeResponse(true, state, browser, std::nullopt, environment, memory);
    }
};

TEST_F(MakeResponse, AnnouncesTheHostsVersions)
{
    const NativeHostResponse response = make(std::nullopt, std::nullopt);
    EXPECT_EQ(response.protocolVersion, 1);
    EXPECT_EQ(response.minimumProtocolVersion, 1);
    EXPECT_EQ(response.nativeHostVersion, "0.3.0");
}

TEST_F(MakeResponse, PassesOnWhetherAndWhyNot)
{
    EXPECT_EQ(makeResponse(true, std::nullopt, std::nullopt, std::nullopt, environment, memory),
        (NativeHostResponse { .accepted = true }));
    EXPECT_EQ(makeResponse(false, std::nullopt, std::nullopt, "why", environment, memory),
        (NativeHostResponse { .accepted = false, .error = "why" }));
}

TEST_F(MakeResponse, SaysNothingOfAnApplicationThatDoesNotRun)
{
    EXPECT_EQ(make(std::nullopt, support::chrome), (NativeHostResponse { .accepted = true }));
}

TEST_F(MakeResponse, TellsTheStateFlagByFlag)
{
    for (const bool sessionRunning : { false, true }) {
        for (const bool paused : { false, true }) {
            for (const bool hasIdentifier : { false, true }) {
                bridge::BrowserBridgeState state = support::validState();
                state.sessionRunning = sessionRunning;
                state.browserTrackingPaused = paused;
                if (!hasIdentifier)
                    state.sessionIdentifier.reset();
                NativeHostResponse expected { .accepted = true,
                    .appRunning = true,
                    .sessionRunning = sessionRunning,
                    .browserFrontmost = true,
                    .trackingPaused = paused };
                if (sessionRunning && hasIdentifier)
                    expected.sessionIdentifier = support::sessionIdentifier();
                EXPECT_EQ(make(state, support::chrome), expected)
                    << sessionRunning << paused << hasIdentifier;
            }
        }
    }
}

TEST_F(MakeResponse, NeedsBothBrowsersToBeTheSameToTheLetter)
{
    struct Row {
        const char* name;
        std::optional<std::string> frontmost;
        std::optional<std::string_view> reporting;
        bool expected;
    };
    const std::vector<Row> rows { { "the same", "com.google.Chrome", "com.google.Chrome", true },
        { "another", "org.mozilla.firefox", "com.google.Chrome", false },
        { "other letter case", "com.google.chrome", "com.google.Chrome", false },
        { "a longer one", "com.google.Chrome.canary", "com.google.Chrome", false },
        { "none frontmost", std::nullopt, "com.google.Chrome", false },
        { "none reporting", "com.google.Chrome", std::nullopt, false },
        { "none at all", std::nullopt, std::nullopt, false }, { "both empty", "", "", true },
        { "none and empty", std::nullopt, "", false },
        { "empty and none", "", std::nullopt, false },
        { "both another", "org.mozilla.firefox", "org.mozilla.firefox", true } };
    for (const Row& row : rows) {
        bridge::BrowserBridgeState state = support::validState();
        state.frontmostBrowserBundleIdentifier = row.frontmost;
        EXPECT_EQ(make(state, row.reporting).browserFrontmost, row.expected) << row.name;
    }
}

TEST_F(MakeResponse, TellsTheLastLocalFilePermission)
{
    for (const auto permission : base::allValues<events::BrowserLocalFilePermission>()) {
        memory.lastLocalFilePermission = permission;
        EXPECT_EQ(make(std::nullopt, std::nullopt).localFilePermission, permission);
    }
    memory.lastLocalFilePermission.reset();
    EXPECT_EQ(make(std::nullopt, std::nullopt).localFilePermission, std::nullopt);
}

TEST_F(MakeResponse, TellsThePreference)
{
    EXPECT_FALSE(make(std::nullopt, std::nullopt).filenameLabelsEnabled);
    support::writePreferences(root(), support::preferences(true));
    EXPECT_TRUE(make(std::nullopt, std::nullopt).filenameLabelsEnabled);
    support::writePreferences(root(), support::preferences(false));
    EXPECT_FALSE(make(std::nullopt, std::nullopt).filenameLabelsEnabled);
}

TEST_F(MakeResponse, TakesThePreferenceAsOffWhenItCannotBeRead)
{
    const auto labelsEnabled
        = [this] { return make(std::nullopt, std::nullopt).filenameLabelsEnabled; };
    support::writePreferences(root(), "{");
    EXPECT_FALSE(labelsEnabled());
    support::writePreferences(root(), support::preferences(true, support::otherToken));
    EXPECT_FALSE(labelsEnabled());
    bridge::BrowserBridgePreferencesEnvelope otherVersion = support::preferences(true);
    otherVersion.version = 2;
    support::writePreferences(root(), otherVersion);
    EXPECT_FALSE(labelsEnabled());
    support::writePreferences(root(), support::preferences(true));
    EXPECT_TRUE(labelsEnabled());
    std::filesystem::remove(pathOf("bridge-token"));
    EXPECT_FALSE(labelsEnabled());
    support::writeToken(root());
    fileSystem.failOperation(support::FileOperation::read, EIO);
    EXPECT_FALSE(labelsEnabled());
}

class MakeErrorResponse : public HostTest { };

TEST_F(MakeErrorResponse, TellsTheStateAsOfNow)
{
    const events::BrowserActivityEvent event = support::validEvent();
    EXPECT_EQ(makeErrorResponse(NativeHostError::appUnavailable, &event, environment, memory),
        refused(liveResponse(), appUnavailableText));
    time = support::after(time, 11);
    EXPECT_EQ(makeErrorResponse(NativeHostError::appUnavailable, &event, environment, memory),
        refused({}, appUnavailableText));
}

TEST_F(MakeErrorResponse, KnowsNoBrowserWithoutAnEvent)
{
    NativeHostResponse expected = refused(liveResponse(), malformedText);
    expected.browserFrontmost = false;
    EXPECT_EQ(
        makeErrorResponse(NativeHostError::invalidRequest, nullptr, environment, memory), expected);
}

TEST_F(MakeErrorResponse, TakesTheBrowserFromTheEvent)
{
    events::BrowserActivityEvent event = support::validEvent();
    event.browserBundleIdentifier = support::firefox;
    EXPECT_FALSE(makeErrorResponse(NativeHostError::appUnavailable, &event, environment, memory)
            .browserFrontmost);
    bridge::BrowserBridgeState state = support::validState();
    state.frontmostBrowserBundleIdentifier = support::firefox;
    support::writeState(root(), state);
    EXPECT_TRUE(makeErrorResponse(NativeHostError::appUnavailable, &event, environment, memory)
            .browserFrontmost);
}

} // namespace
} // namespace host
