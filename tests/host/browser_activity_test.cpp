#include "host/request_handler.h"

#include "tests/host/host_test.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace host {
namespace {

class BrowserActivity : public HostTest {
protected:
    static NativeHostResponse refusedWithoutBrowser(std::string_view error)
    {
        NativeHostResponse response = refused(liveResponse(), error);
        response.browserFrontmost = false;
        return response;
    }
};

TEST_F(BrowserActivity, RelaysTheEventInNormalForm)
{
    events::BrowserActivityEvent event = support::validEvent();
    event.browserDisplayName = "  My browser ";
    event.hostname = "WWW.Example.COM.";
    EXPECT_EQ(handle(activityText(event)), liveResponse());
    ASSERT_EQ(inbox().size(), 1U);
    EXPECT_EQ(inbox().front().event, support::validEvent());
    EXPECT_EQ(inbox().front().envelope.token, support::validToken);
    EXPECT_EQ(inbox().front().envelope.sessionIdentifier, support::sessionIdentifier());
    EXPECT_EQ(inbox().front().envelope.receivedAt, time);
}

TEST_F(BrowserActivity, TakesNoVersionAsNoReasonToPublishReadiness)
{
    EXPECT_EQ(handle(activityText()), liveResponse());
    EXPECT_FALSE(support::exists(pathOf("Readiness")));
    EXPECT_EQ(memory.lastBrowser, events::SupportedBrowser::googleChrome);
    EXPECT_EQ(memory.lastExtensionVersion, std::nullopt);
}

TEST_F(BrowserActivity, PublishesReadinessWithAValidVersion)
{
    EXPECT_EQ(handle(activityText(support::validEvent(), versionMember)), liveResponse());
    EXPECT_EQ(readiness(), support::validReadiness());
    EXPECT_EQ(memory.lastExtensionVersion, "1.2.3");
}

TEST_F(BrowserActivity, OnlySkipsReadinessForAnInvalidVersion)
{
    memory.lastExtensionVersion = "1.0";
    for (const std::string& version :
        { std::string("x"), std::string(), std::string(33, '1'), std::string("1.2.3-beta") }) {
        SCOPED_TRACE(version);
        EXPECT_EQ(
            handle(activityText(support::validEvent(), R"(,"extensionVersion":")" + version + '"')),
            liveResponse());
    }
    EXPECT_EQ(inbox().size(), 4U);
    EXPECT_FALSE(support::exists(pathOf("Readiness")));
    EXPECT_EQ(memory.lastExtensionVersion, "1.0");
}

TEST_F(BrowserActivity, NeedsAnEvent)
{
    EXPECT_EQ(handle(requestText("browserActivity", versionMember)),
        refusedWithoutBrowser(malformedText));
    EXPECT_EQ(handle(requestText("browserActivity", R"(,"event":null)")),
        refusedWithoutBrowser(malformedText));
    EXPECT_EQ(memory.lastBrowser, std::nullopt);
    EXPECT_FALSE(support::exists(pathOf("Readiness")));
}

TEST_F(BrowserActivity, TakesTheBrowserFromTheEventAlone)
{
    EXPECT_EQ(handle(activityText(
                  support::validEvent(), R"(,"browserBundleIdentifier":"org.mozilla.firefox")")),
        liveResponse());
    events::BrowserActivityEvent event = support::validEvent();
    event.browserBundleIdentifier = support::firefox;
    EXPECT_EQ(handle(activityText(event, R"(,"browserBundleIdentifier":"com.google.Chrome")")),
        refusedWithoutBrowser(malformedText));
}

TEST_F(BrowserActivity, RefusesEveryBrowserButChrome)
{
    events::BrowserActivityEvent event = support::validEvent();
    std::vector<std::string> browsers { "", "com.google.chrome", " com.google.Chrome", "unknown" };
    for (const events::SupportedBrowser browser : events::allSupportedBrowsers) {
        if (browser != events::SupportedBrowser::googleChrome)
            browsers.emplace_back(events::bundleIdentifier(browser));
    }
    for (const std::string& browser : browsers) {
        SCOPED_TRACE(browser);
        event.browserBundleIdentifier = browser;
        EXPECT_EQ(handle(activityText(event, versionMember)), refusedWithoutBrowser(malformedText));
    }
    EXPECT_EQ(memory.lastBrowser, std::nullopt);
    EXPECT_EQ(inbox().size(), 0U);
}

TEST_F(BrowserActivity, MayBeTwoMinutesOldAndHalfAMinuteAhead)
{
    const auto errorAfter = [this](double seconds) {
        events::BrowserActivityEvent event = support::validEvent();
        event.timestamp = support::after(time, seconds);
        return handle(activityText(event)).error;
    };
    EXPECT_EQ(errorAfter(-120), std::nullopt);
    EXPECT_EQ(errorAfter(-120.5), "The browser event timestamp is too old.");
    EXPECT_EQ(errorAfter(30), std::nullopt);
    EXPECT_EQ(errorAfter(30.5), "The browser event timestamp is too far in the future.");
}

TEST_F(BrowserActivity, ThatIsRefusedByValidationIsNotRemembered)
{
    events::BrowserActivityEvent event = support::validEvent();
    event.hostname = "";
    event.localFilePermission = events::BrowserLocalFilePermission::enabled;
    EXPECT_EQ(handle(activityText(event, versionMember)),
        refused(liveResponse(), "The browser hostname is invalid."));
    EXPECT_EQ(memory.lastBrowser, std::nullopt);
    EXPECT_EQ(memory.lastExtensionVersion, std::nullopt);
    EXPECT_EQ(memory.lastLocalFilePermission, std::nullopt);
    EXPECT_FALSE(hasReadiness());
    EXPECT_EQ(inbox().size(), 0U);
}

TEST_F(BrowserActivity, SetsAndClearsTheLocalFilePermission)
{
    events::BrowserActivityEvent event = support::validEvent();
    for (const auto permission : base::allValues<events::BrowserLocalFilePermission>()) {
        event.localFilePermission = permission;
        EXPECT_EQ(handle(activityText(event)).localFilePermission, permission);
        EXPECT_EQ(handle("{").localFilePermission, permission);
    }
    event.localFilePermission.reset();
    EXPECT_EQ(handle(activityText(event)).localFilePermission, std::nullopt);
    EXPECT_EQ(memory.lastLocalFilePermission, std::nullopt);
}

// Every event, or the world around it, breaks more than one rule; the first one decides.
TEST_F(BrowserActivity, ChecksTheEventThenTheApplicationThenTheSessionThenTheBrowserThenTheToken)
{
    events::BrowserActivityEvent event = support::validEvent();
    event.browserBundleIdentifier = support::firefox;
    event.timestamp = support::after(time, -600);
    EXPECT_EQ(handle(activityText(event)).error, malformedText);
    event.browserBundleIdentifier = support::chrome;
    event.hostname = "";
    EXPECT_EQ(handle(activityText(event)).error, "The browser event timestamp is too old.");

    bridge::BrowserBridgeState state = support::validState();
    state.sessionRunning = false;
    state.browserTrackingPaused = true;
    state.frontmostBrowserBundleIdentifier.reset();
    state.sessionIdentifier.reset();
    support::writeState(root(), state);
    support::writeToken(root(), "none");
    support::writeFile(pathOf("Inbox"), "in the way");
    processExists = false;
    event.timestamp = time;
    EXPECT_EQ(handle(activityText(event)).error, "The browser hostname is invalid.");

    event = support::validEvent();
    EXPECT_EQ(handle(activityText(event)).error, appUnavailableText);
    processExists = true;
    EXPECT_EQ(handle(activityText(event)).error, sessionUnavailableText);
    state.sessionRunning = true;
    support::writeState(root(), state);
    EXPECT_EQ(handle(activityText(event)).error, sessionUnavailableText); // still paused
    state.browserTrackingPaused = false;
    support::writeState(root(), state);
    EXPECT_EQ(handle(activityText(event)).error, browserNotFrontmostText);
    state.frontmostBrowserBundleIdentifier = support::chrome;
    support::writeState(root(), state);
    EXPECT_EQ(handle(activityText(event)).error, sessionUnavailableText); // no identifier
    state.sessionIdentifier = support::sessionIdentifier();
    support::writeState(root(), state);
    EXPECT_EQ(handle(activityText(event)).error, bridgeNotReadyText);
    support::writeToken(root());
    EXPECT_EQ(handle(activityText(event)).error, "File exists");
    std::filesystem::remove(pathOf("Inbox"));
    EXPECT_EQ(handle(activityText(event)).error, std::nullopt);
}

// The state that let the event through is the one that is told, whatever the application writes
// meanwhile.
TEST_F(BrowserActivity, TellsTheStateThatWasDecidedBy)
{
    fileSystem.beforeCall([this](support::FileOperation operation, const std::string&) {
        if (operation == support::FileOperation::createFile)
            std::filesystem::remove(pathOf("state.json"));
    });
    EXPECT_EQ(handle(activityText()), liveResponse());

    bridge::BrowserBridgeState paused = support::validState();
    paused.browserTrackingPaused = true;
    support::writeState(root(), paused);
    beforeOpening("state.json", 2, [this] { support::writeState(root()); });
    NativeHostResponse expected = refused(liveResponse(), sessionUnavailableText);
    expected.trackingPaused = true;
    EXPECT_EQ(handle(activityText()), expected);
}

// Refusals for want of an application, or of a session's identifier, look again.
TEST_F(BrowserActivity, LooksAgainForRefusalsThatTellTheStateAsOfNow)
{
    std::filesystem::remove(pathOf("state.json"));
    beforeOpening("state.json", 2, [this] { support::writeState(root()); });
    EXPECT_EQ(handle(activityText()), refused(liveResponse(), appUnavailableText));

    bridge::BrowserBridgeState noIdentifier = support::validState();
    noIdentifier.sessionIdentifier.reset();
    support::writeState(root(), noIdentifier);
    beforeOpening("state.json", 2, [this] { support::writeState(root()); });
    EXPECT_EQ(handle(activityText()), refused(liveResponse(), sessionUnavailableText));
    EXPECT_EQ(inbox().size(), 0U);
}

} // namespace
} // namespace host
