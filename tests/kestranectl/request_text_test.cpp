#include "events/event_validation.h"
#include "host/messages.h"
#include "kestranectl/connect.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace kestranectl {
namespace {

const EventOrigin origin {
    .time = { .secondsSince2001 = 763637213.5 },
    .identifier = base::parseUUID("0123ABCD-4567-4890-8ABC-DEF012345678").value_or(base::UUID {}),
};

std::string textOf(std::string_view shortForm)
{
    return requestText(shortForm, origin).value_or("none");
}

TEST(RequestText, LeavesJsonAsItIs)
{
    EXPECT_EQ(textOf("{\"a\" :1} "), "{\"a\" :1} ");
    EXPECT_EQ(textOf("{"), "{");
    EXPECT_EQ(textOf("{\xFF"), "{\xFF");
}

TEST(RequestText, KnowsTheShortForms)
{
    EXPECT_EQ(textOf("ping"),
        R"({"protocolVersion":1,"type":"readinessPing","browserBundleIdentifier":"com.google.Chrome","extensionVersion":"0.0.0"})");
    EXPECT_EQ(textOf("open"),
        R"({"protocolVersion":1,"type":"openMerrowin","browserBundleIdentifier":"com.google.Chrome"})");
    EXPECT_EQ(textOf("diagnostics"),
        R"({"protocolVersion":1,"type":"openDiagnostics","browserBundleIdentifier":"com.google.Chrome"})");
    EXPECT_EQ(textOf("pause"),
        R"({"protocolVersion":1,"type":"trackingPauseChanged","browserBundleIdentifier":"com.google.Chrome","paused":true})");
    EXPECT_EQ(textOf("resume"),
        R"({"protocolVersion":1,"type":"trackingPauseChanged","browserBundleIdentifier":"com.google.Chrome","paused":false})");
    EXPECT_EQ(textOf("active"),
        R"({"protocolVersion":1,"type":"browserActivity","event":{"id":"0123ABCD-4567-4890-8ABC-DEF012345678","browserDisplayName":"Google Chrome","browserBundleIdentifier":"com.google.Chrome","timestamp":"2025-03-14T09:26:53.500Z","eventType":"browserBecameActive","isPrivate":false,"resourceType":"website"}})");
    EXPECT_EQ(textOf("activity=example.com"),
        R"({"protocolVersion":1,"type":"browserActivity","event":{"id":"0123ABCD-4567-4890-8ABC-DEF012345678","browserDisplayName":"Google Chrome","browserBundleIdentifier":"com.google.Chrome","hostname":"example.com","temporaryTabIdentifier":"kestranectl","timestamp":"2025-03-14T09:26:53.500Z","eventType":"tabActivated","isPrivate":false,"resourceType":"website"}})");
}

TEST(RequestText, MakesEventsThatTheHostAccepts)
{
    for (const std::string_view shortForm : { "active", "activity=example.com" }) {
        const auto request = host::decodeNativeHostRequest(textOf(shortForm));
        ASSERT_TRUE(request && request->event);
        EXPECT_TRUE(events::validate(*request->event, origin.time, {}));
    }
}

TEST(RequestText, QuotesTheHostName)
{
    EXPECT_NE(
        textOf("activity=\",\"x\":\"").find(R"("hostname":"\",\"x\":\"")"), std::string::npos);
    EXPECT_NE(textOf("activity=").find(R"("hostname":"",)"), std::string::npos);
}

TEST(RequestText, KnowsNothingElse)
{
    for (const std::string_view text : { "", " ", "Ping", "ping ", "activ", "activity", "[]", " {}",
             "activity=\xFF", "activity=\xED\xA0\x80", "none" })
        EXPECT_EQ(requestText(text, origin), std::nullopt) << text;
}

} // namespace
} // namespace kestranectl
