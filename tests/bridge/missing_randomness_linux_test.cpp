// Names of new files hold random identifiers; without them nothing is written.

#include "tests/bridge/bridge_directory.h"
#include "tests/support/failing_system_calls_linux.h"

#include <string>
#include <vector>

namespace bridge {
namespace {

using support::FailingSystemCall;
using support::SystemCall;
using Names = std::vector<std::string>;

// That of a kernel without the call.
constexpr int error = ENOSYS;

TEST(MissingRandomness, FailsAnEvent)
{
    const BridgeDirectory bridge;
    const FailingSystemCall failing(SystemCall::getentropy, error);
    const auto written = bridge.store.writeInboxEvent("{}", support::validToken,
        support::sessionIdentifier(), support::sampleTime, bridge.fileSystem);
    ASSERT_FALSE(written);
    EXPECT_EQ(written.error(), fileError(error));
    EXPECT_EQ(support::namesIn(bridge / "Inbox"), Names {});
}

TEST(MissingRandomness, FailsAReadinessRecordAndKeepsTheOldOne)
{
    const BridgeDirectory bridge;
    support::writeFile(bridge / "Readiness/googleChrome.readiness", "old");
    const FailingSystemCall failing(SystemCall::getentropy, error);
    const auto written = bridge.store.writeReadiness(
        support::validReadiness(), support::validToken, bridge.fileSystem);
    ASSERT_FALSE(written);
    EXPECT_EQ(written.error(), fileError(error));
    EXPECT_EQ(support::namesIn(bridge / "Readiness"), Names { "googleChrome.readiness" });
    EXPECT_EQ(support::readFile(bridge / "Readiness/googleChrome.readiness"), "old");
}

} // namespace
} // namespace bridge
