#include "tests/host/host_test.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace host {
namespace {

TEST(DecodeNativeHostRequest, TakesEveryField)
{
    const auto request = decodeNativeHostRequest(activityText(support::validEvent(),
        R"(,"browserBundleIdentifier":"b","paused":true,)"
        R"("extensionVersion":"1.4.2")"));
    ASSERT_TRUE(request);
    const NativeHostRequest expected { .protocolVersion = 1,
        .type = "browserActivity",
        .event = support::validEvent(),
        .browserBundleIdentifier = "b",
        .paused = true,
        .extensionVersion = "1.4.2" };
    EXPECT_EQ(*request, expected);
}

struct DecodingCase {
    const char* name;
    std::string text;
    NativeHostRequest expected;
};

TEST(DecodeNativeHostRequest, OptionalFieldsMayBeAbsentOrNullAndUnknownOnesAreIgnored)
{
    const NativeHostRequest minimal { .protocolVersion = 1, .type = "t" };
    NativeHostRequest emptyTexts = minimal;
    emptyTexts.browserBundleIdentifier = "";
    emptyTexts.extensionVersion = "";
    emptyTexts.paused = false;
    const std::vector<DecodingCase> cases {
        { "minimal", R"({"protocolVersion":1,"type":"t"})", minimal },
        { "other order and blanks", R"( { "type" : "t" , "protocolVersion" : 1 } )", minimal },
        { "nulls",
            R"({"protocolVersion":1,"type":"t","event":null,"browserBundleIdentifier":null,)"
            R"("paused":null,"extensionVersion":null})",
            minimal },
        { "unknown keys", R"({"protocolVersion":1,"type":"t","more":{"paused":7},"Type":1})",
            minimal },
        { "empty values",
            R"({"protocolVersion":1,"type":"t","browserBundleIdentifier":"","paused":false,)"
            R"("extensionVersion":""})",
            emptyTexts },
        { "any integer", R"({"protocolVersion":-9223372036854775808,"type":"t"})",
            { .protocolVersion = std::numeric_limits<std::int64_t>::min(), .type = "t" } },
        { "a whole number with a fraction", R"({"protocolVersion":1.0,"type":"t"})", minimal },
    };
    for (const DecodingCase& testCase : cases) {
        SCOPED_TRACE(testCase.name);
        const auto request = decodeNativeHostRequest(testCase.text);
        ASSERT_TRUE(request);
        EXPECT_EQ(*request, testCase.expected);
    }
}

TEST(DecodeNativeHostRequest, FailsWholeForAnyFault)
{
    struct Fault {
        const char* name;
        std::string text;
    };
    const std::vector<Fault> faults {
        { "nothing", "" },
        { "no JSON", "{" },
        { "no object", "[]" },
        { "more than one value", R"({"protocolVersion":1,"type":"t"}{})" },
        { "bytes that are no UTF-8", "{\"protocolVersion\":1,\"type\":\"\xFF\"}" },
        { "no version", R"({"type":"t"})" },
        { "version null", R"({"protocolVersion":null,"type":"t"})" },
        { "version as text", R"({"protocolVersion":"1","type":"t"})" },
        { "version with a fraction", R"({"protocolVersion":1.5,"type":"t"})" },
        { "version too large", R"({"protocolVersion":9223372036854775808,"type":"t"})" },
        { "version as boolean", R"({"protocolVersion":true,"type":"t"})" },
        { "no type", R"({"protocolVersion":1})" },
        { "type null", R"({"protocolVersion":1,"type":null})" },
        { "type as number", R"({"protocolVersion":1,"type":1})" },
        { "event as text", R"({"protocolVersion":1,"type":"t","event":"e"})" },
        { "event as array", R"({"protocolVersion":1,"type":"t","event":[]})" },
        { "event without fields", R"({"protocolVersion":1,"type":"t","event":{}})" },
        { "browser as number", R"({"protocolVersion":1,"type":"t","browserBundleIdentifier":1})" },
        { "paused as number", R"({"protocolVersion":1,"type":"t","paused":1})" },
        { "paused as text", R"({"protocolVersion":1,"type":"t","paused":"true"})" },
        { "version of the extension as number",
            R"({"protocolVersion":1,"type":"t","extensionVersion":1.2})" },
        { "key in other letter case", R"({"ProtocolVersion":1,"type":"t"})" },
    };
    for (const Fault& fault : faults) {
        SCOPED_TRACE(fault.name);
        EXPECT_FALSE(decodeNativeHostRequest(fault.text));
    }
}

TEST(DecodeNativeHostRequest, AnEventTextIsNotRequiredToBeOfTheRightBrowser)
{
    events::BrowserActivityEvent event = support::validEvent();
    event.browserBundleIdentifier = support::firefox;
    event.hostname = "not a host name";
    const auto request = decodeNativeHostRequest(activityText(event));
    ASSERT_TRUE(request);
    EXPECT_EQ(request->event, event); // content is not the decoder's business
}

} // namespace
} // namespace host
