#include "tests/kestranectl/doctor_test.h"

#include "base/uuid.h"
#include "bridge/bridge_store.h"
#include "platform/item_status.h"
#include "tests/support/samples.h"

namespace kestranectl {
namespace {

class DoctorQueues : public DoctorTest {
protected:
    // Lets it be `seconds` after the file was written.
    void setTimeAfter(const std::string& path, double seconds)
    {
        const auto status = platform::statusOfItem(path);
        ASSERT_TRUE(status);
        const base::Timestamp time = support::after(status->modifiedAt, seconds);
        probes.now = [time] { return time; };
    }

    void writeReadiness(const bridge::BrowserBridgeReadiness& readiness,
        std::string_view token = support::validToken)
    {
        ASSERT_TRUE(bridge::BrowserBridgeStore { bridgeRoot }.writeReadiness(
            readiness, token, platform::localFileSystem()));
    }
};

TEST_F(DoctorQueues, AreEmpty)
{
    examineAll();
    EXPECT_TRUE(found(Verdict::good, "commands", "No command waits."));
    EXPECT_TRUE(found(Verdict::good, "events", "No event waits."));
    EXPECT_TRUE(found(Verdict::notice, "readiness", "No extension has reported"));
    EXPECT_FALSE(support::exists(bridgeRoot + "/Inbox"));
    EXPECT_FALSE(support::exists(bridgeRoot + "/Commands"));
}

TEST_F(DoctorQueues, HoldCommandsThatStayThere)
{
    support::writeCommand(bridgeRoot, "a.command");
    support::writeCommand(bridgeRoot, "b.command", "broken");
    support::writeCommand(bridgeRoot, ".c.command", "");
    support::writeCommand(bridgeRoot, "d.txt", "");
    setTimeAfter(bridgeRoot + "/Commands/a.command", 3);
    examineAll();
    EXPECT_TRUE(found(Verdict::good, "commands", "2 commands wait in "));
    EXPECT_EQ(support::namesIn(bridgeRoot + "/Commands"),
        (std::vector<std::string> { ".c.command", "a.command", "b.command", "d.txt" }));
}

TEST_F(DoctorQueues, HoldACommandThatNobodyTakes)
{
    support::writeCommand(bridgeRoot, "a.command");
    setTimeAfter(bridgeRoot + "/Commands/a.command", 60);
    examineAll();
    EXPECT_TRUE(found(Verdict::good, "commands", "1 command waits in "));
    setTimeAfter(bridgeRoot + "/Commands/a.command", 61);
    examineAll();
    EXPECT_TRUE(found(Verdict::notice, "commands", "for 61 seconds at most: no extension"));
}

TEST_F(DoctorQueues, HoldEventsThatKestraneDoesNotTake)
{
    for (const char* const name : { "/Inbox/1.event", "/Inbox/2.event", "/Inbox/.3.temporary" })
        support::writeFile(bridgeRoot + name, "");
    setTimeAfter(bridgeRoot + "/Inbox/1.event", 7200);
    examineAll();
    EXPECT_TRUE(found(Verdict::notice, "events", "2 events wait in "));
    EXPECT_TRUE(found(Verdict::notice, "events", "for 2 hours at most: Kestrane does not take"));
    EXPECT_EQ(support::namesIn(bridgeRoot + "/Inbox").size(), 3U);
}

TEST_F(DoctorQueues, CannotBeFiles)
{
    support::writeFile(bridgeRoot + "/Inbox", "");
    examineAll();
    EXPECT_TRUE(found(Verdict::bad, "events", "cannot be listed: Not a directory."));
}

TEST_F(DoctorQueues, HoldWhatExtensionsReported)
{
    auto readiness = support::validReadiness();
    readiness.updatedAt = support::after(support::sampleTime, -300);
    writeReadiness(readiness);
    examineAll();
    EXPECT_TRUE(found(Verdict::good, "readiness",
        "com.google.Chrome reported 5 minutes ago: extension " + readiness.extensionVersion
            + ", host " + readiness.nativeHostVersion + ", connected."));
    readiness.connectionAvailable = false;
    writeReadiness(readiness);
    examineAll();
    EXPECT_TRUE(found(Verdict::good, "readiness", ", not connected any more."));
}

TEST_F(DoctorQueues, HoldAReportWithAnotherToken)
{
    writeReadiness(support::validReadiness(), support::otherToken);
    examineAll();
    EXPECT_TRUE(found(Verdict::notice, "readiness", "carries another token"));
    EXPECT_EQ(all(Verdict::notice).find(support::otherToken.substr(0, 8)), std::string::npos);
}

TEST_F(DoctorQueues, HoldAReportThatBreaksARule)
{
    support::writeFile(bridgeRoot + "/Readiness/googleChrome.readiness", "{}");
    support::makeSymbolicLink("nothing", bridgeRoot + "/Readiness/brave.readiness");
    examineAll();
    EXPECT_TRUE(
        found(Verdict::notice, "readiness", "googleChrome.readiness is no readiness record"));
    EXPECT_TRUE(found(Verdict::notice, "readiness", "brave.readiness cannot be read"));
}

} // namespace
} // namespace kestranectl
