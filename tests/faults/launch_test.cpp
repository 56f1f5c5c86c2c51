// Opening the application with every call on the way failing: whatever becomes of it, the request
// is answered, the streams of the connection stay the connection's alone, and nothing is started
// that is not set apart from the host in every respect.

#include "tests/faults/consequences.h"
#include "tests/faults/conversations.h"
#include "tests/faults/traced_session.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

namespace faults {
namespace {

void prepareApplication(const TracedSession& session)
{
    session.allowLabels();
    session.makeHostDirectories();
    session.installApplication();
}

const Conversation& opening()
{
    static const Conversation conversation { .request = kindNamed("open").conversation.request,
        .prepare = prepareApplication,
        .watchesChildren = true };
    return conversation;
}

bool isLaunched(const Calls& calls)
{
    return std::ranges::any_of(calls, [&calls](const Call& call) {
        return call.name == "execve" && call.process != calls.front().process;
    });
}

// Whether the application is started although the call fails.
bool isDispensable(const Call& call)
{
    // Without close_range, the files are closed one by one.
    constexpr std::array<std::string_view, 4> names { "wait4", "close_range", "rt_sigaction",
        "rt_sigprocmask" };
    // There is no home directory in these sessions, so the root is the second choice, and the last.
    return std::ranges::find(names, std::string_view(call.name)) != names.end()
        || (call.name == "chdir" && call.ordinal == 1);
}

// The calls that are made for the launch and can be made to fail. A number counts the calls of each
// process apart, so what the host's process calls as often cannot be met in its children alone.
Calls callsOfLaunch(const Calls& calls)
{
    constexpr std::array<std::string_view, 3> notApart { "clone", "execve", "set_robust_list" };
    constexpr std::size_t signalsBetween = 16; // all of them are treated alike
    Calls chosen;
    for (const Call& call : calls) {
        const bool isChild = call.process != calls.front().process;
        const bool isApart
            = std::ranges::find(notApart, std::string_view(call.name)) == notApart.end();
        const bool isChosenSignal
            = call.name != "rt_sigaction" || call.ordinal % signalsBetween == 0;
        if (isChild ? isApart && isChosenSignal : call.subject == "launch")
            chosen.push_back(call);
    }
    return chosen;
}

class Launch : public testing::Test {
protected:
    void SetUp() override
    {
        if (const std::string reason = reasonNotToTrace(); !reason.empty())
            GTEST_SKIP() << reason;
    }

    // Serves a session and yields whether the application was started.
    static bool serve(std::vector<std::string> injections)
    {
        const bool isDisturbed = !injections.empty();
        TracedSession session(opening(), std::move(injections));
        const Outcome outcome = session.run();
        EXPECT_EQ(outcome.moments, momentsWithoutFault(kindNamed("open")));
        EXPECT_EQ(std::ranges::any_of(outcome.calls, &Call::injected), isDisturbed);
        return isLaunched(outcome.calls);
    }
};

TEST_F(Launch, IsTriedWithoutAFault)
{
    EXPECT_TRUE(serve({}));
}

TEST_F(Launch, IsGivenUpOrGoesOnButIsAlwaysAnswered)
{
    TracedSession session(opening(), {});
    const Calls chosen = callsOfLaunch(session.run().calls);
    ASSERT_GT(chosen.size(), 10U);
    const std::vector<Fault> faults = faultsOf(chosen);
    std::cout << chosen.size() << " calls, " << faults.size() << " pairs of a call and an error, "
              << faults.size() << " of them tried\n";
    for (const Fault& fault : faults) {
        SCOPED_TRACE(fault.description());
        EXPECT_EQ(serve({ fault.injection() }), isDispensable(fault.call));
    }
}

} // namespace
} // namespace faults
