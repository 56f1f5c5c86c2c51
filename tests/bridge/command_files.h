#pragma once
// Command files and what a scan makes of them, for the tests of the command queue.

#include "tests/bridge/bridge_directory.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace bridge {

using Names = std::vector<std::string>;
using Numbers = std::vector<int>;

/// A sound command for Chrome that can be told from others by its number, below 256.
inline BrowserBridgeCommandEnvelope numberedCommand(
    int number, std::string_view browser = support::chrome)
{
    BrowserBridgeCommandEnvelope envelope = support::command(browser);
    envelope.command.id.bytes.back() = static_cast<std::uint8_t>(number);
    return envelope;
}

/// What is asked of the queue, as it is asked for Chrome while the session of the samples runs.
struct Scan {
    std::string_view token = support::validToken;
    std::string_view browser = support::chrome;
    std::optional<base::UUID> session = support::sessionIdentifier();
    base::Timestamp now = support::sampleTime;
    double maximumAge = 60.0;
};

inline std::vector<BrowserBridgeCommand> consume(
    const BridgeDirectory& bridge, const Scan& scan = {})
{
    auto commands = bridge.store.consumeCommands(
        scan.token, scan.browser, scan.session, scan.now, bridge.fileSystem, scan.maximumAge);
    EXPECT_EQ(bridge.fileSystem.openFileCount(), 0);
    return commands;
}

/// The numbers of the commands that a scan yields, in its order.
inline Numbers consumedNumbers(const BridgeDirectory& bridge, const Scan& scan = {})
{
    Numbers numbers;
    for (const BrowserBridgeCommand& command : consume(bridge, scan))
        numbers.push_back(command.id.bytes.back());
    return numbers;
}

inline Names commandFiles(const BridgeDirectory& bridge)
{
    return support::namesIn(bridge / "Commands");
}

} // namespace bridge
