#include "host/request_handler.h"

#include "tests/host/host_test.h"
#include "tests/support/application_states.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace host {
namespace {

// What each request, and each of the two steps at a session's end, does in every state of the
// application.
class InEveryState : public HostTest,
                     public testing::WithParamInterface<support::ApplicationStateCase> {
protected:
    InEveryState()
    {
        const support::ApplicationStateCase& stateCase = GetParam();
        processExists = stateCase.processExists;
        std::filesystem::remove(pathOf("state.json"));
        if (stateCase.state) {
            bridge::BrowserBridgeState state = *stateCase.state;
            state.updatedAt = support::after(time, -stateCase.age);
            support::writeState(root(), state);
        }
    }

    static NativeHostResponse expected(bool accepted)
    {
        const support::ApplicationStateCase& stateCase = GetParam();
        NativeHostResponse response { .accepted = accepted,
            .appRunning = stateCase.appRunning,
            .sessionRunning = stateCase.sessionRunning,
            .browserFrontmost = stateCase.browserFrontmost,
            .trackingPaused = stateCase.trackingPaused };
        if (stateCase.namesSession)
            response.sessionIdentifier = support::sessionIdentifier();
        return response;
    }

    void expectDisconnectEvent() const
    {
        std::vector<events::BrowserActivityEventType> types;
        if (GetParam().relaysEvents())
            types.push_back(events::BrowserActivityEventType::extensionDisconnected);
        EXPECT_EQ(relayedTypes(), types);
    }
};

TEST_P(InEveryState, ReadinessPing)
{
    EXPECT_EQ(handle(pingText()), expected(true));
    EXPECT_EQ(hasReadiness(), GetParam().appRunning);
    EXPECT_EQ(inbox().size(), 0U);
}

TEST_P(InEveryState, OpenMerrowin)
{
    EXPECT_EQ(handle(requestText("openMerrowin")), expected(true));
    EXPECT_EQ(openings, 1);
}

TEST_P(InEveryState, OpenDiagnostics)
{
    EXPECT_EQ(handle(requestText("openDiagnostics")), expected(true));
    EXPECT_EQ(openings, 1);
}

TEST_P(InEveryState, BrowserActivity)
{
    events::BrowserActivityEvent event = support::validEvent();
    event.localFilePermission = events::BrowserLocalFilePermission::enabled;
    NativeHostResponse response = expected(GetParam().relaysEvents());
    response.localFilePermission = event.localFilePermission;
    if (!GetParam().relaysEvents())
        response.error = GetParam().refusal;
    EXPECT_EQ(handle(activityText(event, versionMember)), response);

    EXPECT_EQ(inbox().size(), GetParam().relaysEvents() ? 1U : 0U);
    EXPECT_EQ(hasReadiness(), GetParam().appRunning);
    // What is remembered does not depend on the application.
    EXPECT_EQ(memory.lastBrowser, events::SupportedBrowser::googleChrome);
    EXPECT_EQ(memory.lastExtensionVersion, "1.2.3");
    EXPECT_EQ(memory.lastLocalFilePermission, event.localFilePermission);
}

TEST_P(InEveryState, BrowserActivityThatValidationRefuses)
{
    events::BrowserActivityEvent event = support::validEvent();
    event.hostname = "";
    EXPECT_EQ(handle(activityText(event, versionMember)),
        refused(expected(false), "The browser hostname is invalid."));
    EXPECT_FALSE(hasReadiness());
    EXPECT_EQ(inbox().size(), 0U);
}

TEST_P(InEveryState, TrackingPaused)
{
    EXPECT_EQ(handle(pauseText(true)), expected(true));
    expectDisconnectEvent();
}

TEST_P(InEveryState, TrackingResumed)
{
    EXPECT_EQ(handle(pauseText(false)), expected(true));
    EXPECT_FALSE(support::exists(pathOf("Inbox")));
}

TEST_P(InEveryState, RefusalWithoutABrowser)
{
    NativeHostResponse response = refused(expected(false), malformedText);
    response.browserFrontmost = false;
    EXPECT_EQ(handle("{"), response);
}

TEST_P(InEveryState, AnnounceReadiness)
{
    announceReadiness(events::SupportedBrowser::googleChrome, "1.2.3", false, environment);
    ASSERT_EQ(hasReadiness(), GetParam().appRunning);
    if (GetParam().appRunning) {
        EXPECT_FALSE(readiness().connectionAvailable);
    }
}

TEST_P(InEveryState, ReportExtensionDisconnected)
{
    reportExtensionDisconnected(events::SupportedBrowser::googleChrome, environment);
    expectDisconnectEvent();
}

INSTANTIATE_TEST_SUITE_P(All, InEveryState, testing::ValuesIn(support::allApplicationStates()),
    [](const auto& testCase) { return testCase.param.name; });

class EndOfSessionSteps : public HostTest { };

TEST_F(EndOfSessionSteps, ReadinessIsThatOfTheBrowserGiven)
{
    announceReadiness(events::SupportedBrowser::vivaldi, "7", true, environment);
    const auto envelope = bridge::decodeBrowserBridgeReadinessEnvelope(
        support::readFile(pathOf("Readiness/vivaldi.readiness")));
    ASSERT_TRUE(envelope);
    bridge::BrowserBridgeReadiness expected = support::validReadiness();
    expected.browserBundleIdentifier = "com.vivaldi.Vivaldi";
    expected.extensionVersion = "7";
    EXPECT_EQ(envelope->readiness, expected);
}

TEST_F(EndOfSessionSteps, ReadinessNeedsTheToken)
{
    std::filesystem::remove(pathOf("bridge-token"));
    announceReadiness(events::SupportedBrowser::googleChrome, "1", true, environment);
    EXPECT_FALSE(support::exists(pathOf("Readiness")));
}

TEST_F(EndOfSessionSteps, ReadinessOfAnInvalidVersionIsNotPublished)
{
    announceReadiness(events::SupportedBrowser::googleChrome, "beta", true, environment);
    EXPECT_FALSE(support::exists(pathOf("Readiness")));
}

TEST_F(EndOfSessionSteps, TheDisconnectEventNamesTheBrowserAndTheTimeAndNothingElse)
{
    reportExtensionDisconnected(events::SupportedBrowser::googleChrome, environment);
    reportExtensionDisconnected(events::SupportedBrowser::googleChrome, environment);
    const auto relayed = inbox();
    ASSERT_EQ(relayed.size(), 2U);
    EXPECT_NE(relayed[0].event.id, relayed[1].event.id);
    EXPECT_EQ(relayed[0].event.id.bytes[6] >> 4U, 4); // random
    const events::BrowserActivityEvent expected { .id = relayed[0].event.id,
        .browserDisplayName = "Google Chrome",
        .browserBundleIdentifier = "com.google.Chrome",
        .timestamp = time,
        .eventType = events::BrowserActivityEventType::extensionDisconnected };
    EXPECT_EQ(relayed[0].event, expected);
    EXPECT_EQ(relayed[0].envelope.token, support::validToken);
    EXPECT_EQ(relayed[0].envelope.sessionIdentifier, support::sessionIdentifier());
    EXPECT_EQ(relayed[0].envelope.receivedAt, time);
}

TEST_F(EndOfSessionSteps, TheDisconnectEventIsForTheFrontmostBrowser)
{
    reportExtensionDisconnected(events::SupportedBrowser::firefox, environment);
    EXPECT_EQ(inbox().size(), 0U);
    bridge::BrowserBridgeState state = support::validState();
    state.frontmostBrowserBundleIdentifier = support::firefox;
    support::writeState(root(), state);
    reportExtensionDisconnected(events::SupportedBrowser::firefox, environment);
    ASSERT_EQ(inbox().size(), 1U);
    EXPECT_EQ(inbox().front().event.browserDisplayName, "Firefox");
    EXPECT_EQ(inbox().front().event.browserBundleIdentifier, support::firefox);
}

TEST_F(EndOfSessionSteps, TheDisconnectEventNeedsTheToken)
{
    support::writeToken(root(), "none");
    reportExtensionDisconnected(events::SupportedBrowser::googleChrome, environment);
    EXPECT_FALSE(support::exists(pathOf("Inbox")));
}

} // namespace
} // namespace host
