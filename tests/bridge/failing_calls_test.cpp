// Every call of an operation to the file system fails once, with every error that it can give:
// the first, the second, and so on until the operation makes fewer calls than that.

#include "tests/bridge/command_files.h"

#include <cstddef>
#include <expected>
#include <functional>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

namespace bridge {

namespace {

using support::FileOperation;
using support::namesIn;

struct FailedCall {
    int number = 0;
    FileOperation operation {};
    int code = 0;
};

struct Trial {
    std::function<void(BridgeDirectory&)> prepare;
    std::function<void(BridgeDirectory&)> operate;
    // Gets the call that failed; none once the operation made fewer calls.
    std::function<void(const BridgeDirectory&, const std::optional<FailedCall>&)> check;
};

std::optional<FailedCall> failedCall(const BridgeDirectory& bridge, int number, int code)
{
    const auto& calls = bridge.fileSystem.calls();
    const auto index = static_cast<std::size_t>(number) - 1;
    if (index >= calls.size())
        return std::nullopt;
    return FailedCall { .number = number, .operation = calls[index], .code = code };
}

// Tries the operation with that call failing; yields the call, none if the operation makes fewer.
std::optional<FailedCall> tryWith(const Trial& trial, int number, int code)
{
    SCOPED_TRACE(testing::Message() << "call " << number << ", error " << code);
    BridgeDirectory bridge;
    trial.prepare(bridge);
    bridge.fileSystem.failCall(number, code);
    trial.operate(bridge);
    const auto failed = failedCall(bridge, number, code);
    trial.check(bridge, failed);
    EXPECT_EQ(bridge.fileSystem.openFileCount(), 0);
    EXPECT_FALSE(bridge.holdsTemporaryFile());
    return failed;
}

// Every call fails with every error that it can give. Yields the number of calls.
int failEveryCallOnce(const Trial& trial)
{
    int number = 1;
    for (auto failed = tryWith(trial, number, EIO); failed;
        failed = tryWith(trial, ++number, EIO)) {
        for (const int code : support::possibleErrors(failed->operation))
            std::ignore = tryWith(trial, number, code);
    }
    return number - 1;
}

std::optional<StoreFailure> failureOf(const StoreResult<void>& written)
{
    return written ? std::nullopt : std::optional(written.error());
}

// That of a missing or wide-open directory is made up for by making it.
bool isMadeUpFor(const FailedCall& failed)
{
    return failed.number == 1 && failed.operation == FileOperation::setDirectoryPermissions;
}

void expectInboxAfter(const std::optional<FailedCall>& failed, const BridgeDirectory& bridge,
    const StoreResult<void>& written)
{
    const std::size_t eventCount = namesIn(bridge / "Inbox").size();
    if (!failed || isMadeUpFor(*failed)) {
        EXPECT_TRUE(written);
        EXPECT_EQ(eventCount, 1U);
        return;
    }
    EXPECT_EQ(failureOf(written), fileError(failed->code));
    EXPECT_EQ(eventCount, failed->operation == FileOperation::setPermissions ? 1U : 0U);
}

int failEveryCallOfAnEvent(const std::function<void(BridgeDirectory&)>& prepare)
{
    StoreResult<void> written;
    return failEveryCallOnce({ .prepare = prepare,
        .operate =
            [&](BridgeDirectory& bridge) {
                written = bridge.store.writeInboxEvent("{}", support::validToken,
                    support::sessionIdentifier(), support::sampleTime, bridge.fileSystem);
            },
        .check = [&](const BridgeDirectory& bridge,
                     const auto& failed) { expectInboxAfter(failed, bridge, written); } });
}

} // namespace

TEST(FailingCalls, OfAnEventForAnExistingInboxLeaveNothingButAWholeEvent)
{
    EXPECT_EQ(failEveryCallOfAnEvent(
                  [](BridgeDirectory& bridge) { support::makeDirectory(bridge / "Inbox"); }),
        5);
}

TEST(FailingCalls, OfAnEventForAMissingInboxLeaveNothingButAWholeEvent)
{
    EXPECT_EQ(failEveryCallOfAnEvent([](BridgeDirectory&) { }), 7);
}

TEST(FailingCalls, OfAReadinessRecordLeaveTheOldFileOrTheNew)
{
    StoreResult<void> written;
    const int failures = failEveryCallOnce(
        { .prepare =
                [](BridgeDirectory& bridge) {
                    support::writeFile(bridge / "Readiness/googleChrome.readiness", "old");
                },
            .operate =
                [&](BridgeDirectory& bridge) {
                    written = bridge.store.writeReadiness(
                        support::validReadiness(), support::validToken, bridge.fileSystem);
                },
            .check =
                [&](const BridgeDirectory& bridge, const std::optional<FailedCall>& failed) {
                    EXPECT_EQ(namesIn(bridge / "Readiness"), Names { "googleChrome.readiness" });
                    const bool isOld
                        = support::readFile(bridge / "Readiness/googleChrome.readiness") == "old";
                    const bool isIgnored = !failed || isMadeUpFor(*failed)
                        || failed->operation == FileOperation::remove;
                    EXPECT_EQ(failureOf(written),
                        isIgnored ? std::nullopt : std::optional(fileError(failed->code)));
                    // The sixth call sets permissions once more after the rename.
                    EXPECT_EQ(isOld, !isIgnored && failed->number < 6);
                } });
    EXPECT_EQ(failures, 7);
}

TEST(FailingCalls, OfTheTokenMakeItUnavailable)
{
    std::expected<std::string, BrowserBridgeStoreError> token;
    const int failures = failEveryCallOnce(
        { .prepare = [](BridgeDirectory& bridge) { support::writeToken(bridge.path()); },
            .operate
            = [&](BridgeDirectory& bridge) { token = bridge.store.readToken(bridge.fileSystem); },
            .check =
                [&](const BridgeDirectory& bridge, const std::optional<FailedCall>& failed) {
                    EXPECT_EQ(namesIn(bridge.path()), Names { "bridge-token" });
                    if (failed) {
                        ASSERT_FALSE(token);
                        EXPECT_EQ(token.error(), BrowserBridgeStoreError::tokenUnavailable);
                    } else {
                        EXPECT_EQ(token, support::validToken);
                    }
                } });
    EXPECT_GE(failures, 3);
}

TEST(FailingCalls, OfTheStateArePassedOn)
{
    StoreResult<BrowserBridgeState> state;
    const int failures = failEveryCallOnce(
        { .prepare = [](BridgeDirectory& bridge) { support::writeState(bridge.path()); },
            .operate
            = [&](BridgeDirectory& bridge) { state = bridge.store.readState(bridge.fileSystem); },
            .check =
                [&](const BridgeDirectory&, const std::optional<FailedCall>& failed) {
                    if (failed) {
                        ASSERT_FALSE(state);
                        EXPECT_EQ(state.error(), fileError(failed->code));
                    } else {
                        EXPECT_EQ(state, support::validState());
                    }
                } });
    EXPECT_GE(failures, 3);
}

TEST(FailingCalls, OfThePreferencesYieldNothing)
{
    std::optional<bool> preferences;
    const int failures = failEveryCallOnce({ .prepare =
                                                 [](BridgeDirectory& bridge) {
                                                     support::writePreferences(
                                                         bridge.path(), support::preferences(true));
                                                 },
        .operate =
            [&](BridgeDirectory& bridge) {
                preferences = bridge.store.readPreferences(support::validToken, bridge.fileSystem);
            },
        .check =
            [&](const BridgeDirectory&, const std::optional<FailedCall>& failed) {
                EXPECT_EQ(preferences, failed ? std::nullopt : std::optional(true));
            } });
    EXPECT_GE(failures, 3);
}

TEST(FailingCalls, OfTheCommandQueueLoseAtMostTheFileInQuestion)
{
    Numbers numbers;
    const int failures = failEveryCallOnce({ .prepare =
                                                 [](BridgeDirectory& bridge) {
                                                     for (const int number : { 1, 2, 3 }) {
                                                         support::writeCommand(bridge.path(),
                                                             std::to_string(number) + ".command",
                                                             numberedCommand(number));
                                                     }
                                                 },
        .operate = [&](BridgeDirectory& bridge) { numbers = consumedNumbers(bridge); },
        .check =
            [&](const BridgeDirectory& bridge, const std::optional<FailedCall>& failed) {
                if (failed && failed->operation == FileOperation::visibleNames) {
                    EXPECT_EQ(numbers, Numbers {});
                    EXPECT_EQ(
                        commandFiles(bridge), (Names { "1.command", "2.command", "3.command" }));
                    return;
                }
                Numbers expectedNumbers { 1, 2, 3 };
                Names expectedFiles;
                if (failed) {
                    // Four calls for each file after the listing: open, ask, read, remove.
                    const int number = (failed->number - 2) / 4 + 1;
                    if (failed->operation == FileOperation::remove)
                        expectedFiles.push_back(std::to_string(number) + ".command");
                    else
                        std::erase(expectedNumbers, number);
                }
                EXPECT_EQ(numbers, expectedNumbers);
                EXPECT_EQ(commandFiles(bridge), expectedFiles);
            } });
    EXPECT_EQ(failures, 13);
}

} // namespace bridge
