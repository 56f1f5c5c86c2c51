#include "tests/host/host_test.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace host {
namespace {

TEST(EncodeNativeHostResponse, WritesAllKeysInTheirOrder)
{
    const NativeHostResponse response { .accepted = true,
        .appRunning = true,
        .sessionRunning = true,
        .browserFrontmost = true,
        .trackingPaused = true,
        .sessionIdentifier = support::uuid("5E551011-ABCD-4000-8000-00000000000A"),
        .localFilePermission = events::BrowserLocalFilePermission::permissionRequired,
        .filenameLabelsEnabled = true,
        .command = bridge::BrowserBridgeCommand { .id
            = support::uuid("C0FFEE00-1111-4222-8333-444455556666"),
            .type = bridge::BrowserBridgeCommandType::setFilenameLabelsEnabled,
            .browserBundleIdentifier = "com.google.Chrome",
            .sessionIdentifier = support::uuid("5E551011-ABCD-4000-8000-00000000000A"),
            .pdfIdentifier = support::uuid("9B2D6E1C-7C43-4C25-9D5E-0F6A1B2C3D4E"),
            .filenameLabelsEnabled = false,
            .createdAt = { 763637213.5 } },
        .error = "either/or" };
    EXPECT_EQ(encode(response).value_or("failed"),
        R"({"protocolVersion":1,"nativeHostVersion":"0.3.0","minimumProtocolVersion":1,)"
        R"("accepted":true,"appRunning":true,"sessionRunning":true,"browserFrontmost":true,)"
        R"("trackingPaused":true,"sessionIdentifier":"5e551011-abcd-4000-8000-00000000000a",)"
        R"("localFilePermission":"permissionRequired","filenameLabelsEnabled":true,)"
        R"("command":{"id":"C0FFEE00-1111-4222-8333-444455556666",)"
        R"("type":"setFilenameLabelsEnabled","browserBundleIdentifier":"com.google.Chrome",)"
        R"("sessionIdentifier":"5E551011-ABCD-4000-8000-00000000000A",)"
        R"("pdfIdentifier":"9B2D6E1C-7C43-4C25-9D5E-0F6A1B2C3D4E",)"
        R"("filenameLabelsEnabled":false,"createdAt":763637213.5},"error":"either\/or"})");
}

TEST(EncodeNativeHostResponse, WritesAnAbsentSessionAsNullAndLeavesTheOtherAbsentKeysOut)
{
    EXPECT_EQ(encode(NativeHostResponse {}).value_or("failed"),
        R"({"protocolVersion":1,"nativeHostVersion":"0.3.0","minimumProtocolVersion":1,)"
        R"("accepted":false,"appRunning":false,"sessionRunning":false,"browserFrontmost":false,)"
        R"("trackingPaused":false,"sessionIdentifier":null,"filenameLabelsEnabled":false})");
}

TEST(EncodeNativeHostResponse, NamesEveryLocalFilePermission)
{
    using events::BrowserLocalFilePermission;
    NativeHostResponse response;
    for (const auto& [permission, text] :
        { std::pair { BrowserLocalFilePermission::enabled, R"("localFilePermission":"enabled")" },
            { BrowserLocalFilePermission::permissionRequired,
                R"("localFilePermission":"permissionRequired")" },
            { BrowserLocalFilePermission::unsupported,
                R"("localFilePermission":"unsupported")" } }) {
        response.localFilePermission = permission;
        EXPECT_NE(encode(response).value_or("").find(text), std::string::npos) << text;
    }
}

TEST(EncodeNativeHostResponse, LeavesAbsentFieldsOfACommandOut)
{
    NativeHostResponse response;
    response.command = bridge::BrowserBridgeCommand { .browserBundleIdentifier = "b" };
    EXPECT_NE(encode(response).value_or("").find(
                  R"("command":{"id":"00000000-0000-0000-0000-000000000000",)"
                  R"("type":"showLocalPDF","browserBundleIdentifier":"b","createdAt":0}})"),
        std::string::npos);
}

TEST(EncodeNativeHostResponse, EscapesWhatMustBeEscaped)
{
    NativeHostResponse response;
    response.error = "\"\\/\b\f\n\r\t\x01 \xC3\xA9";
    EXPECT_TRUE(encode(response).value_or("").ends_with(
        "\"error\":\"\\\"\\\\\\/\\b\\f\\n\\r\\t\\u0001 \xC3\xA9\"}"));
}

TEST(EncodeNativeHostResponse, FailsForATimeThatIsNotFinite)
{
    using Limits = std::numeric_limits<double>;
    NativeHostResponse response;
    response.command = support::command().command;
    for (const double time : { Limits::infinity(), -Limits::infinity(), Limits::quiet_NaN() }) {
        response.command->createdAt = { time };
        EXPECT_FALSE(encode(response)) << time;
    }
}

TEST(MessageOfNativeHostError, IsTheFixedText)
{
    EXPECT_EQ(message(NativeHostError::invalidProtocolVersion),
        "Unsupported Kestrane native-messaging protocol version.");
    EXPECT_EQ(
        message(NativeHostError::invalidRequest), "Malformed Kestrane native-messaging request.");
    EXPECT_EQ(message(NativeHostError::messageTooLarge),
        "The native-messaging request exceeds Kestrane's size limit.");
    EXPECT_EQ(message(NativeHostError::appUnavailable), "Kestrane is not running.");
    EXPECT_EQ(
        message(NativeHostError::sessionUnavailable), "No Kestrane session is currently running.");
    EXPECT_EQ(message(NativeHostError::browserNotFrontmost),
        "The reporting browser is not the frontmost application.");
}

TEST(NativeHostErrors, StandInTheirOrder)
{
    EXPECT_EQ(static_cast<int>(NativeHostError::invalidProtocolVersion), 0);
    EXPECT_EQ(static_cast<int>(NativeHostError::invalidRequest), 1);
    EXPECT_EQ(static_cast<int>(NativeHostError::messageTooLarge), 2);
    EXPECT_EQ(static_cast<int>(NativeHostError::appUnavailable), 3);
    EXPECT_EQ(static_cast<int>(NativeHostError::sessionUnavailable), 4);
    EXPECT_EQ(static_cast<int>(NativeHostError::browserNotFrontmost), 5);
}

} // namespace
} // namespace host
