// Lets every system call of the host fail, one at a time and with every error that it can give, on
// the executable that was built and over real pipes. The table of errors is errors_of_calls.cpp,
// what each failure may change is told by conversations.cpp and consequences.cpp.
//
// With KESTRANE_FAULTS=all in the environment every call gets every error; otherwise every call
// gets one of them, which changes from call to call.

#include "tests/faults/consequences.h"
#include "tests/faults/conversations.h"
#include "tests/faults/traced_session.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <iostream>
#include <ostream>
#include <string>
#include <string_view>

namespace faults {

// NOLINTNEXTLINE(readability-identifier-naming): the name that GoogleTest looks for
void PrintTo(const Kind& kind, std::ostream* stream)
{
    *stream << kind.name;
}

namespace {

bool isWholeMatrixWanted()
{
    const char* const wanted = std::getenv("KESTRANE_FAULTS");
    return wanted != nullptr && std::string_view(wanted) == "all";
}

// One fault for each call, every error in its turn.
std::vector<Fault> thinned(const std::vector<Fault>& all)
{
    std::vector<Fault> few;
    for (auto first = all.begin(); first != all.end();) {
        const auto end = std::find_if(first, all.end(), [first](const Fault& fault) {
            return fault.call.name != first->call.name || fault.call.ordinal != first->call.ordinal;
        });
        few.push_back(*(first + static_cast<std::ptrdiff_t>(few.size()) % (end - first)));
        first = end;
    }
    return few;
}

// The calls that are this session's to fail. What all sessions have in common is one's alone.
Calls callsInQuestion(const Kind& kind, const Calls& calls)
{
    Calls chosen;
    std::ranges::copy_if(calls, std::back_inserter(chosen), [&kind](const Call& call) {
        const bool isOfPipe = call.item == "input" || call.item == "output";
        if (call.phase != Phase::request && kind.name != "ping")
            return false;
        if (call.phase == Phase::next || kind.needsPauses)
            return call.phase == Phase::next ? isOfPipe : !isOfPipe;
        return true;
    });
    return chosen;
}

// An odd item in place of a command is removed bit by bit; where that stops, the next request goes
// on, and the first moment cannot say how far it came.
std::vector<Moment> withoutOddItemsAfter(const Fault& fault, std::vector<Moment> moments)
{
    const bool isAboutOddItem
        = fault.call.item.find("-odd") != std::string::npos || fault.call.item == "inside";
    if (isAboutOddItem && fault.error.name != "EINTR") {
        std::erase_if(moments.front().commands,
            [](const std::string& name) { return name.find("-odd") != std::string::npos; });
    }
    return moments;
}

std::string withoutTimes(std::string output)
{
    constexpr std::string_view key = "\"createdAt\":";
    if (const std::size_t start = output.find(key); start != std::string::npos) {
        for (std::size_t at = start + key.size(); std::isdigit(output[at]) != 0; ++at)
            output[at] = '0';
    }
    return output;
}

// That strace let the call fail that was meant, and no other.
void expectInjected(const Fault& fault, const Calls& calls)
{
    const auto first = std::ranges::find_if(calls, &Call::injected);
    ASSERT_NE(first, calls.end()) << "nothing failed";
    EXPECT_EQ(first->name, fault.call.name);
    EXPECT_EQ(first->ordinal, fault.call.ordinal);
    EXPECT_EQ(first->item, fault.call.item);
    // What randomness is for shows in the calls after it, which a failure changes.
    if (first->name != "getrandom") {
        EXPECT_EQ(first->subject, fault.call.subject);
    }
    EXPECT_EQ(
        std::ranges::count_if(calls, &Call::injected), static_cast<std::ptrdiff_t>(fault.times));
}

class EveryCall : public testing::TestWithParam<Kind> {
protected:
    void SetUp() override
    {
        if (const std::string reason = reasonNotToTrace(); !reason.empty())
            GTEST_SKIP() << reason;
    }

    static const Kind& kind() { return GetParam(); }

    void serveWith(const Fault& fault)
    {
        SCOPED_TRACE(fault.description());
        TracedSession session(kind().conversation, { fault.injection() });
        if (breaksConnection(fault)) {
            const Outcome outcome = session.runWithoutPauses();
            expectInjected(fault, outcome.calls);
            const BrokenEnd expected = endWithFault(kind(), fault, wholeOutput_);
            EXPECT_EQ(withoutTimes(outcome.output), expected.output);
            EXPECT_EQ(outcome.moments.front(), expected.end);
            return;
        }
        const Outcome outcome = session.run();
        expectInjected(fault, outcome.calls);
        EXPECT_EQ(
            withoutOddItemsAfter(fault, outcome.moments), momentsWithFault(kind(), fault, calls_));
    }

    // Traces the session without a fault, in both ways.
    void serveWithoutFault()
    {
        TracedSession paced(kind().conversation, {});
        Outcome outcome = paced.run();
        EXPECT_EQ(outcome.moments, momentsWithoutFault(kind()));
        calls_ = std::move(outcome.calls);
        if (kind().needsPauses)
            return;
        TracedSession hurried(kind().conversation, {});
        outcome = hurried.runWithoutPauses();
        EXPECT_EQ(outcome.moments.front(), momentsWithoutFault(kind()).back());
        wholeOutput_ = withoutTimes(outcome.output);
    }

    [[nodiscard]] const Calls& calls() const { return calls_; }

private:
    Calls calls_;
    std::string wholeOutput_;
};

TEST_P(EveryCall, FailsWithoutHarmToAnyOtherPieceOfWork)
{
    serveWithoutFault();
    ASSERT_FALSE(HasFailure()) << "the session is wrong without any fault";
    const Calls chosen = callsInQuestion(kind(), calls());
    std::vector<Fault> faults = faultsOf(chosen);
    const std::size_t all = faults.size();
    if (!isWholeMatrixWanted())
        faults = thinned(faults);
    std::cout << chosen.size() << " calls, " << all << " pairs of a call and an error, "
              << faults.size() << " of them tried\n";
    ASSERT_GT(chosen.size(), 10U);
    for (const Fault& fault : faults) {
        serveWith(fault);
        ASSERT_FALSE(HasFatalFailure());
        // One report is enough to go by; hundreds of the same kind would hide it.
        if (HasFailure())
            return;
    }
}

INSTANTIATE_TEST_SUITE_P(OfTheSession, EveryCall, testing::ValuesIn(kinds()),
    [](const auto& information) { return std::string(information.param.name); });

} // namespace
} // namespace faults
