#include "host/request_handler.h"

#include "tests/host/host_test.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace host {
namespace {

class HandleRequest : public HostTest {
protected:
    static NativeHostResponse refusedWithoutBrowser(std::string_view error)
    {
        NativeHostResponse response = refused(liveResponse(), error);
        response.browserFrontmost = false;
        return response;
    }

    void expectNoTrace() const
    {
        EXPECT_FALSE(support::exists(pathOf("Inbox")));
        EXPECT_FALSE(support::exists(pathOf("Readiness")));
        EXPECT_EQ(openings, 0);
        EXPECT_EQ(memory.lastBrowser, std::nullopt);
        EXPECT_EQ(memory.lastExtensionVersion, std::nullopt);
        EXPECT_EQ(memory.lastLocalFilePermission, std::nullopt);
    }
};

std::string padded(std::string text, std::size_t size)
{
    text.append(size - text.size(), ' ');
    return text;
}

TEST_F(HandleRequest, TakesAPayloadOfTheGreatestLength)
{
    EXPECT_EQ(handle(padded(pauseText(false), 16384)), liveResponse());
}

TEST_F(HandleRequest, RefusesALongerPayload)
{
    EXPECT_EQ(handle(padded(pauseText(false), 16385)), refusedWithoutBrowser(tooLargeText));
    expectNoTrace();
}

TEST_F(HandleRequest, RefusesWhatDoesNotDecode)
{
    for (const std::string_view payload : { "", "{", "[]", "null", R"({"protocolVersion":1})",
             R"({"protocolVersion":"1","type":"openMerrowin"})" }) {
        SCOPED_TRACE(payload);
        EXPECT_EQ(handle(payload), refusedWithoutBrowser(malformedText));
    }
    expectNoTrace();
}

TEST_F(HandleRequest, RefusesEveryOtherProtocolVersion)
{
    for (const std::string_view version : { "0", "2", "-1", "9223372036854775807" }) {
        SCOPED_TRACE(version);
        const std::string payload = R"({"protocolVersion":)" + std::string(version)
            + R"(,"type":"openMerrowin","browserBundleIdentifier":"com.google.Chrome"})";
        EXPECT_EQ(handle(payload), refusedWithoutBrowser(wrongVersionText));
    }
    expectNoTrace();
}

TEST_F(HandleRequest, RefusesUnknownTypes)
{
    for (const std::string_view type :
        { "", "ping", "OpenMerrowin", "openMerrowin ", "readinessping", "browseractivity" }) {
        SCOPED_TRACE(type);
        EXPECT_EQ(handle(requestText(type, versionMember)), refusedWithoutBrowser(malformedText));
    }
    expectNoTrace();
}

struct OrderCase {
    const char* name;
    std::string payload;
    std::string_view error;
};

// Every payload breaks more than one rule.
TEST_F(HandleRequest, ChecksSizeThenFormThenVersionThenType)
{
    const std::string wrongVersion = R"({"protocolVersion":2,"type":"unknown"})";
    const std::string wrongForm = R"({"protocolVersion":2,"type":"unknown","paused":1})";
    const std::vector<OrderCase> cases {
        { "too long and no JSON", std::string(16385, '{'), tooLargeText },
        { "too long and another version", padded(wrongVersion, 16385), tooLargeText },
        { "no JSON of the greatest length", std::string(16384, '{'), malformedText },
        { "another version that does not decode", wrongForm, malformedText },
        { "another version of unknown type", wrongVersion, wrongVersionText },
        { "another version from another browser",
            R"({"protocolVersion":2,"type":"openMerrowin","browserBundleIdentifier":"b"})",
            wrongVersionText },
        { "another version without an event", R"({"protocolVersion":2,"type":"browserActivity"})",
            wrongVersionText },
    };
    for (const OrderCase& testCase : cases) {
        SCOPED_TRACE(testCase.name);
        EXPECT_EQ(handle(testCase.payload), refusedWithoutBrowser(testCase.error));
    }
    expectNoTrace();
}

TEST_F(HandleRequest, RefusesEveryBrowserButChrome)
{
    std::vector<std::string> browsers { "", "com.google.chrome", "com.google.Chrome ",
        "com.google.Chrome.canary", "Google Chrome" };
    for (const events::SupportedBrowser browser : events::allSupportedBrowsers) {
        if (browser != events::SupportedBrowser::googleChrome)
            browsers.emplace_back(events::bundleIdentifier(browser));
    }
    for (const std::string& browser : browsers) {
        for (const std::string_view type :
            { "readinessPing", "openMerrowin", "openDiagnostics", "trackingPauseChanged" }) {
            SCOPED_TRACE(browser + ' ' + std::string(type));
            const std::string payload = R"({"protocolVersion":1,"type":")" + std::string(type)
                + R"(","paused":true,"extensionVersion":"1","browserBundleIdentifier":")" + browser
                + R"("})";
            EXPECT_EQ(handle(payload), refusedWithoutBrowser(malformedText));
        }
    }
    expectNoTrace();
}

TEST_F(HandleRequest, RefusesRequestsWithoutABrowser)
{
    for (const std::string_view type :
        { "readinessPing", "openMerrowin", "openDiagnostics", "trackingPauseChanged" }) {
        SCOPED_TRACE(type);
        EXPECT_EQ(handle(R"({"protocolVersion":1,"type":")" + std::string(type)
                      + R"(","paused":true,"extensionVersion":"1"})"),
            refusedWithoutBrowser(malformedText));
    }
    expectNoTrace();
}

class ReadinessPing : public HandleRequest { };

TEST_F(ReadinessPing, IsRememberedPublishedAndAccepted)
{
    EXPECT_EQ(handle(pingText()), liveResponse());
    EXPECT_EQ(memory.lastBrowser, events::SupportedBrowser::googleChrome);
    EXPECT_EQ(memory.lastExtensionVersion, "1.2.3");
    EXPECT_EQ(memory.lastLocalFilePermission, std::nullopt);
    EXPECT_EQ(readiness(), support::validReadiness());
    EXPECT_FALSE(support::exists(pathOf("Inbox")));
}

TEST_F(ReadinessPing, TakesEveryValidVersion)
{
    for (const std::string& version :
        { std::string("1"), std::string("..."), std::string(32, '9'), std::string("\xC2\xBD") }) {
        SCOPED_TRACE(version);
        EXPECT_EQ(handle(requestText("readinessPing", R"(,"extensionVersion":")" + version + '"')),
            liveResponse());
        EXPECT_EQ(readiness().extensionVersion, version);
    }
}

TEST_F(ReadinessPing, RefusesInvalidVersionsAndKeepsTheMemory)
{
    for (const std::string& version : { std::string(), std::string("1.2.3-beta"), std::string("x"),
             std::string("1 "), std::string(33, '1') }) {
        SCOPED_TRACE(version);
        EXPECT_EQ(handle(requestText("readinessPing", R"(,"extensionVersion":")" + version + '"')),
            refusedWithoutBrowser(malformedText));
    }
    EXPECT_EQ(handle(requestText("readinessPing")), refusedWithoutBrowser(malformedText));
    expectNoTrace();
}

TEST_F(ReadinessPing, IsRememberedAlsoWithoutTheApplication)
{
    processExists = false;
    EXPECT_EQ(handle(pingText()), (NativeHostResponse { .accepted = true }));
    EXPECT_EQ(memory.lastBrowser, events::SupportedBrowser::googleChrome);
    EXPECT_EQ(memory.lastExtensionVersion, "1.2.3");
    EXPECT_FALSE(support::exists(pathOf("Readiness")));
}

// The application may go, or come, between the two looks.
TEST_F(ReadinessPing, LooksAtTheStateAgainForTheResponse)
{
    beforeOpening("state.json", 2, [this] { processExists = false; });
    EXPECT_EQ(handle(pingText()), (NativeHostResponse { .accepted = true }));
    EXPECT_TRUE(hasReadiness());
}

class Open : public HandleRequest, public testing::WithParamInterface<const char*> { };

TEST_P(Open, OpensTheApplicationOnceAndChangesNothingElse)
{
    EXPECT_EQ(handle(requestText(GetParam(), versionMember)), liveResponse());
    EXPECT_EQ(openings, 1);
    openings = 0;
    expectNoTrace();
}

TEST_P(Open, TellsTheStateAfterTheApplicationWasAskedFor)
{
    processExists = false;
    whenOpened = [this] { processExists = true; };
    EXPECT_EQ(handle(requestText(GetParam())), liveResponse());
}

TEST_P(Open, IsAcceptedWhenNothingHappens)
{
    processExists = false; // as where the application is not installed
    EXPECT_EQ(handle(requestText(GetParam())), (NativeHostResponse { .accepted = true }));
    EXPECT_EQ(openings, 1);
}

INSTANTIATE_TEST_SUITE_P(BothTypes, Open, testing::Values("openMerrowin", "openDiagnostics"),
    [](const auto& testCase) { return std::string(testCase.param); });

class TrackingPauseChanged : public HandleRequest { };

TEST_F(TrackingPauseChanged, ReportsTheDisconnectOnAPause)
{
    EXPECT_EQ(handle(pauseText(true)), liveResponse());
    ASSERT_EQ(inbox().size(), 1U);
    EXPECT_EQ(
        inbox().front().event.eventType, events::BrowserActivityEventType::extensionDisconnected);
    EXPECT_EQ(memory.lastBrowser, std::nullopt);
    EXPECT_FALSE(support::exists(pathOf("Readiness")));
}

TEST_F(TrackingPauseChanged, WritesNothingWhenTrackingGoesOn)
{
    EXPECT_EQ(handle(pauseText(false)), liveResponse());
    expectNoTrace();
}

TEST_F(TrackingPauseChanged, NeedsToSayWhich)
{
    EXPECT_EQ(handle(requestText("trackingPauseChanged")), refusedWithoutBrowser(malformedText));
    EXPECT_EQ(handle(requestText("trackingPauseChanged", R"(,"paused":null)")),
        refusedWithoutBrowser(malformedText));
    expectNoTrace();
}

} // namespace
} // namespace host
