#include "bridge/bridge_records.h"
#include "tests/support/samples.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace bridge {

namespace {

const std::string tokenMember = R"("token":")" + std::string(support::validToken) + '"';

template <typename Record> std::string encoded(const Record& record)
{
    const auto text = encode(record);
    EXPECT_TRUE(text);
    return text.value_or("");
}

BrowserBridgeEnvelope sampleEnvelope()
{
    return { .token = std::string(support::validToken),
        .sessionIdentifier = support::sessionIdentifier(),
        .receivedAt = { 753422400.5 },
        .eventData = "abc" };
}

BrowserBridgeReadinessEnvelope sampleReadiness()
{
    return { .token = std::string(support::validToken), .readiness = support::validReadiness() };
}

} // namespace

TEST(EncodeBrowserBridgeEnvelope, WritesCompactJsonWithBase64)
{
    EXPECT_EQ(encoded(sampleEnvelope()),
        R"({"version":1,)" + tokenMember
            + R"(,"sessionIdentifier":"5E551011-0000-4000-8000-00000000000A",)"
              R"("receivedAt":753422400.5,"eventData":"YWJj"})");
}

TEST(EncodeBrowserBridgeEnvelope, EscapesSlashesInBase64)
{
    BrowserBridgeEnvelope envelope = sampleEnvelope();
    envelope.eventData = "\xFF\xFF\xFF";
    EXPECT_TRUE(encoded(envelope).ends_with(R"("eventData":"\/\/\/\/"})"));
}

TEST(EncodeBrowserBridgeEnvelope, WritesEmptyEventData)
{
    BrowserBridgeEnvelope envelope = sampleEnvelope();
    envelope.eventData.clear();
    EXPECT_TRUE(encoded(envelope).ends_with(R"("eventData":""})"));
}

TEST(EncodeBrowserBridgeState, WritesAllFields)
{
    EXPECT_EQ(encoded(support::validState()),
        R"({"version":1,"appProcessIdentifier":4711,"sessionRunning":true,)"
        R"("sessionIdentifier":"5E551011-0000-4000-8000-00000000000A","browserTrackingPaused":false,)"
        R"("frontmostBrowserBundleIdentifier":"com.google.Chrome","updatedAt":763637213})");
}

TEST(EncodeBrowserBridgeState, LeavesOutWhatIsAbsent)
{
    EXPECT_EQ(
        encoded(BrowserBridgeState {
            .appProcessIdentifier = -1, .browserTrackingPaused = true, .updatedAt = { 0.25 } }),
        R"({"version":1,"appProcessIdentifier":-1,"sessionRunning":false,"browserTrackingPaused":true,)"
        R"("updatedAt":0.25})");
}

TEST(EncodeBrowserBridgePreferencesEnvelope, WritesAllFields)
{
    EXPECT_EQ(encoded(support::preferences(true)),
        R"({"version":1,)" + tokenMember + R"(,"filenameLabelsEnabled":true})");
    EXPECT_EQ(encoded(support::preferences(false, "t")),
        R"({"version":1,"token":"t","filenameLabelsEnabled":false})");
}

TEST(EncodeBrowserBridgeCommandEnvelope, WritesAllFields)
{
    BrowserBridgeCommandEnvelope envelope = support::command();
    envelope.command.sessionIdentifier = support::sessionIdentifier();
    envelope.command.filenameLabelsEnabled = false;
    EXPECT_EQ(encoded(envelope),
        R"({"version":1,)" + tokenMember
            + R"(,"command":{"id":"C0FFEE00-1111-4222-8333-444455556666","type":"showLocalPDF",)"
              R"("browserBundleIdentifier":"com.google.Chrome",)"
              R"("sessionIdentifier":"5E551011-0000-4000-8000-00000000000A",)"
              R"("pdfIdentifier":"9B2D6E1C-7C43-4C25-9D5E-0F6A1B2C3D4E","filenameLabelsEnabled":false,)"
              R"("createdAt":763637213}})");
}

TEST(EncodeBrowserBridgeCommandEnvelope, LeavesOutWhatIsAbsent)
{
    BrowserBridgeCommandEnvelope envelope = support::command();
    envelope.command.type = BrowserBridgeCommandType::setFilenameLabelsEnabled;
    envelope.command.pdfIdentifier.reset();
    EXPECT_EQ(encoded(envelope),
        R"({"version":1,)" + tokenMember
            + R"(,"command":{"id":"C0FFEE00-1111-4222-8333-444455556666",)"
              R"("type":"setFilenameLabelsEnabled","browserBundleIdentifier":"com.google.Chrome",)"
              R"("createdAt":763637213}})");
}

TEST(EncodeBrowserBridgeReadinessEnvelope, WritesAllFields)
{
    EXPECT_EQ(encoded(sampleReadiness()),
        R"({"version":1,)" + tokenMember
            + R"(,"readiness":{"version":1,"browserBundleIdentifier":"com.google.Chrome",)"
              R"("extensionVersion":"1.2.3","nativeHostVersion":"0.3.0","protocolVersion":1,)"
              R"("connectionAvailable":true,"updatedAt":763637213}})");
}

TEST(BridgeRecordEncoding, EscapesTexts)
{
    EXPECT_EQ(encoded(support::preferences(true, "a/b\"\\\x01\u00E9")),
        "{\"version\":1,\"token\":\"a\\/b\\\"\\\\\\u0001\u00E9\",\"filenameLabelsEnabled\":true}");
}

TEST(BridgeRecordEncoding, WritesTimesThatReadBackExactly)
{
    for (const double seconds :
        { 753422400.123456, 0.1, -978307200.0, 1e-7, 1.7976931348623157e308, 4.9e-324, -0.5 }) {
        BrowserBridgeState state = support::validState();
        state.updatedAt = { seconds };
        const auto again = decodeBrowserBridgeState(encoded(state));
        ASSERT_TRUE(again) << seconds;
        EXPECT_EQ(*again, state);
    }
}

TEST(BridgeRecordEncoding, RefusesTimesThatAreNotFinite)
{
    for (const double seconds : { std::numeric_limits<double>::infinity(),
             -std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN() }) {
        BrowserBridgeEnvelope envelope = sampleEnvelope();
        envelope.receivedAt = { seconds };
        const auto written = encode(envelope);
        ASSERT_FALSE(written);
        EXPECT_EQ(written.error(),
            (base::JsonError { .kind = base::JsonErrorKind::invalidValue, .key = "receivedAt" }));

        BrowserBridgeReadinessEnvelope readiness = sampleReadiness();
        readiness.readiness.updatedAt = { seconds };
        EXPECT_FALSE(encode(readiness));
        BrowserBridgeState state = support::validState();
        state.updatedAt = { seconds };
        EXPECT_FALSE(encode(state));
        BrowserBridgeCommandEnvelope command = support::command();
        command.command.createdAt = { seconds };
        EXPECT_FALSE(encode(command));
    }
}

TEST(BridgeRecordEncoding, RoundTripsEveryRecord)
{
    BrowserBridgeEnvelope envelope = sampleEnvelope();
    for (int byte = 0; byte < 256; ++byte)
        envelope.eventData += static_cast<char>(byte);
    EXPECT_EQ(decodeBrowserBridgeEnvelope(encoded(envelope)), envelope);
    EXPECT_EQ(decodeBrowserBridgeState(encoded(support::validState())), support::validState());
    EXPECT_EQ(decodeBrowserBridgePreferencesEnvelope(encoded(support::preferences(true))),
        support::preferences(true));
    EXPECT_EQ(decodeBrowserBridgeCommandEnvelope(encoded(support::command())), support::command());
    EXPECT_EQ(decodeBrowserBridgeReadinessEnvelope(encoded(sampleReadiness())), sampleReadiness());
}

} // namespace bridge
