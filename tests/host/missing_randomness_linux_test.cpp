// Where the system gives no randomness, nothing new can be named: requests are answered all the
// same.

#include "tests/host/host_test.h"
#include "tests/support/failing_system_calls_linux.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

namespace host {
namespace {

using support::FailingSystemCall;
using support::SystemCall;

class MissingRandomness : public HostTest {
protected:
    // Answers a request that asks for randomness and gets none.
    NativeHostResponse handleWithoutRandomness(std::string_view payload)
    {
        const FailingSystemCall failing(SystemCall::getentropy, ENOSYS);
        NativeHostResponse response = handle(payload);
        EXPECT_TRUE(failing.hasFailed());
        return response;
    }
};

TEST_F(MissingRandomness, RefusesAnEventWithTheSystemsReason)
{
    EXPECT_EQ(handleWithoutRandomness(activityText()),
        refused(liveResponse(), "Function not implemented"));
    EXPECT_EQ(inbox().size(), 0U);
}

TEST_F(MissingRandomness, KeepsReadinessFromBeingPublished)
{
    EXPECT_EQ(handleWithoutRandomness(pingText()), liveResponse());
    EXPECT_FALSE(hasReadiness());
}

TEST_F(MissingRandomness, KeepsADisconnectFromBeingReported)
{
    EXPECT_EQ(handleWithoutRandomness(pauseText(true)), liveResponse());
    EXPECT_FALSE(support::exists(pathOf("Inbox"))); // an event without an identifier is not begun
}

} // namespace
} // namespace host
