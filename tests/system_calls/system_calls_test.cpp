// Counts the system calls of the real host, one kind of request after the other. A number that
// rises is a cost that every tab switch pays; one that falls is to be written down here.

#include "tests/system_calls/call_trace.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <string>

namespace {

struct Expectation {
    std::string request;
    std::size_t calls = 0; // of each request
    std::size_t callsAtEnd = 0; // when the connection ends after requests of this kind
};

// NOLINTNEXTLINE(readability-identifier-naming): the name that GoogleTest looks for
void PrintTo(const Expectation& expectation, std::ostream* stream)
{
    *stream << expectation.request;
}

std::string nameOf(const testing::TestParamInfo<Expectation>& information)
{
    std::string name = information.param.request;
    std::ranges::replace(name, '-', '_');
    return name;
}

class SystemCalls : public testing::TestWithParam<Expectation> {
protected:
    void SetUp() override
    {
        if (const std::string reason = reference::reasonNotToTrace(); !reason.empty())
            GTEST_SKIP() << reason;
    }
};

TEST_P(SystemCalls, AreExactlyThoseThatTheRequestNeeds)
{
    const reference::Request* const request = reference::requestNamed(GetParam().request);
    ASSERT_NE(request, nullptr);
    constexpr std::size_t requestCount = 4;
    const reference::CallTrace trace = reference::trace(KESTRANE_HOST, *request, requestCount);

    ASSERT_EQ(trace.requests.size(), requestCount);
    // The first request of a process may grow the heap; from then on every one costs the same.
    for (std::size_t index = 1; index < requestCount; ++index) {
        EXPECT_EQ(trace.requests[index].size(), GetParam().calls)
            << "request " << index + 1 << ": " << reference::summary(trace.requests[index]);
    }
    EXPECT_EQ(trace.end.size(), GetParam().callsAtEnd) << reference::summary(trace.end);
}

TEST_P(SystemCalls, AreNoMoreThanThoseOfTheLiteralSequence)
{
    const reference::Request* const request = reference::requestNamed(GetParam().request);
    ASSERT_NE(request, nullptr);
    EXPECT_LE(GetParam().calls, request->literalCalls);
}

INSTANTIATE_TEST_SUITE_P(OfARequest, SystemCalls,
    testing::Values(
        // The state twice and the token four times, the preferences, a readiness record, an event
        // and the command directory: what each step asks for afresh.
        Expectation { "activity", 54, 35 },
        // Without the readiness record and the reads that it needs.
        Expectation { "activity-without-version", 36, 17 },
        // Four calls for each command file.
        Expectation { "activity-20-commands", 134, 35 }, Expectation { "ping", 43, 35 },
        // An event of the host's own.
        Expectation { "pause", 42, 0 },
        // The state, and what every answer to a known browser takes.
        Expectation { "resume", 25, 0 }, Expectation { "refused-event", 25, 0 },
        Expectation { "not-frontmost", 25, 5 },
        // A stale application is not asked whether it exists; the refusal looks for it once more.
        Expectation { "no-application", 28, 4 },
        // The application is looked for in two directories.
        Expectation { "open", 27, 0 },
        // No browser is known, so no command directory.
        Expectation { "malformed", 17, 0 }),
    nameOf);

} // namespace
