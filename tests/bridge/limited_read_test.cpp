#include "tests/bridge/bridge_directory.h"
#include "tests/support/as_other_user.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <utility>

namespace bridge {

namespace {

using support::FileOperation;

constexpr std::int64_t limit = 100;

// None when the reading succeeds.
std::optional<StoreFailure> failureOf(const BridgeDirectory& bridge, const std::string& path)
{
    const auto contents = readLimitedRegularFile(path, limit, bridge.fileSystem);
    EXPECT_EQ(bridge.fileSystem.openFileCount(), 0);
    return contents ? std::nullopt : std::optional(contents.error());
}

std::string contentsOf(const BridgeDirectory& bridge, const std::string& path)
{
    const auto contents = readLimitedRegularFile(path, limit, bridge.fileSystem);
    EXPECT_TRUE(contents);
    EXPECT_EQ(bridge.fileSystem.openFileCount(), 0);
    return contents.value_or("");
}

// Has the file's contents replaced just before they are read.
void changeBeforeReading(BridgeDirectory& bridge, std::string path, std::string contents)
{
    bridge.fileSystem.beforeCall([path = std::move(path), contents = std::move(contents)](
                                     FileOperation operation, const std::string&) {
        if (operation == FileOperation::read)
            std::ofstream(path, std::ios::binary | std::ios::trunc) << contents;
    });
}

bool wasRead(const BridgeDirectory& bridge)
{
    const auto& calls = bridge.fileSystem.calls();
    return std::ranges::find(calls, FileOperation::read) != calls.end();
}

} // namespace

TEST(ReadLimitedRegularFile, YieldsTheBytesOfTheFile)
{
    const BridgeDirectory bridge;
    const std::string bytes("a\0\xFF\r\n\x1A z", 8);
    support::writeFile(bridge / "file", bytes);
    EXPECT_EQ(contentsOf(bridge, bridge / "file"), bytes);
}

TEST(ReadLimitedRegularFile, YieldsNothingForAnEmptyFile)
{
    const BridgeDirectory bridge;
    support::writeFile(bridge / "file", "");
    EXPECT_EQ(contentsOf(bridge, bridge / "file"), "");
}

TEST(ReadLimitedRegularFile, TakesAFileOfExactlyTheLimit)
{
    const BridgeDirectory bridge;
    support::writeFile(bridge / "file", std::string(limit, 'x'));
    EXPECT_EQ(contentsOf(bridge, bridge / "file"), std::string(limit, 'x'));
}

TEST(ReadLimitedRegularFile, RefusesOneByteMoreUnread)
{
    const BridgeDirectory bridge;
    support::writeFile(bridge / "file", std::string(limit + 1, 'x'));
    EXPECT_EQ(failureOf(bridge, bridge / "file"), payloadTooLarge);
    EXPECT_FALSE(wasRead(bridge));
}

TEST(ReadLimitedRegularFile, RefusesAHugeFileUnread)
{
    const BridgeDirectory bridge;
    support::writeFile(bridge / "file", "");
    std::filesystem::resize_file(bridge / "file", std::uintmax_t { 1 } << 33U);
    EXPECT_EQ(failureOf(bridge, bridge / "file"), payloadTooLarge);
    EXPECT_FALSE(wasRead(bridge));
}

TEST(ReadLimitedRegularFile, TakesALimitOfZero)
{
    const BridgeDirectory bridge;
    support::writeFile(bridge / "empty", "");
    support::writeFile(bridge / "one", "x");
    EXPECT_EQ(readLimitedRegularFile(bridge / "empty", 0, bridge.fileSystem), "");
    const auto one = readLimitedRegularFile(bridge / "one", 0, bridge.fileSystem);
    ASSERT_FALSE(one);
    EXPECT_EQ(one.error(), payloadTooLarge);
}

TEST(ReadLimitedRegularFile, RefusesAFileThatGrewPastTheLimit)
{
    for (const std::size_t size : { std::size_t { limit } + 1, std::size_t { 100000 } }) {
        BridgeDirectory bridge;
        support::writeFile(bridge / "file", "small");
        changeBeforeReading(bridge, bridge / "file", std::string(size, 'x'));
        EXPECT_EQ(failureOf(bridge, bridge / "file"), payloadTooLarge) << size;
    }
}

TEST(ReadLimitedRegularFile, RefusesAFileThatGrewFromExactlyTheLimit)
{
    BridgeDirectory bridge;
    support::writeFile(bridge / "file", std::string(limit, 'x'));
    changeBeforeReading(bridge, bridge / "file", std::string(limit + 1, 'x'));
    EXPECT_EQ(failureOf(bridge, bridge / "file"), payloadTooLarge);
}

TEST(ReadLimitedRegularFile, RefusesAnEmptyFileThatGrewPastTheLimit)
{
    BridgeDirectory bridge;
    support::writeFile(bridge / "file", "");
    changeBeforeReading(bridge, bridge / "file", std::string(limit + 1, 'x'));
    EXPECT_EQ(failureOf(bridge, bridge / "file"), payloadTooLarge);
}

TEST(ReadLimitedRegularFile, TakesAFileThatGrewToTheLimit)
{
    BridgeDirectory bridge;
    support::writeFile(bridge / "file", "small");
    changeBeforeReading(bridge, bridge / "file", std::string(limit, 'x'));
    EXPECT_EQ(contentsOf(bridge, bridge / "file"), std::string(limit, 'x'));
}

TEST(ReadLimitedRegularFile, TakesWhatIsLeftOfAFileThatShrank)
{
    for (const char* const left : { "less", "" }) {
        BridgeDirectory bridge;
        support::writeFile(bridge / "file", std::string(limit, 'x'));
        changeBeforeReading(bridge, bridge / "file", left);
        EXPECT_EQ(contentsOf(bridge, bridge / "file"), left);
    }
}

TEST(ReadLimitedRegularFile, ReadsTheFileThatItAskedAboutWhateverTakesItsName)
{
    BridgeDirectory bridge;
    support::writeFile(bridge / "file", "first");
    support::writeFile(bridge / "other", std::string(limit + 1, 'x'));
    bridge.fileSystem.beforeCall([&](FileOperation operation, const std::string&) {
        if (operation == FileOperation::attributesOfOpenFile)
            std::filesystem::rename(bridge / "other", bridge / "file");
    });
    EXPECT_EQ(contentsOf(bridge, bridge / "file"), "first");
}

TEST(ReadLimitedRegularFile, PassesOnThatThereIsNoSuchItem)
{
    const BridgeDirectory bridge;
    EXPECT_EQ(failureOf(bridge, bridge / "missing"), fileError(ENOENT));
    EXPECT_EQ(failureOf(bridge, bridge / "missing/file"), fileError(ENOENT));
    support::writeFile(bridge / "file", "");
    EXPECT_EQ(failureOf(bridge, bridge / "file/below"), fileError(ENOTDIR));
}

TEST(ReadLimitedRegularFile, RefusesADirectory)
{
    const BridgeDirectory bridge;
    support::makeDirectory(bridge / "item");
    EXPECT_EQ(failureOf(bridge, bridge / "item"), malformedEnvelope);
}

TEST(ReadLimitedRegularFile, RefusesLinksWhateverTheyPointTo)
{
    const BridgeDirectory bridge;
    support::writeFile(bridge / "file", "contents");
    support::makeDirectory(bridge / "directory");
    for (const char* const target : { "file", "directory", "missing", "link" }) {
        const std::string link = bridge / ("link-to-" + std::string(target));
        support::makeSymbolicLink(target, link);
        EXPECT_EQ(failureOf(bridge, link), malformedEnvelope) << target;
    }
}

TEST(ReadLimitedRegularFile, FollowsLinksAboveTheItem)
{
    const BridgeDirectory bridge;
    support::writeFile(bridge / "directory/file", "contents");
    support::makeSymbolicLink("directory", bridge / "link");
    EXPECT_EQ(contentsOf(bridge, bridge / "link/file"), "contents");
}

TEST(ReadLimitedRegularFile, RefusesAFIFOWithoutWaiting)
{
    const BridgeDirectory bridge;
    support::makeFIFO(bridge / "item");
    EXPECT_EQ(failureOf(bridge, bridge / "item"), malformedEnvelope);
}

TEST(ReadLimitedRegularFile, RefusesASocket)
{
    const BridgeDirectory bridge;
    support::makeSocket(bridge / "item");
    EXPECT_EQ(failureOf(bridge, bridge / "item"), malformedEnvelope);
}

TEST(ReadLimitedRegularFile, RefusesADevice)
{
    const BridgeDirectory bridge;
    EXPECT_EQ(failureOf(bridge, "/dev/null"), malformedEnvelope);
}

TEST(ReadLimitedRegularFile, PassesOnAnErrorOfOpening)
{
    for (const int code : everydayErrors) {
        BridgeDirectory bridge;
        support::writeFile(bridge / "file", std::string(limit, 'x'));
        bridge.fileSystem.failOperation(FileOperation::openForReading, code);
        EXPECT_EQ(failureOf(bridge, bridge / "file"), fileError(code));
    }
}

TEST(ReadLimitedRegularFile, LooksAtKindAndSizeBeforeAnErrorOfOpening)
{
    BridgeDirectory bridge;
    bridge.fileSystem.failOperation(FileOperation::openForReading, EACCES);
    support::makeDirectory(bridge / "directory");
    EXPECT_EQ(failureOf(bridge, bridge / "directory"), malformedEnvelope);
    support::makeSymbolicLink("missing", bridge / "link");
    EXPECT_EQ(failureOf(bridge, bridge / "link"), malformedEnvelope);
    support::writeFile(bridge / "large", std::string(limit + 1, 'x'));
    EXPECT_EQ(failureOf(bridge, bridge / "large"), payloadTooLarge);
    EXPECT_EQ(failureOf(bridge, bridge / "missing"), fileError(ENOENT));
}

TEST(ReadLimitedRegularFile, PassesOnAnErrorOfAskingForAttributes)
{
    for (const int code : everydayErrors) {
        BridgeDirectory bridge;
        support::writeFile(bridge / "file", "contents");
        bridge.fileSystem.failOperation(FileOperation::attributesOfOpenFile, code);
        EXPECT_EQ(failureOf(bridge, bridge / "file"), fileError(code));
    }
}

TEST(ReadLimitedRegularFile, PassesOnAnErrorOfReading)
{
    for (const int code : everydayErrors) {
        BridgeDirectory bridge;
        support::writeFile(bridge / "file", "contents");
        bridge.fileSystem.failOperation(FileOperation::read, code);
        EXPECT_EQ(failureOf(bridge, bridge / "file"), fileError(code));
    }
}

TEST(ReadLimitedRegularFile, FailsForAFileThatMayNotBeRead)
{
    support::asOrdinaryUser([] {
        const BridgeDirectory bridge;
        support::writeFile(bridge / "file", std::string(limit, 'x'), 0);
        EXPECT_EQ(failureOf(bridge, bridge / "file"), fileError(EACCES));
        support::writeFile(bridge / "large", std::string(limit + 1, 'x'), 0);
        EXPECT_EQ(failureOf(bridge, bridge / "large"), payloadTooLarge);
        support::makeDirectory(bridge / "directory", 0);
        EXPECT_EQ(failureOf(bridge, bridge / "directory"), malformedEnvelope);
    });
}

} // namespace bridge
