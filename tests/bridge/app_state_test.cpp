#include "tests/bridge/bridge_directory.h"
#include "tests/support/as_other_user.h"
#include "tests/support/json_object.h"

#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace bridge {

namespace {

using base::JsonErrorKind;
using support::JsonObject;

const JsonObject stateObject {
    { "version", "1" },
    { "appProcessIdentifier", "4711" },
    { "sessionRunning", "false" },
    { "browserTrackingPaused", "false" },
    { "updatedAt", "763637213" },
};

std::optional<StoreFailure> failureOf(const BridgeDirectory& bridge)
{
    const auto state = bridge.store.readState(bridge.fileSystem);
    EXPECT_EQ(bridge.fileSystem.openFileCount(), 0);
    return state ? std::nullopt : std::optional(state.error());
}

// Why the state is not read from a file with these contents.
std::optional<StoreFailure> failureOf(std::string_view contents)
{
    const BridgeDirectory bridge;
    support::writeState(bridge.path(), contents);
    return failureOf(bridge);
}

std::string padded(const JsonObject& object, std::size_t size)
{
    const std::string text = object.text();
    return text + std::string(size - text.size(), ' ');
}

} // namespace

TEST(ReadState, YieldsTheRecord)
{
    const BridgeDirectory bridge;
    support::writeState(bridge.path());
    EXPECT_EQ(bridge.store.readState(bridge.fileSystem), support::validState());
}

TEST(ReadState, NeedsNeitherSessionNorFrontmostBrowser)
{
    const BridgeDirectory bridge;
    support::writeState(bridge.path(), stateObject.text());
    EXPECT_EQ(bridge.store.readState(bridge.fileSystem),
        (BrowserBridgeState { .appProcessIdentifier = 4711, .updatedAt = support::sampleTime }));
}

TEST(ReadState, ReadsAFileOfExactly4096Bytes)
{
    EXPECT_EQ(failureOf(padded(stateObject, 4096)), std::nullopt);
    EXPECT_EQ(failureOf(padded(stateObject, 4097)), payloadTooLarge);
}

TEST(ReadState, IgnoresUnknownKeys)
{
    EXPECT_EQ(failureOf(stateObject.with("token", "1").with("x", "{}").text()), std::nullopt);
}

TEST(ReadState, LooksNeitherAtAgeNorAtTheProcess)
{
    EXPECT_EQ(failureOf(stateObject.with("updatedAt", "-1e300").text()), std::nullopt);
    EXPECT_EQ(failureOf(stateObject.with("updatedAt", "1e300").text()), std::nullopt);
    EXPECT_EQ(failureOf(stateObject.with("appProcessIdentifier", "-1").text()), std::nullopt);
    EXPECT_EQ(failureOf(stateObject.with("appProcessIdentifier", "0").text()), std::nullopt);
}

TEST(ReadState, PassesOnThatThereIsNoFile)
{
    const BridgeDirectory bridge;
    EXPECT_EQ(failureOf(bridge), fileError(ENOENT));
    EXPECT_EQ(support::namesIn(bridge.path()).size(), 0U);
}

TEST(ReadState, RefusesWhatIsNoRegularFile)
{
    const BridgeDirectory directory;
    support::makeDirectory(directory / "state.json");
    EXPECT_EQ(failureOf(directory), malformedEnvelope);

    const BridgeDirectory link;
    support::writeFile(link / "elsewhere.json", stateObject.text());
    support::makeSymbolicLink("elsewhere.json", link / "state.json");
    EXPECT_EQ(failureOf(link), malformedEnvelope);

    const BridgeDirectory fifo;
    support::makeFIFO(fifo / "state.json");
    EXPECT_EQ(failureOf(fifo), malformedEnvelope);

    const BridgeDirectory socket;
    support::makeSocket(socket / "state.json");
    EXPECT_EQ(failureOf(socket), malformedEnvelope);
}

TEST(ReadState, PassesOnTheDecodersError)
{
    EXPECT_EQ(failureOf(""), jsonError(JsonErrorKind::notJson));
    EXPECT_EQ(failureOf("{"), jsonError(JsonErrorKind::notJson));
    EXPECT_EQ(failureOf("[]"), jsonError(JsonErrorKind::typeMismatch));
    EXPECT_EQ(failureOf(stateObject.without("updatedAt").text()),
        jsonError(JsonErrorKind::keyNotFound, "updatedAt"));
    EXPECT_EQ(failureOf(stateObject.with("updatedAt", R"("2025-03-14T09:26:53Z")").text()),
        jsonError(JsonErrorKind::typeMismatch, "updatedAt"));
    EXPECT_EQ(failureOf(stateObject.with("sessionIdentifier", R"("x")").text()),
        jsonError(JsonErrorKind::dataCorrupted, "sessionIdentifier"));
}

TEST(ReadState, RefusesAnyOtherVersion)
{
    for (const char* const version : { "0", "2", "-1", "9223372036854775807" })
        EXPECT_EQ(failureOf(stateObject.with("version", version).text()), malformedEnvelope);
}

TEST(ReadState, LooksAtTheVersionAfterEverythingElse)
{
    EXPECT_EQ(failureOf(stateObject.with("version", "2").without("updatedAt").text()),
        jsonError(JsonErrorKind::keyNotFound, "updatedAt"));
    EXPECT_EQ(failureOf(padded(stateObject.with("version", "2"), 4097)), payloadTooLarge);
}

TEST(ReadState, LooksAtTheSizeBeforeTheContents)
{
    EXPECT_EQ(failureOf(std::string(4096, '{')), jsonError(JsonErrorKind::notJson));
    EXPECT_EQ(failureOf(std::string(4097, '{')), payloadTooLarge);
}

TEST(ReadState, PassesOnTheFileSystemsError)
{
    for (const int code : everydayErrors) {
        BridgeDirectory bridge;
        support::writeState(bridge.path());
        bridge.fileSystem.failOperation(support::FileOperation::read, code);
        EXPECT_EQ(failureOf(bridge), fileError(code));
    }
}

TEST(ReadState, PassesOnThatTheFileMayNotBeRead)
{
    support::asOrdinaryUser([] {
        const BridgeDirectory bridge;
        support::writeState(bridge.path());
        support::setPermissions(bridge / "state.json", 0);
        EXPECT_EQ(failureOf(bridge), fileError(EACCES));
    });
}

TEST(ReadState, ReadsTheFileAnewEveryTime)
{
    const BridgeDirectory bridge;
    support::writeState(bridge.path());
    EXPECT_EQ(bridge.store.readState(bridge.fileSystem), support::validState());
    BrowserBridgeState changed = support::validState();
    changed.browserTrackingPaused = true;
    support::writeState(bridge.path(), changed);
    EXPECT_EQ(bridge.store.readState(bridge.fileSystem), changed);
}

} // namespace bridge
