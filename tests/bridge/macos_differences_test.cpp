// What macOS answers otherwise than Linux must lead to the same outcome; see docs/macos.md.

#include "bridge/bridge_store.h"
#include "events/supported_browsers.h"
#include "tests/bridge/bridge_directory.h"
#include "tests/bridge/command_files.h"
#include "tests/support/temporary_directory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <set>

namespace bridge {
namespace {

using support::FileOperation;

std::string inLowerCase(std::string text)
{
    std::ranges::transform(text, text.begin(),
        [](unsigned char character) { return static_cast<char>(std::tolower(character)); });
    return text;
}

TEST(ReadLimitedRegularFile, DoesNotDependOnTheErrorOfOpeningWhatIsNoFile)
{
    // A link: ELOOP on Linux and macOS, EMLINK on other systems that macOS took its kernel from. A
    // socket: ENXIO on Linux, EOPNOTSUPP on macOS.
    for (const int code : { ELOOP, EMLINK, ENXIO, EOPNOTSUPP }) {
        BridgeDirectory bridge;
        bridge.fileSystem.failOperation(FileOperation::openForReading, code);
        support::makeSymbolicLink("missing", bridge / "link");
        support::makeSocket(bridge / "socket");
        for (const char* const name : { "link", "socket" }) {
            const auto contents = readLimitedRegularFile(bridge / name, 16, bridge.fileSystem);
            ASSERT_FALSE(contents) << name << code;
            EXPECT_EQ(contents.error(), StoreFailure(BrowserBridgeStoreError::malformedEnvelope))
                << name << code;
        }
    }
}

TEST(BridgeDirectoryNames, OfBrowsersStayApartWhereCaseDoesNotCount)
{
    std::set<std::string> keys;
    for (const events::SupportedBrowser browser : events::allSupportedBrowsers)
        keys.insert(inLowerCase(std::string(events::readinessKey(browser))));
    EXPECT_EQ(keys.size(), events::allSupportedBrowsers.size());
}

TEST(BridgeDirectoryNames, OfCommandsCountByTheirBytes)
{
    // One and the same character, composed and decomposed: two files on Linux, where each is a
    // command of its own; a volume of macOS has room for one of them, under the name that it was
    // made with.
    const BridgeDirectory bridge;
    support::writeCommand(bridge.path(), "e\u0301.command", numberedCommand(1));
    support::writeCommand(bridge.path(), "\u00E9.command", numberedCommand(2));
    support::writeCommand(bridge.path(), "E.COMMAND", numberedCommand(3));
    EXPECT_EQ(consumedNumbers(bridge), (Numbers { 1, 2 }));
    EXPECT_EQ(commandFiles(bridge), Names { "E.COMMAND" });
}

} // namespace
} // namespace bridge
