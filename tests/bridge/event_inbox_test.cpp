#include "tests/bridge/bridge_directory.h"
#include "tests/support/as_other_user.h"
#include "tests/support/utf8.h"

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <filesystem>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

namespace bridge {

namespace {

using support::FileOperation;
using support::namesIn;
using support::permissionsOf;
using Names = std::vector<std::string>;

constexpr std::string_view eventJson = R"({"eventType":"heartbeat"})";

StoreResult<void> write(const BridgeDirectory& bridge, std::string_view eventData = eventJson,
    base::Timestamp receivedAt = support::sampleTime)
{
    const auto written = bridge.store.writeInboxEvent(eventData, support::validToken,
        support::sessionIdentifier(), receivedAt, bridge.fileSystem);
    EXPECT_EQ(bridge.fileSystem.openFileCount(), 0);
    return written;
}

std::optional<StoreFailure> failureOf(const StoreResult<void>& written)
{
    return written ? std::nullopt : std::optional(written.error());
}

// The name of the file that a write at this time makes, without the UUID and the extension.
std::string namePrefix(double secondsSince2001)
{
    const BridgeDirectory bridge;
    EXPECT_TRUE(write(bridge, eventJson, { secondsSince2001 }));
    const Names names = namesIn(bridge / "Inbox");
    EXPECT_EQ(names.size(), 1U);
    constexpr std::size_t restLength
        = std::string_view("-3F2504E0-4F89-11D3-9A0C-0305E82C3301.event").size();
    return names.empty() ? "" : names.front().substr(0, names.front().size() - restLength);
}

BrowserBridgeEnvelope envelopeOf(std::string_view eventData)
{
    return { .token = std::string(support::validToken),
        .sessionIdentifier = support::sessionIdentifier(),
        .receivedAt = support::sampleTime,
        .eventData = std::string(eventData) };
}

// Event data whose envelope is `size` bytes long: three bytes of it fill eight with four slashes,
// seven with three, ...
std::string eventDataForEnvelopeOf(std::size_t size)
{
    std::size_t missing = size - encode(envelopeOf(""))->size();
    std::string data;
    for (; missing >= 16; missing -= 8)
        data += "\xFF\xFF\xFF";
    // 4 to 8 bytes twice.
    const std::vector<std::string> groups { std::string(3, '\0'), std::string("\0\0\x3F", 3),
        std::string("\0\x0F\xFF", 3), std::string("\x03\xFF\xFF", 3), "\xFF\xFF\xFF" };
    const std::size_t first = std::min<std::size_t>(missing - 4, 8);
    data += groups.at(first - 4);
    data += groups.at(missing - first - 4);
    EXPECT_EQ(encode(envelopeOf(data))->size(), size);
    return data;
}

constexpr double yearsOf1970 = -978307200.0;

} // namespace

TEST(WriteInboxEvent, WritesTheEnvelope)
{
    const BridgeDirectory bridge;
    ASSERT_TRUE(write(bridge));
    const Names names = namesIn(bridge / "Inbox");
    ASSERT_EQ(names.size(), 1U);
    const auto envelope
        = decodeBrowserBridgeEnvelope(support::readFile(bridge / ("Inbox/" + names.front())));
    EXPECT_EQ(envelope, envelopeOf(eventJson));
    EXPECT_EQ(
        support::readFile(bridge / ("Inbox/" + names.front())), encode(envelopeOf(eventJson)));
}

TEST(WriteInboxEvent, DoesNotLookIntoTheEventData)
{
    const BridgeDirectory bridge;
    EXPECT_TRUE(write(bridge, ""));
    EXPECT_TRUE(write(bridge, std::string("\0\xFF", 2)));
    EXPECT_EQ(namesIn(bridge / "Inbox").size(), 2U);
}

TEST(WriteInboxEvent, NamesTheFileByTimeAndAFreshUUID)
{
    const BridgeDirectory bridge;
    ASSERT_TRUE(write(bridge, eventJson, { 753422400.123456 }));
    const Names names = namesIn(bridge / "Inbox");
    ASSERT_EQ(names.size(), 1U);
    const std::string& name = names.front();
    ASSERT_EQ(name.size(), 20U + 1U + 36U + 6U) << name;
    EXPECT_EQ(name.substr(0, 21), "00001731729600123456-");
    EXPECT_EQ(base::upperCaseText(support::uuid(name.substr(21, 36))), name.substr(21, 36));
    EXPECT_NE(name.substr(21, 36), base::upperCaseText(support::sessionIdentifier()));
    EXPECT_TRUE(name.ends_with(".event"));
}

TEST(WriteInboxEvent, CountsMicrosecondsSince1970)
{
    EXPECT_EQ(namePrefix(753422400.123456), "00001731729600123456");
    EXPECT_EQ(namePrefix(753422400.0), "00001731729600000000");
    EXPECT_EQ(namePrefix(0.0), "00000978307200000000");
    EXPECT_EQ(namePrefix(yearsOf1970), "00000000000000000000");
}

TEST(WriteInboxEvent, PadsANegativeCountTo20CharactersInAll)
{
    EXPECT_EQ(namePrefix(yearsOf1970 - 1.5), "-0000000000001500000");
    EXPECT_EQ(namePrefix(yearsOf1970 - 978307200.0), "-0000978307200000000");
}

TEST(WriteInboxEvent, CutsFractionsOfAMicrosecondTowardsZero)
{
    // Within the precision of a double at this distance from 2001: 1.9 and -1.9 microseconds around
    // 1970.
    EXPECT_EQ(namePrefix(yearsOf1970 + 0.0000019), "00000000000000000001");
    EXPECT_EQ(namePrefix(yearsOf1970 - 0.0000019), "-0000000000000000001");
    EXPECT_EQ(namePrefix(yearsOf1970 - 0.0000006), "00000000000000000000");
}

TEST(WriteInboxEvent, TakesAnyTimeWhoseMicrosecondsFitIn64Bits)
{
    EXPECT_EQ(namePrefix(9223372036854.0 + yearsOf1970), "09223372036853999616");
    EXPECT_EQ(namePrefix(-9223372036854.775808 + yearsOf1970), "-9223372036854775808");
}

TEST(WriteInboxEventDeathTest, StopsTheProcessForATimeThatDoesNotFit)
{
    // The third is the first that is too large: of it there are exactly 2^63 microseconds.
    for (const double seconds : { 1e300, -1e300, 9223372036854.775808 + yearsOf1970,
             9223372036855.0 + yearsOf1970, -9223372036855.0 + yearsOf1970 }) {
        const BridgeDirectory bridge;
        EXPECT_EXIT(std::ignore = write(bridge, eventJson, { seconds }),
            testing::KilledBySignal(SIGABRT), "")
            << seconds;
    }
}

TEST(WriteInboxEvent, PassesOnTheEncodersErrorForATimeThatIsNotFinite)
{
    for (const double seconds : { std::numeric_limits<double>::infinity(),
             -std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN() }) {
        const BridgeDirectory bridge;
        EXPECT_EQ(failureOf(write(bridge, eventJson, { seconds })),
            jsonError(base::JsonErrorKind::invalidValue, "receivedAt"));
        EXPECT_EQ(namesIn(bridge.path()), Names {});
    }
}

TEST(WriteInboxEvent, KeepsTwoEventsOfOneMicrosecondApart)
{
    const BridgeDirectory bridge;
    ASSERT_TRUE(write(bridge));
    ASSERT_TRUE(write(bridge));
    const Names names = namesIn(bridge / "Inbox");
    ASSERT_EQ(names.size(), 2U);
    EXPECT_EQ(names.front().substr(0, 21), names.back().substr(0, 21));
    EXPECT_NE(names.front().substr(21), names.back().substr(21));
}

TEST(WriteInboxEvent, GivesNamesThatSortByTime)
{
    const BridgeDirectory bridge;
    Names written;
    for (const double seconds : { 1.0, 1.000001, 1.5, 2.0, 1000.0, 763637213.0 }) {
        const Names before = namesIn(bridge / "Inbox");
        ASSERT_TRUE(write(bridge, eventJson, { seconds }));
        for (const std::string& name : namesIn(bridge / "Inbox")) {
            if (std::ranges::find(before, name) == before.end())
                written.push_back(name);
        }
    }
    EXPECT_EQ(written, namesIn(bridge / "Inbox"));
}

TEST(WriteInboxEvent, TakesEventDataOf16384Bytes)
{
    const BridgeDirectory bridge;
    EXPECT_TRUE(write(bridge, std::string(16384, 'x')));
    EXPECT_EQ(namesIn(bridge / "Inbox").size(), 1U);
}

TEST(WriteInboxEvent, RefusesLongerEventDataAndTouchesNothing)
{
    const BridgeDirectory bridge;
    EXPECT_EQ(failureOf(write(bridge, std::string(16385, 'x'))), payloadTooLarge);
    EXPECT_EQ(namesIn(bridge.path()), Names {});
    EXPECT_TRUE(bridge.fileSystem.calls().empty());
}

TEST(WriteInboxEvent, TakesAnEnvelopeOf32768Bytes)
{
    const BridgeDirectory bridge;
    ASSERT_TRUE(write(bridge, eventDataForEnvelopeOf(32768)));
    const Names names = namesIn(bridge / "Inbox");
    ASSERT_EQ(names.size(), 1U);
    EXPECT_EQ(support::readFile(bridge / ("Inbox/" + names.front())).size(), 32768U);
}

TEST(WriteInboxEvent, RefusesALongerEnvelopeAndTouchesNothing)
{
    const BridgeDirectory bridge;
    EXPECT_EQ(failureOf(write(bridge, eventDataForEnvelopeOf(32769))), payloadTooLarge);
    EXPECT_EQ(failureOf(write(bridge, std::string(16384, '\xFF'))), payloadTooLarge);
    EXPECT_EQ(namesIn(bridge.path()), Names {});
    EXPECT_TRUE(bridge.fileSystem.calls().empty());
}

TEST(WriteInboxEvent, ChecksInOrder)
{
    const base::Timestamp noTime { std::numeric_limits<double>::quiet_NaN() };
    const StoreFailure encoderError = jsonError(base::JsonErrorKind::invalidValue, "receivedAt");
    BridgeDirectory bridge;
    bridge.fileSystem.failOperation(FileOperation::setDirectoryPermissions, EIO);
    EXPECT_EQ(failureOf(write(bridge, std::string(16385, 'x'), noTime)), payloadTooLarge);
    EXPECT_EQ(failureOf(write(bridge, std::string(16384, '\xFF'), noTime)), encoderError);
    EXPECT_EQ(failureOf(write(bridge, eventJson, noTime)), encoderError);
    EXPECT_EQ(failureOf(write(bridge, std::string(16384, '\xFF'))), payloadTooLarge);
    // The directory comes before the name, which there is none for.
    EXPECT_EQ(failureOf(write(bridge, eventJson, { 1e300 })), fileError(EIO));
}

TEST(WriteInboxEvent, MakesAMissingBridgeDirectoryWithItsParents)
{
    const BridgeDirectory bridge;
    const support::ScopedUmask umask(022);
    const BrowserBridgeStore store { bridge / "a/b" };
    ASSERT_TRUE(store.writeInboxEvent(eventJson, support::validToken, support::sessionIdentifier(),
        support::sampleTime, bridge.fileSystem));
    for (const char* const name : { "a", "a/b", "a/b/Inbox" })
        EXPECT_EQ(permissionsOf(bridge / name), 0700U) << name;
    EXPECT_EQ(namesIn(bridge / "a/b/Inbox").size(), 1U);
}

TEST(WriteInboxEvent, MakesDirectoryAndFilePrivateUnderAnyUmask)
{
    for (const unsigned mask : { 0U, 022U, 077U, 0777U }) {
        const BridgeDirectory bridge;
        const support::ScopedUmask umask(mask);
        ASSERT_TRUE(write(bridge));
        EXPECT_EQ(permissionsOf(bridge / "Inbox"), 0700U);
        EXPECT_EQ(permissionsOf(bridge / ("Inbox/" + namesIn(bridge / "Inbox").front())), 0600U);
    }
}

TEST(WriteInboxEvent, NarrowsAnExistingInbox)
{
    const BridgeDirectory bridge;
    support::makeDirectory(bridge / "Inbox", 0755);
    ASSERT_TRUE(write(bridge));
    EXPECT_EQ(permissionsOf(bridge / "Inbox"), 0700U);
}

TEST(WriteInboxEvent, LeavesOtherFilesAlone)
{
    const BridgeDirectory bridge;
    support::writeFile(bridge / "Inbox/00000000000000000001-x.event", "older");
    support::writeFile(bridge / "Inbox/.x.temporary", "half");
    ASSERT_TRUE(write(bridge));
    EXPECT_EQ(namesIn(bridge / "Inbox").size(), 3U);
    EXPECT_EQ(support::readFile(bridge / "Inbox/.x.temporary"), "half");
}

TEST(WriteInboxEvent, ShowsAnEventOnlyWhole)
{
    BridgeDirectory bridge;
    bridge.fileSystem.beforeCall([&](FileOperation, const std::string&) {
        for (const std::string& name : namesIn(bridge / "Inbox")) {
            if (name.ends_with(".event")) {
                EXPECT_EQ(
                    support::readFile(bridge / ("Inbox/" + name)), encode(envelopeOf(eventJson)));
            } else {
                EXPECT_TRUE(name.starts_with('.')) << name;
            }
        }
    });
    EXPECT_TRUE(write(bridge));
}

TEST(WriteInboxEvent, WritesThroughALinkToADirectory)
{
    const BridgeDirectory bridge;
    support::makeDirectory(bridge / "elsewhere", 0755);
    support::makeSymbolicLink("elsewhere", bridge / "Inbox");
    ASSERT_TRUE(write(bridge));
    EXPECT_EQ(namesIn(bridge / "elsewhere").size(), 1U);
    EXPECT_EQ(permissionsOf(bridge / "elsewhere"), 0700U);
}

TEST(WriteInboxEvent, FailsWhereTheInboxIsNoDirectory)
{
    const BridgeDirectory file;
    support::writeFile(file / "Inbox", "a file");
    EXPECT_EQ(failureOf(write(file)), fileError(EEXIST));
    EXPECT_EQ(support::readFile(file / "Inbox"), "a file");

    const BridgeDirectory link;
    support::makeSymbolicLink("missing", link / "Inbox");
    EXPECT_FALSE(write(link));
    EXPECT_EQ(namesIn(link.path()), Names { "Inbox" });
}

TEST(WriteInboxEvent, FailsWhereTheRootIsAFile)
{
    const BridgeDirectory bridge;
    support::writeFile(bridge / "root", "a file");
    const BrowserBridgeStore store { bridge / "root" };
    const auto written = store.writeInboxEvent(eventJson, support::validToken,
        support::sessionIdentifier(), support::sampleTime, bridge.fileSystem);
    EXPECT_EQ(failureOf(written), fileError(ENOTDIR));
}

TEST(WriteInboxEvent, PassesOnAnErrorOfTheDirectoryAndWritesNothing)
{
    for (const auto operation :
        { FileOperation::createDirectories, FileOperation::setDirectoryPermissions }) {
        for (const int code : everydayErrors) {
            BridgeDirectory bridge;
            bridge.fileSystem.failOperation(operation, code);
            EXPECT_EQ(failureOf(write(bridge)), fileError(code));
            EXPECT_EQ(namesIn(bridge / "Inbox"), Names {});
        }
    }
}

TEST(WriteInboxEvent, PassesOnAnErrorOfWritingAndLeavesNothing)
{
    for (const auto operation :
        { FileOperation::createFile, FileOperation::write, FileOperation::rename }) {
        for (const int code : everydayErrors) {
            BridgeDirectory bridge;
            bridge.fileSystem.failOperation(operation, code);
            EXPECT_EQ(failureOf(write(bridge)), fileError(code));
            EXPECT_EQ(namesIn(bridge / "Inbox"), Names {});
        }
    }
}

TEST(WriteInboxEvent, LeavesTheEventInPlaceWhenItsPermissionsCannotBeSet)
{
    for (const int code : everydayErrors) {
        BridgeDirectory bridge;
        bridge.fileSystem.failOperation(FileOperation::setPermissions, code);
        EXPECT_EQ(failureOf(write(bridge)), fileError(code));
        const Names names = namesIn(bridge / "Inbox");
        ASSERT_EQ(names.size(), 1U);
        EXPECT_EQ(
            support::readFile(bridge / ("Inbox/" + names.front())), encode(envelopeOf(eventJson)));
    }
}

TEST(WriteInboxEvent, SucceedsWhenTheApplicationHasTakenTheEventAlready)
{
    BridgeDirectory bridge;
    bridge.fileSystem.beforeCall([&](FileOperation operation, const std::string&) {
        if (operation == FileOperation::setPermissions)
            std::filesystem::remove(bridge / ("Inbox/" + namesIn(bridge / "Inbox").front()));
    });
    EXPECT_TRUE(write(bridge));
    EXPECT_EQ(namesIn(bridge / "Inbox"), Names {});
}

TEST(WriteInboxEvent, FailsInADirectoryThatMayNotBeWritten)
{
    support::asOrdinaryUser([] {
        const BridgeDirectory bridge;
        support::setPermissions(bridge.path(), 0500);
        EXPECT_EQ(failureOf(write(bridge)), fileError(EACCES));
        support::setPermissions(bridge.path(), 0700);
        EXPECT_EQ(namesIn(bridge.path()), Names {});
    });
}

} // namespace bridge
