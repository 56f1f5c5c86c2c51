// The long runs find something wrong only if these do.

#include "tests/soak/checks.h"

#include "bridge/bridge_records.h"
#include "events/browser_activity_event.h"
#include "tests/support/samples.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace {

using namespace support;
using soak::Known;
using soak::NameKind;

// What an event that came at that time is named.
std::string nameOf(double secondsSince2001)
{
    const auto count = static_cast<long long>((secondsSince2001 + 978307200.0) * 1000000.0);
    const std::string digits = std::to_string(count);
    return std::string(20 - digits.size(), '0') + digits
        + "-3F2504E0-4F89-11D3-9A0C-0305E82C3301.event";
}

std::string eventFile()
{
    return bridge::encode(bridge::BrowserBridgeEnvelope { .token = std::string(validToken),
                              .sessionIdentifier = sessionIdentifier(),
                              .receivedAt = sampleTime,
                              .eventData = events::encode(validEvent()).value() })
        .value();
}

std::string readinessFile()
{
    return bridge::encode(bridge::BrowserBridgeReadinessEnvelope {
                              .token = std::string(validToken), .readiness = validReadiness() })
        .value();
}

Known known()
{
    return { .tokens = { std::string(validToken) },
        .sessions = { base::upperCaseText(sessionIdentifier()) },
        .commandPrefix = "C0FFEE" };
}

std::string answerWith(const std::string& members)
{
    return R"({"protocolVersion":1,"nativeHostVersion":"0.3.0","minimumProtocolVersion":1,"accepted":true,)"
           R"("appRunning":true,"sessionRunning":true,"browserFrontmost":true,"trackingPaused":false,)"
           R"("sessionIdentifier":"5e551011-0000-4000-8000-00000000000a","filenameLabelsEnabled":false)"
        + members + "}";
}

std::string commandOf(std::string_view identifier, std::string_view browser)
{
    return R"(,"command":{"id":")" + std::string(identifier)
        + R"(-1111-4222-8333-444455556666","type":"showLocalPDF","browserBundleIdentifier":")"
        + std::string(browser) + R"(","createdAt":1})";
}

TEST(CheckEventFile, TakesWholeRecordsAlone)
{
    const std::string name = nameOf(sampleTime.secondsSince2001);
    const std::string whole = eventFile();
    EXPECT_EQ(soak::checkEventFile(name, whole, known()).wrong, "");
    EXPECT_EQ(soak::checkEventFile(name, whole, known()).identifier,
        "3F2504E0-4F89-11D3-9A0C-0305E82C3301");
    for (std::size_t size = 0; size < whole.size(); ++size)
        EXPECT_NE(soak::checkEventFile(name, whole.substr(0, size), known()).wrong, "") << size;
}

TEST(CheckEventFile, RefusesWhatTheApplicationDidNotGiveOut)
{
    const std::string name = nameOf(sampleTime.secondsSince2001);
    Known others = known();
    others.tokens = { std::string(64, 'c') };
    EXPECT_NE(soak::checkEventFile(name, eventFile(), others).wrong, "");
    others = known();
    others.sessions.clear();
    EXPECT_NE(soak::checkEventFile(name, eventFile(), others).wrong, "");
}

TEST(CheckEventFile, ComparesTheNameWithTheTimeInTheRecord)
{
    const std::string later = nameOf(sampleTime.secondsSince2001 + 1);
    EXPECT_NE(soak::checkEventFile(later, eventFile(), known()).wrong, "");
}

TEST(CheckReadinessFile, TakesWholeRecordsAlone)
{
    const std::string whole = readinessFile();
    EXPECT_EQ(soak::checkReadinessFile(whole, known()).wrong, "");
    EXPECT_TRUE(soak::checkReadinessFile(whole, known()).connectionAvailable);
    for (std::size_t size = 0; size < whole.size(); ++size)
        EXPECT_NE(soak::checkReadinessFile(whole.substr(0, size), known()).wrong, "") << size;
}

TEST(CheckAnswer, TakesWhatAHostMayAnswer)
{
    EXPECT_EQ(soak::checkAnswer(answerWith(""), known()).wrong, "");
    const auto check
        = soak::checkAnswer(answerWith(commandOf("C0FFEE00", "com.google.Chrome")), known());
    EXPECT_EQ(check.wrong, "");
    EXPECT_EQ(check.command, "C0FFEE00-1111-4222-8333-444455556666");
    EXPECT_TRUE(check.accepted && check.inSession);
}

TEST(CheckAnswer, RefusesWhatNoHostMayAnswer)
{
    const std::string token(validToken);
    for (const std::string& members :
        { std::string(R"(,"more":1)"), std::string(R"(,"error":"accepted all the same")"),
            R"(,"localFilePermission":")" + token + '"', commandOf("CCCCCCCC", "com.google.Chrome"),
            commandOf("C0FFEE00", "org.mozilla.firefox") })
        EXPECT_NE(soak::checkAnswer(answerWith(members), known()).wrong, "") << members;
    Known others = known();
    others.sessions.clear();
    EXPECT_NE(soak::checkAnswer(answerWith(""), others).wrong, "");
    EXPECT_NE(soak::checkAnswer(answerWith("").substr(1), known()).wrong, "");
}

TEST(KindOfName, KnowsTheNamesThatHostsGive)
{
    const std::string event = nameOf(0);
    EXPECT_EQ(soak::kindOfName(event), NameKind::event);
    EXPECT_EQ(soak::kindOfName('.' + event + ".temporary"), NameKind::temporary);
    EXPECT_EQ(soak::kindOfName("googleChrome.readiness"), NameKind::readiness);
    EXPECT_EQ(
        soak::kindOfName(".googleChrome.readiness.3F2504E0-4F89-11D3-9A0C-0305E82C3301.temporary"),
        NameKind::temporary);
    for (const char* const other : { "x.event", "x", "other.readiness", ".x.temporary",
             ".googleChrome.readiness.temporary", "googleChrome.readiness.temporary" })
        EXPECT_EQ(soak::kindOfName(other), NameKind::other) << other;
}

} // namespace
