#include "host/request_loop.h"

#include "tests/host/host_test.h"
#include "tests/support/host_process.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>

#include <unistd.h>

namespace host {
namespace {

class RunSession : public HostTest {
protected:
    // Runs a session whose input is `bytes`; yields what it wrote.
    std::string run(std::string_view bytes)
    {
        support::Pipe input;
        support::Pipe output;
        EXPECT_EQ(::write(input.writeEnd.number(), bytes.data(), bytes.size()),
            static_cast<ssize_t>(bytes.size()));
        input.writeEnd.close();
        runSession(input.readEnd.number(), output.writeEnd.number(), environment);
        output.writeEnd.close();
        return support::readToEnd(output.readEnd.number());
    }

    static std::string frameOf(const NativeHostResponse& response)
    {
        return support::frame(encode(response).value_or(""));
    }

    void expectNoTrace() const
    {
        EXPECT_FALSE(support::exists(pathOf("Inbox")));
        EXPECT_FALSE(support::exists(pathOf("Readiness")));
    }
};

TEST_F(RunSession, AnswersEveryRequestInItsOrderAndSaysNothingElse)
{
    NativeHostResponse malformed = refused(liveResponse(), malformedText);
    malformed.browserFrontmost = false;
    EXPECT_EQ(run(support::frame(pauseText(false)) + support::frame("{")
                  + support::frame(requestText("openMerrowin"))),
        frameOf(liveResponse()) + frameOf(malformed) + frameOf(liveResponse()));
}

TEST_F(RunSession, WithoutAnyRequestLeavesNoTrace)
{
    EXPECT_EQ(run(""), "");
    expectNoTrace();
    EXPECT_EQ(fileSystem.calls().size(), 0U); // not even a look at the bridge
}

TEST_F(RunSession, ThatOnlyOpensTheApplicationLeavesNoTrace)
{
    EXPECT_EQ(run(support::frame(requestText("openMerrowin", versionMember))
                  + support::frame(requestText("openDiagnostics"))),
        frameOf(liveResponse()) + frameOf(liveResponse()));
    EXPECT_EQ(openings, 2);
    expectNoTrace();
}

TEST_F(RunSession, WithRefusedRequestsAloneLeavesNoTrace)
{
    events::BrowserActivityEvent event = support::validEvent();
    event.hostname = "";
    std::ignore = run(support::frame(activityText(event, versionMember))
        + support::frame(requestText("readinessPing", R"(,"extensionVersion":"x")")));
    expectNoTrace();
}

TEST_F(RunSession, RewritesReadinessAndReportsTheDisconnectAtItsEnd)
{
    std::vector<bool> available;
    fileSystem.beforeCall([&](support::FileOperation operation, const std::string&) {
        // Each publication finds what the one before it left.
        if (operation == support::FileOperation::rename && hasReadiness())
            available.push_back(readiness().connectionAvailable);
    });
    EXPECT_EQ(run(support::frame(pingText())), frameOf(liveResponse()));
    EXPECT_EQ(available, (std::vector<bool> { true, false }));
    bridge::BrowserBridgeReadiness expected = support::validReadiness();
    expected.connectionAvailable = false;
    EXPECT_EQ(readiness(), expected);
    EXPECT_EQ(
        relayedTypes(), std::vector { events::BrowserActivityEventType::extensionDisconnected });
}

TEST_F(RunSession, WithdrawsReadinessBeforeItReportsTheDisconnect)
{
    std::vector<std::string> renamed;
    fileSystem.beforeCall([&](support::FileOperation operation, const std::string& path) {
        if (operation == support::FileOperation::rename)
            renamed.push_back(std::filesystem::path(path).parent_path().filename());
    });
    std::ignore = run(support::frame(pingText()));
    EXPECT_EQ(renamed, (std::vector<std::string> { "Readiness", "Readiness", "Inbox" }));
}

TEST_F(RunSession, WithoutAVersionOnlyReportsTheDisconnect)
{
    EXPECT_EQ(run(support::frame(activityText())), frameOf(liveResponse()));
    EXPECT_FALSE(support::exists(pathOf("Readiness")));
    EXPECT_EQ(inbox().size(), 2U);
}

TEST_F(RunSession, WithdrawsTheLastVersion)
{
    std::ignore = run(support::frame(pingText())
        + support::frame(activityText(support::validEvent(), R"(,"extensionVersion":"2.0")"))
        + support::frame(activityText(support::validEvent(), R"(,"extensionVersion":"x")")));
    EXPECT_EQ(readiness().extensionVersion, "2.0");
    EXPECT_FALSE(readiness().connectionAvailable);
}

TEST_F(RunSession, LeavesReadinessAloneIfTheApplicationIsGoneAtTheEnd)
{
    beforeOpening("state.json", 3, [this] { processExists = false; }); // after ping and response
    EXPECT_EQ(run(support::frame(pingText())), frameOf(liveResponse()));
    EXPECT_TRUE(readiness().connectionAvailable);
    EXPECT_FALSE(support::exists(pathOf("Inbox")));
}

TEST_F(RunSession, ReportsTheDisconnectAlsoIfReadinessCannotBeWritten)
{
    support::writeFile(pathOf("Readiness"), "in the way");
    EXPECT_EQ(run(support::frame(pingText())), frameOf(liveResponse()));
    EXPECT_EQ(inbox().size(), 1U);
}

TEST_F(RunSession, SwallowsEveryFailureAtItsEnd)
{
    support::writeFile(pathOf("Readiness"), "in the way");
    support::writeFile(pathOf("Inbox"), "in the way");
    EXPECT_EQ(run(support::frame(pingText())), frameOf(liveResponse()));
    expectNothingUnfinished();
}

struct LastFrame {
    const char* name;
    std::string bytes;
};

TEST_F(RunSession, EndsProperlyHoweverItsInputEnds)
{
    const std::vector<LastFrame> endings { { "end of input", "" },
        { "frame that is too long", support::frame(std::string(16385, ' ')) },
        { "empty frame and more", support::frame("") + support::frame(pingText()) },
        { "inside a length", "\x02" },
        { "inside a payload", support::frame(pingText()).substr(0, 30) } };
    for (const LastFrame& ending : endings) {
        SCOPED_TRACE(ending.name);
        std::filesystem::remove_all(pathOf("Inbox"));
        EXPECT_EQ(run(support::frame(pingText()) + ending.bytes), frameOf(liveResponse()));
        EXPECT_FALSE(readiness().connectionAvailable);
        EXPECT_EQ(inbox().size(), 1U);
    }
}

TEST_F(RunSession, OutlivesABrowserThatReadsNoMore)
{
    std::signal(SIGPIPE, SIG_IGN);
    support::Pipe input;
    support::Pipe output;
    output.readEnd.close();
    const std::string bytes = support::frame(pingText()) + support::frame(activityText());
    ASSERT_EQ(::write(input.writeEnd.number(), bytes.data(), bytes.size()),
        static_cast<ssize_t>(bytes.size()));
    input.writeEnd.close();
    runSession(input.readEnd.number(), output.writeEnd.number(), environment);
    EXPECT_FALSE(readiness().connectionAvailable);
    auto types = relayedTypes();
    std::ranges::sort(types); // The clock stands still, so the files' order means nothing.
    EXPECT_EQ(types,
        (std::vector { events::BrowserActivityEventType::tabActivated,
            events::BrowserActivityEventType::extensionDisconnected }));
}

TEST_F(RunSession, RemembersNothingOfTheSessionBefore)
{
    events::BrowserActivityEvent event = support::validEvent();
    event.localFilePermission = events::BrowserLocalFilePermission::enabled;
    std::ignore = run(support::frame(activityText(event)));
    EXPECT_EQ(run(support::frame(pauseText(false))), frameOf(liveResponse()));
    EXPECT_EQ(inbox().size(), 2U); // those of the first session
}

} // namespace
} // namespace host
