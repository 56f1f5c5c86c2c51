#include "events/browser_activity_event.h"

#include "tests/support/samples.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace events {

namespace {

std::string encoded(const BrowserActivityEvent& event)
{
    const auto text = encode(event);
    EXPECT_TRUE(text);
    return text.value_or("");
}

bool contains(const std::string& text, std::string_view part)
{
    return text.find(part) != std::string::npos;
}

// The time stamp as it is written after being read from `text`.
std::string rewritten(const std::string& text)
{
    const auto event = decodeBrowserActivityEvent(
        R"({"id":"3F2504E0-4F89-11D3-9A0C-0305E82C3301","browserDisplayName":"","browserBundleIdentifier":"",)"
        R"("eventType":"heartbeat","timestamp":")"
        + text + R"("})");
    EXPECT_TRUE(event) << text;
    const std::string json = encoded(event.value_or(BrowserActivityEvent {}));
    constexpr std::string_view key = R"("timestamp":")";
    const std::size_t start = json.find(key) + key.size();
    return json.substr(start, json.find('"', start) - start);
}

} // namespace

TEST(EncodeBrowserActivityEvent, WritesEveryFieldInTheRecordsOrder)
{
    BrowserActivityEvent event = support::validPDFEvent();
    event.hostname = "www.example.com";
    event.temporaryTabIdentifier = "tab-17";
    event.isPrivate = true;
    event.timestamp = { 763637213.589 };
    EXPECT_EQ(encoded(event),
        R"({"id":"3F2504E0-4F89-11D3-9A0C-0305E82C3302","browserDisplayName":"Google Chrome",)"
        R"("browserBundleIdentifier":"com.google.Chrome","hostname":"www.example.com",)"
        R"("temporaryTabIdentifier":"tab-17","timestamp":"2025-03-14T09:26:53.589Z",)"
        R"("eventType":"tabNavigated","isPrivate":true,"resourceType":"localPDF",)"
        R"("pdfIdentifier":"9b2d6e1c-7c43-4c25-9d5e-0f6a1b2c3d4e","pdfLabel":"Thesis.pdf",)"
        R"("pdfLabelSource":"filename","localFilePermission":"enabled"})");
}

TEST(EncodeBrowserActivityEvent, LeavesOutWhatIsAbsentAndAlwaysWritesPrivateAndResourceType)
{
    BrowserActivityEvent event = support::validEvent();
    event.hostname.reset();
    event.temporaryTabIdentifier.reset();
    EXPECT_EQ(encoded(event),
        R"({"id":"3F2504E0-4F89-11D3-9A0C-0305E82C3301","browserDisplayName":"Google Chrome",)"
        R"("browserBundleIdentifier":"com.google.Chrome","timestamp":"2025-03-14T09:26:53.000Z",)"
        R"("eventType":"tabActivated","isPrivate":false,"resourceType":"website"})");
}

TEST(EncodeBrowserActivityEvent, AddsTheDefaultsOfAMinimalEvent)
{
    const auto event = decodeBrowserActivityEvent(
        R"({"id":"3f2504e0-4f89-11d3-9a0c-0305e82c3301","browserDisplayName":"Google Chrome",)"
        R"("browserBundleIdentifier":"com.google.Chrome","timestamp":"2025-03-14T09:26:53.589Z",)"
        R"("eventType":"heartbeat"})");
    ASSERT_TRUE(event);
    EXPECT_EQ(encoded(*event),
        R"({"id":"3F2504E0-4F89-11D3-9A0C-0305E82C3301","browserDisplayName":"Google Chrome",)"
        R"("browserBundleIdentifier":"com.google.Chrome","timestamp":"2025-03-14T09:26:53.589Z",)"
        R"("eventType":"heartbeat","isPrivate":false,"resourceType":"website"})");
}

TEST(EncodeBrowserActivityEvent, WritesAnEmptyTextThatIsPresent)
{
    BrowserActivityEvent event = support::validEvent();
    event.hostname = "";
    EXPECT_TRUE(contains(encoded(event), R"("hostname":"")"));
}

TEST(EncodeBrowserActivityEvent, EscapesTextsAsJson)
{
    BrowserActivityEvent event = support::validPDFEvent();
    event.pdfLabel = "a/b\"c\\d\n\x01\u00E9\u2028";
    EXPECT_TRUE(contains(encoded(event), "\"pdfLabel\":\"a\\/b\\\"c\\\\d\\n\\u0001\u00E9\u2028\""))
        << encoded(event);
}

TEST(EncodeBrowserActivityEvent, WritesEnumerationsAsTheirTexts)
{
    const std::vector<std::string_view> texts { "browserBecameActive", "tabActivated",
        "tabNavigated", "browserWindowFocused", "browserWindowBlurred", "tabClosed",
        "extensionDisconnected", "heartbeat" };
    BrowserActivityEvent event = support::validPDFEvent();
    std::vector<std::string_view>::const_iterator text = texts.begin();
    for (const auto type : base::allValues<BrowserActivityEventType>()) {
        ASSERT_NE(text, texts.end());
        event.eventType = type;
        const std::string member = R"("eventType":")" + std::string(*text) + '"';
        EXPECT_TRUE(contains(encoded(event), member)) << *text;
        ++text;
    }
    EXPECT_EQ(text, texts.end());

    event.resourceType = BrowserActivityResourceType::website;
    event.pdfLabelSource = BrowserPDFLabelSource::manual;
    event.localFilePermission = BrowserLocalFilePermission::permissionRequired;
    EXPECT_TRUE(contains(encoded(event), R"("resourceType":"website")"));
    EXPECT_TRUE(contains(encoded(event), R"("pdfLabelSource":"manual")"));
    EXPECT_TRUE(contains(encoded(event), R"("localFilePermission":"permissionRequired")"));
    event.localFilePermission = BrowserLocalFilePermission::unsupported;
    EXPECT_TRUE(contains(encoded(event), R"("localFilePermission":"unsupported")"));
}

TEST(EncodeBrowserActivityEvent, RewritesTimeStampsWithThreeDigitsAndZ)
{
    EXPECT_EQ(rewritten("2025-03-14T09:26:53.589Z"), "2025-03-14T09:26:53.589Z");
    EXPECT_EQ(rewritten("2025-03-14T09:26:53.5Z"), "2025-03-14T09:26:53.500Z");
    EXPECT_EQ(rewritten("2025-03-14T09:26:53.589793238Z"), "2025-03-14T09:26:53.589Z");
    EXPECT_EQ(rewritten("2025-03-14T09:26:53.000Z"), "2025-03-14T09:26:53.000Z");
    EXPECT_EQ(rewritten("2024-12-31T23:59:59.999Z"), "2024-12-31T23:59:59.999Z");
    EXPECT_EQ(rewritten("1969-12-31T23:59:59.999Z"), "1969-12-31T23:59:59.999Z");
}

TEST(EncodeBrowserActivityEvent, RewritesTimeStampsInUTC)
{
    EXPECT_EQ(rewritten("2025-03-14T09:26:53.589+0100"), "2025-03-14T08:26:53.589Z");
    EXPECT_EQ(rewritten("2025-03-14T09:26:53.589+01:00"), "2025-03-14T08:26:53.589Z");
    EXPECT_EQ(rewritten("2025-12-31T20:30:00.000-0330"), "2026-01-01T00:00:00.000Z");
}

TEST(EncodeBrowserActivityEvent, KeepsEveryMillisecondOfASecond)
{
    for (int millisecond = 0; millisecond < 1000; ++millisecond) {
        std::string digits = std::to_string(1000 + millisecond);
        const std::string text = "2025-03-14T09:26:53." + digits.erase(0, 1) + "Z";
        ASSERT_EQ(rewritten(text), text);
    }
}

TEST(EncodeBrowserActivityEvent, ReadsBackWhatItWrites)
{
    for (BrowserActivityEvent event : { support::validEvent(), support::validPDFEvent() }) {
        event.timestamp = { 763637213.589 };
        const auto again = decodeBrowserActivityEvent(encoded(event));
        ASSERT_TRUE(again);
        EXPECT_EQ(encoded(*again), encoded(event));
        EXPECT_LT(std::abs(base::secondsBetween(event.timestamp, again->timestamp)), 0.0001);
        event.timestamp = again->timestamp;
        EXPECT_EQ(*again, event);
    }
}

TEST(BrowserActivityEvent, IsEqualWhenAllFieldsAre)
{
    using Change = void (*)(BrowserActivityEvent&);
    const std::vector<Change> changes {
        [](BrowserActivityEvent& event) { event.id.bytes.back() ^= 1U; },
        [](BrowserActivityEvent& event) { event.browserDisplayName += ' '; },
        [](BrowserActivityEvent& event) { event.browserBundleIdentifier += ' '; },
        [](BrowserActivityEvent& event) { event.hostname = ""; },
        [](BrowserActivityEvent& event) { event.temporaryTabIdentifier = ""; },
        [](BrowserActivityEvent& event) { event.timestamp.secondsSince2001 += 0.001; },
        [](BrowserActivityEvent& event) { event.eventType = BrowserActivityEventType::tabClosed; },
        [](BrowserActivityEvent& event) { event.isPrivate = true; },
        [](BrowserActivityEvent& event) {
            event.resourceType = BrowserActivityResourceType::website;
        },
        [](BrowserActivityEvent& event) { event.pdfIdentifier.reset(); },
        [](BrowserActivityEvent& event) { event.pdfLabel.reset(); },
        [](BrowserActivityEvent& event) { event.pdfLabelSource = BrowserPDFLabelSource::manual; },
        [](BrowserActivityEvent& event) { event.localFilePermission.reset(); },
    };
    EXPECT_EQ(support::validPDFEvent(), support::validPDFEvent());
    for (const Change change : changes) {
        BrowserActivityEvent changed = support::validPDFEvent();
        change(changed);
        EXPECT_NE(changed, support::validPDFEvent());
    }
}

TEST(BrowserActivityEnumerations, ListTheirValuesAndCanBeHashed)
{
    const auto distinct = []<typename Enumeration>(Enumeration) {
        const auto values = base::allValues<Enumeration>();
        return std::unordered_set<Enumeration>(values.begin(), values.end()).size();
    };
    EXPECT_EQ(distinct(BrowserActivityEventType::heartbeat), 8U);
    EXPECT_EQ(distinct(BrowserActivityResourceType::website), 2U);
    EXPECT_EQ(distinct(BrowserPDFLabelSource::filename), 2U);
    EXPECT_EQ(distinct(BrowserLocalFilePermission::enabled), 3U);
}

} // namespace events
