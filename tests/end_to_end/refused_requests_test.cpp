#include "tests/end_to_end/end_to_end_test.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace end_to_end;

constexpr const char* malformed = "Malformed Kestrane native-messaging request.";
constexpr const char* wrongVersion = "Unsupported Kestrane native-messaging protocol version.";

class RefusedRequests : public EndToEnd {
protected:
    void expectError(const object& payload, std::string_view error)
    {
        const object answer = ask(payload);
        EXPECT_EQ(answer.at("accepted"), false);
        ASSERT_TRUE(answer.contains("error"));
        EXPECT_EQ(answer.at("error"), text(error));
    }
};

TEST_F(RefusedRequests, ReadinessPingWithoutAValidVersionIsMalformed)
{
    const std::vector<std::string> invalid { "", "1.2.3-beta", "v1", " 1", "1.0\n",
        std::string(33, '1') };
    for (const std::string& version : invalid) {
        SCOPED_TRACE(version);
        expectError(request("readinessPing", { { "extensionVersion", version } }), malformed);
    }
    expectError(request("readinessPing"), malformed);
    expectError(request("readinessPing", { { "extensionVersion", 1 } }), malformed);
    expectEnd();
    EXPECT_EQ(namesMadeByHost(), std::vector<std::string> {});
}

TEST_F(RefusedRequests, EveryBrowserButChromeIsMalformed)
{
    const std::vector<std::string> others { "com.microsoft.edgemac", "com.brave.Browser",
        "company.thebrowser.Browser", "com.operasoftware.Opera", "com.vivaldi.Vivaldi",
        "com.apple.Safari", "org.mozilla.firefox", "com.google.chrome", "com.google.Chrome.canary",
        " com.google.Chrome", "" };
    for (const std::string& browser : others) {
        SCOPED_TRACE(browser);
        const object named { { "browserBundleIdentifier", browser }, { "paused", true },
            { "extensionVersion", "1.0" } };
        for (const char* const type :
            { "readinessPing", "openMerrowin", "openDiagnostics", "trackingPauseChanged" })
            expectError(request(type, named), malformed);
        expectError(activity({ { "browserBundleIdentifier", browser } }), malformed);
        // What the request itself says of the browser does not count for an event.
        expectError(activity({ { "browserBundleIdentifier", browser } },
                        { { "browserBundleIdentifier", "com.google.Chrome" } }),
            malformed);
    }
    expectEnd();
    EXPECT_EQ(namesMadeByHost(), std::vector<std::string> {});
}

TEST_F(RefusedRequests, AMissingBrowserIsMalformed)
{
    for (const char* const type :
        { "readinessPing", "openMerrowin", "openDiagnostics", "trackingPauseChanged" }) {
        SCOPED_TRACE(type);
        expectError(request(type,
                        { { "browserBundleIdentifier", nullptr }, { "paused", true },
                            { "extensionVersion", "1.0" } }),
            malformed);
    }
    expectEnd();
    EXPECT_EQ(namesMadeByHost(), std::vector<std::string> {});
}

TEST_F(RefusedRequests, MissingPartsAndUnknownTypesAreMalformed)
{
    expectError(object { { "protocolVersion", 1 } }, malformed);
    expectError(object { { "type", "openMerrowin" } }, malformed);
    expectError(request("openMerrowin", { { "protocolVersion", "1" } }), malformed);
    expectError(request("browserActivity"), malformed);
    expectError(request("trackingPauseChanged"), malformed);
    expectError(request("OpenMerrowin"), malformed);
    expectError(request("openMerrowin "), malformed);
    expectError(request(""), malformed);
    expectError(activity({ { "eventType", "TabClosed" } }), malformed);
    expectError(activity({ { "timestamp", "yesterday" } }), malformed);
    // A fault counts even where the type has no use for the field.
    expectError(request("openMerrowin", { { "paused", 1 } }), malformed);
}

TEST_F(RefusedRequests, OtherProtocolVersionsAreUnsupportedWhateverElseIsWrong)
{
    for (const int version : { 0, 2, -1 }) {
        SCOPED_TRACE(version);
        expectError(request("openMerrowin", { { "protocolVersion", version } }), wrongVersion);
        expectError(request("unknown", { { "protocolVersion", version } }), wrongVersion);
        expectError(request("readinessPing",
                        { { "protocolVersion", version }, { "browserBundleIdentifier", "other" } }),
            wrongVersion);
    }
    // But what cannot be decoded has no version.
    expectError(
        request("openMerrowin", { { "protocolVersion", 2 }, { "paused", "yes" } }), malformed);
}

struct RefusedEvent {
    const char* name;
    object members;
    std::string_view error;
};

std::vector<RefusedEvent> refusedEvents()
{
    const object localPDF { { "hostname", nullptr }, { "temporaryTabIdentifier", nullptr },
        { "resourceType", "localPDF" },
        { "pdfIdentifier", "9b2d6e1c-7c43-4c25-9d5e-0f6a1b2c3d4e" } };
    const auto pdf = [&localPDF](const object& members) {
        object result = localPDF;
        for (const auto& member : members)
            result[member.key()] = member.value();
        return result;
    };
    return { { "too old", { { "timestamp", timestampText(-600) } },
                 "The browser event timestamp is too old." },
        { "too far ahead", { { "timestamp", timestampText(600) } },
            "The browser event timestamp is too far in the future." },
        { "display name", { { "browserDisplayName", " " } },
            "The browser display name is invalid." },
        { "host name", { { "hostname", "a_b" } }, "The browser hostname is invalid." },
        { "tab identifier", { { "temporaryTabIdentifier", "a b" } },
            "The temporary browser tab identifier is invalid." },
        { "PDF identifier", pdf({ { "pdfIdentifier", "7" } }),
            "The local PDF identifier is invalid." },
        { "PDF label", pdf({ { "pdfLabel", "a/b" } }), "The local PDF label is invalid." },
        { "label source", pdf({ { "pdfLabelSource", "manual" } }),
            "The local PDF label source is invalid." },
        { "combination", { { "temporaryTabIdentifier", nullptr } },
            "The event contains fields that are not valid for its event type." },
        { "private", { { "isPrivate", true } },
            "Kestrane does not accept hostnames or tab identifiers from private browsing." } };
}

TEST_F(RefusedRequests, RefusedEventsAreAnsweredWithTheReasonAndLeaveNoTrace)
{
    for (const RefusedEvent& refused : refusedEvents()) {
        SCOPED_TRACE(refused.name);
        expectError(activity(refused.members, { { "extensionVersion", "1.0" } }), refused.error);
    }
    expectEnd(); // and the browser was not identified
    EXPECT_EQ(namesMadeByHost(), std::vector<std::string> {});
}

TEST_F(RefusedRequests, TheFirstFaultOfAnEventDecides)
{
    const std::string old = timestampText(-600);
    expectError(activity({ { "timestamp", old }, { "browserDisplayName", "" } }),
        "The browser event timestamp is too old.");
    expectError(
        activity({ { "timestamp", old }, { "browserBundleIdentifier", "other" } }), malformed);
    leaveState({});
    expectError(activity({ { "browserDisplayName", "" }, { "hostname", "" } }),
        "The browser display name is invalid.");
    expectError(activity(), "Kestrane is not running.");
}

} // namespace
