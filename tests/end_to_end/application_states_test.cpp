#include "tests/end_to_end/end_to_end_test.h"
#include "tests/support/application_states.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace {

using namespace end_to_end;

// Every request in every state that the application can be in.
class InEveryApplicationState : public EndToEnd,
                                public testing::WithParamInterface<support::ApplicationStateCase> {
protected:
    InEveryApplicationState()
    {
        std::filesystem::remove(pathOf("state.json"));
        if (!GetParam().state)
            return;
        bridge::BrowserBridgeState state = *GetParam().state;
        state.updatedAt.secondsSince2001 = secondsNow() - GetParam().age;
        if (state.appProcessIdentifier > 0)
            state.appProcessIdentifier = GetParam().processExists ? liveState().appProcessIdentifier
                                                                  : identifierOfNoProcess;
        leaveState(state);
    }

    // The response that tells the state; `members` on top.
    static object expected(const object& members)
    {
        const support::ApplicationStateCase& stateCase = GetParam();
        object result = response({ { "appRunning", stateCase.appRunning },
            { "sessionRunning", stateCase.sessionRunning },
            { "browserFrontmost", stateCase.browserFrontmost },
            { "trackingPaused", stateCase.trackingPaused } });
        if (stateCase.namesSession)
            result["sessionIdentifier"] = "5e551011-0000-4000-8000-00000000000a";
        for (const auto& member : members)
            result[member.key()] = member.value();
        return result;
    }

    // What a session that identified the browser leaves behind at its end.
    void expectDisconnectEvent(std::size_t eventsBefore)
    {
        expectEnd();
        const auto events = inbox();
        ASSERT_EQ(events.size(), eventsBefore + (GetParam().relaysEvents() ? 1 : 0));
        if (GetParam().relaysEvents()) {
            EXPECT_EQ(events.back().event.at("eventType"), "extensionDisconnected");
        }
    }
};

TEST_P(InEveryApplicationState, ReadinessPing)
{
    EXPECT_EQ(ask(request("readinessPing", { { "extensionVersion", "1.0.0" } })),
        expected({ { "accepted", true } }));
    const object announced = readiness();
    EXPECT_EQ(!announced.empty(), GetParam().appRunning);
    if (GetParam().appRunning) {
        EXPECT_EQ(announced.at("connectionAvailable"), true);
    }

    expectDisconnectEvent(0);
    const object withdrawn = readiness();
    EXPECT_EQ(!withdrawn.empty(), GetParam().appRunning);
    if (GetParam().appRunning) {
        EXPECT_EQ(withdrawn.at("connectionAvailable"), false);
        EXPECT_EQ(withdrawn.at("extensionVersion"), "1.0.0");
    }
}

TEST_P(InEveryApplicationState, OpenMerrowinLeavesNoTrace)
{
    EXPECT_EQ(ask(request("openMerrowin")), expected({ { "accepted", true } }));
    expectEnd();
    EXPECT_EQ(namesMadeByHost(), std::vector<std::string> {});
}

TEST_P(InEveryApplicationState, OpenDiagnosticsLeavesNoTrace)
{
    EXPECT_EQ(ask(request("openDiagnostics")), expected({ { "accepted", true } }));
    expectEnd();
    EXPECT_EQ(namesMadeByHost(), std::vector<std::string> {});
}

TEST_P(InEveryApplicationState, BrowserActivity)
{
    const object answer = ask(activity());
    if (GetParam().relaysEvents()) {
        EXPECT_EQ(answer, expected({ { "accepted", true } }));
        ASSERT_EQ(inbox().size(), 1U);
        EXPECT_EQ(inbox().front().event.at("eventType"), "tabActivated");
    } else {
        EXPECT_EQ(answer, expected({ { "error", std::string(GetParam().refusal) } }));
        EXPECT_EQ(inbox().size(), 0U);
    }
    EXPECT_TRUE(readiness().empty());
    expectDisconnectEvent(inbox().size());
    EXPECT_TRUE(readiness().empty()); // no version, nothing to withdraw
}

TEST_P(InEveryApplicationState, BrowserActivityThatValidationRefuses)
{
    EXPECT_EQ(ask(activity({ { "browserDisplayName", "" } })),
        expected({ { "error", "The browser display name is invalid." } }));
    expectEnd();
    EXPECT_EQ(namesMadeByHost(), std::vector<std::string> {});
}

TEST_P(InEveryApplicationState, TrackingPaused)
{
    EXPECT_EQ(ask(request("trackingPauseChanged", { { "paused", true } })),
        expected({ { "accepted", true } }));
    const auto events = inbox();
    ASSERT_EQ(events.size(), GetParam().relaysEvents() ? 1U : 0U);
    if (!events.empty()) {
        EXPECT_EQ(events.front().event.at("eventType"), "extensionDisconnected");
    }
    expectEnd();
    EXPECT_EQ(inbox().size(), events.size()); // such a request does not identify a browser
}

TEST_P(InEveryApplicationState, TrackingResumedWritesNothing)
{
    EXPECT_EQ(ask(request("trackingPauseChanged", { { "paused", false } })),
        expected({ { "accepted", true } }));
    expectEnd();
    EXPECT_EQ(namesMadeByHost(), std::vector<std::string> {});
}

// Without an event no browser is known, so none is frontmost.
TEST_P(InEveryApplicationState, MalformedRequestIsToldTheStateToo)
{
    EXPECT_EQ(ask(request("somethingElse")),
        expected({ { "browserFrontmost", false },
            { "error", "Malformed Kestrane native-messaging request." } }));
    EXPECT_EQ(ask(request("openMerrowin", { { "protocolVersion", 0 } })),
        expected({ { "browserFrontmost", false },
            { "error", "Unsupported Kestrane native-messaging protocol version." } }));
    expectEnd();
    EXPECT_EQ(namesMadeByHost(), std::vector<std::string> {});
}

INSTANTIATE_TEST_SUITE_P(AllStates, InEveryApplicationState,
    testing::ValuesIn(support::allApplicationStates()),
    [](const auto& testCase) { return testCase.param.name; });

} // namespace
