#include "tests/end_to_end/end_to_end_test.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace end_to_end;

class Requests : public EndToEnd {
protected:
    void expectAccepted(const object& payload)
    {
        const object answer = ask(payload);
        EXPECT_EQ(answer.at("accepted"), true) << answer;
        EXPECT_FALSE(answer.contains("error"));
    }
};

TEST_F(Requests, AnEventArrivesInNormalFormInsideItsEnvelope)
{
    const double before = secondsNow();
    const object sent = event({ { "hostname", " WWW.Example.COM. " },
        { "temporaryTabIdentifier", "\tTab:17\n" }, { "localFilePermission", "enabled" } });
    expectAccepted(activity(sent));

    const auto events = inbox();
    ASSERT_EQ(events.size(), 1U);
    const object expectedEvent { { "id", "3F2504E0-4F89-11D3-9A0C-0305E82C3301" },
        { "browserDisplayName", "Google Chrome" },
        { "browserBundleIdentifier", "com.google.Chrome" }, { "hostname", "www.example.com" },
        { "temporaryTabIdentifier", "Tab:17" }, { "timestamp", sent.at("timestamp") },
        { "eventType", "tabActivated" }, { "isPrivate", false }, { "resourceType", "website" },
        { "localFilePermission", "enabled" } };
    EXPECT_EQ(events.front().event, expectedEvent);

    const object& envelope = events.front().envelope;
    EXPECT_EQ(envelope.size(), 5U);
    EXPECT_EQ(envelope.at("version"), 1);
    EXPECT_EQ(envelope.at("token"), text(support::validToken));
    EXPECT_EQ(envelope.at("sessionIdentifier"), "5E551011-0000-4000-8000-00000000000A");
    const double receivedAt = envelope.at("receivedAt").to_number<double>();
    EXPECT_GE(receivedAt, before);
    EXPECT_LE(receivedAt, secondsNow());
    std::array<char, 32> microseconds {};
    std::ignore = std::snprintf(microseconds.data(), microseconds.size(), "%020lld",
        static_cast<long long>((receivedAt + 978307200.0) * 1000000.0));
    EXPECT_EQ(events.front().fileName.substr(0, 20), microseconds.data());
    EXPECT_EQ(events.front().fileName.size(), 20 + 1 + 36 + std::string_view(".event").size());
    EXPECT_TRUE(events.front().fileName.ends_with(".event"));
}

TEST_F(Requests, TheDisconnectEventIsTheHostsOwn)
{
    expectAccepted(request("trackingPauseChanged", { { "paused", true } }));
    const auto events = inbox();
    ASSERT_EQ(events.size(), 1U);
    object event = events.front().event;
    EXPECT_EQ(event.at("id").as_string().size(), 36U);
    event.erase("id");
    EXPECT_EQ(event.at("timestamp").as_string().size(), 24U);
    event.erase("timestamp");
    const object expected { { "browserDisplayName", "Google Chrome" },
        { "browserBundleIdentifier", "com.google.Chrome" },
        { "eventType", "extensionDisconnected" }, { "isPrivate", false },
        { "resourceType", "website" } };
    EXPECT_EQ(event, expected);
}

TEST_F(Requests, ReadinessNamesTheVersions)
{
    const double before = secondsNow();
    expectAccepted(request("readinessPing", { { "extensionVersion", "1.2.3" } }));
    object record = readiness();
    const double updatedAt = record.at("updatedAt").to_number<double>();
    EXPECT_GE(updatedAt, before);
    EXPECT_LE(updatedAt, secondsNow());
    record.erase("updatedAt");
    const object expected { { "version", 1 }, { "browserBundleIdentifier", "com.google.Chrome" },
        { "extensionVersion", "1.2.3" }, { "nativeHostVersion", "0.3.0" }, { "protocolVersion", 1 },
        { "connectionAvailable", true } };
    EXPECT_EQ(record, expected);
}

TEST_F(Requests, ReadinessPingTakesEveryValidVersion)
{
    for (const std::string& version :
        { std::string("1.2.3"), std::string("7"), std::string("..."), std::string(32, '1') }) {
        SCOPED_TRACE(version);
        expectAccepted(request("readinessPing", { { "extensionVersion", version } }));
        EXPECT_EQ(readiness().at("extensionVersion"), text(version));
    }
}

TEST_F(Requests, AnInvalidVersionBesideAnEventOnlySkipsReadiness)
{
    expectAccepted(activity({}, { { "extensionVersion", "x" } }));
    EXPECT_EQ(inbox().size(), 1U);
    EXPECT_TRUE(readiness().empty());
    expectAccepted(activity({}, { { "extensionVersion", "2.0" } }));
    EXPECT_EQ(inbox().size(), 2U);
    EXPECT_EQ(readiness().at("extensionVersion"), "2.0");
    expectAccepted(activity({}, { { "extensionVersion", "y" } }));
    expectEnd();
    EXPECT_EQ(readiness().at("extensionVersion"), "2.0"); // still the last valid one
    EXPECT_EQ(readiness().at("connectionAvailable"), false);
}

TEST_F(Requests, EveryLaterResponseTellsTheLastLocalFilePermission)
{
    EXPECT_FALSE(ask(request("openMerrowin")).contains("localFilePermission"));
    for (const char* const permission : { "enabled", "permissionRequired", "unsupported" }) {
        EXPECT_EQ(
            ask(activity({ { "localFilePermission", permission } })).at("localFilePermission"),
            permission);
        EXPECT_EQ(ask(request("unknown")).at("localFilePermission"), permission);
    }
    // A refused event changes nothing, an accepted one without the field clears it.
    const object refused
        = ask(activity({ { "localFilePermission", "enabled" }, { "hostname", "" } }));
    EXPECT_EQ(refused.at("localFilePermission"), "unsupported");
    EXPECT_FALSE(ask(activity()).contains("localFilePermission"));
}

object pdfEvent(const char* source)
{
    return { { "hostname", nullptr }, { "temporaryTabIdentifier", nullptr },
        { "resourceType", "localPDF" }, { "pdfLabel", "Thesis.pdf" }, { "pdfLabelSource", source },
        { "pdfIdentifier", "9B2D6E1C-7C43-4C25-9D5E-0F6A1B2C3D4E" } };
}

TEST_F(Requests, LabelsMadeOfFileNamesNeedThePreference)
{
    EXPECT_EQ(ask(activity(pdfEvent("filename"))).at("filenameLabelsEnabled"), false);
    EXPECT_FALSE(inbox().back().event.contains("pdfLabel"));
    EXPECT_FALSE(inbox().back().event.contains("pdfLabelSource"));
    EXPECT_EQ(inbox().back().event.at("pdfIdentifier"), "9b2d6e1c-7c43-4c25-9d5e-0f6a1b2c3d4e");

    leavePreferences(true);
    EXPECT_EQ(ask(activity(pdfEvent("filename"))).at("filenameLabelsEnabled"), true);
    EXPECT_EQ(inbox().back().event.at("pdfLabel"), "Thesis.pdf");
    EXPECT_EQ(inbox().back().event.at("pdfLabelSource"), "filename");

    leavePreferences(false);
    EXPECT_EQ(ask(activity(pdfEvent("filename"))).at("filenameLabelsEnabled"), false);
    EXPECT_FALSE(inbox().back().event.contains("pdfLabel"));
    EXPECT_EQ(ask(activity(pdfEvent("manual"))).at("accepted"), true);
    EXPECT_EQ(inbox().back().event.at("pdfLabel"), "Thesis.pdf");
    EXPECT_EQ(inbox().back().event.at("pdfLabelSource"), "manual");
}

TEST_F(Requests, OneCommandTravelsPerResponseAndTheOthersAreLost)
{
    leaveCommand("10.command", { { "id", "00000000-0000-4000-8000-000000000010" } });
    leaveCommand("9.command", { { "id", "00000000-0000-4000-8000-000000000009" } });
    leaveCommand("5.command", { { "browserBundleIdentifier", "org.mozilla.firefox" } });
    const object answer = ask(request("openMerrowin"));
    EXPECT_EQ(answer.at("command").at("id"), "00000000-0000-4000-8000-000000000010");
    EXPECT_EQ(support::namesIn(pathOf("Commands")), std::vector<std::string> { "5.command" });
    EXPECT_FALSE(ask(request("openMerrowin")).contains("command"));
}

TEST_F(Requests, ACommandIsPassedOnAsItStands)
{
    const object command { { "id", "C0FFEE00-1111-4222-8333-444455556666" },
        { "type", "setFilenameLabelsEnabled" }, { "browserBundleIdentifier", "com.google.Chrome" },
        { "sessionIdentifier", "5E551011-0000-4000-8000-00000000000A" },
        { "pdfIdentifier", "9B2D6E1C-7C43-4C25-9D5E-0F6A1B2C3D4E" },
        { "filenameLabelsEnabled", true }, { "createdAt", secondsNow() } };
    leaveCommand("1.command", command);
    EXPECT_EQ(ask(request("openMerrowin")).at("command"), command);
}

TEST_F(Requests, CommandsNeedNoApplicationThatRuns)
{
    std::filesystem::remove(pathOf("state.json"));
    leaveCommand("1.command");
    const object answer = ask(activity());
    EXPECT_EQ(answer.at("error"), "Kestrane is not running.");
    EXPECT_EQ(answer.at("command").at("id"), "C0FFEE00-1111-4222-8333-444455556666");
}

TEST_F(Requests, RefusalsWithoutABrowserLeaveCommandsAlone)
{
    leaveCommand("1.command");
    support::writeCommand(root(), "broken.command", "{");
    EXPECT_FALSE(ask(request("unknown")).contains("command"));
    expectEnd();
    EXPECT_EQ(support::namesIn(pathOf("Commands")).size(), 2U);
}

} // namespace
