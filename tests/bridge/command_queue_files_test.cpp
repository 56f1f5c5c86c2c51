// Which files are looked at, and what becomes of those that hold no command.

#include "tests/bridge/command_files.h"
#include "tests/support/as_other_user.h"
#include "tests/support/json_object.h"

#include <algorithm>
#include <filesystem>
#include <string>
#include <string_view>
#include <utility>

namespace bridge {

namespace {

using support::FileOperation;

std::string encodedCommand(int number = 1, std::string_view browser = support::chrome)
{
    return *encode(numberedCommand(number, browser));
}

std::string padded(std::string text, std::size_t size)
{
    return text + std::string(size - text.size(), ' ');
}

// Whether a file with these contents is deleted without being delivered.
bool isDeleted(std::string_view contents)
{
    const BridgeDirectory bridge;
    support::writeCommand(bridge.path(), "x.command", contents);
    return consume(bridge).empty() && commandFiles(bridge).empty();
}

bool isDelivered(std::string_view contents)
{
    const BridgeDirectory bridge;
    support::writeCommand(bridge.path(), "x.command", contents);
    return consumedNumbers(bridge) == Numbers { 1 } && commandFiles(bridge).empty();
}

} // namespace

TEST(ConsumeCommandFiles, YieldsNothingWithoutTheDirectoryAndMakesNone)
{
    const BridgeDirectory bridge;
    EXPECT_TRUE(consume(bridge).empty());
    EXPECT_EQ(support::namesIn(bridge.path()), Names {});
    const BrowserBridgeStore store { bridge / "missing" };
    EXPECT_TRUE(store
            .consumeCommands(support::validToken, support::chrome, std::nullopt,
                support::sampleTime, bridge.fileSystem, 60.0)
            .empty());
    EXPECT_EQ(support::namesIn(bridge.path()), Names {});
}

TEST(ConsumeCommandFiles, YieldsNothingFromAnEmptyDirectory)
{
    const BridgeDirectory bridge;
    support::makeDirectory(bridge / "Commands", 0755);
    EXPECT_TRUE(consume(bridge).empty());
    EXPECT_EQ(commandFiles(bridge), Names {});
    EXPECT_EQ(support::permissionsOf(bridge / "Commands"), 0755U);
}

TEST(ConsumeCommandFiles, YieldsNothingWhereTheDirectoryIsAFile)
{
    const BridgeDirectory bridge;
    support::writeFile(bridge / "Commands", encodedCommand());
    EXPECT_TRUE(consume(bridge).empty());
    EXPECT_EQ(support::readFile(bridge / "Commands"), encodedCommand());
}

TEST(ConsumeCommandFiles, YieldsNothingWhereTheDirectoryIsALink)
{
    const BridgeDirectory bridge;
    support::writeFile(bridge / "elsewhere/x.command", encodedCommand());
    support::makeSymbolicLink("elsewhere", bridge / "Commands");
    EXPECT_TRUE(consume(bridge).empty());
    EXPECT_EQ(support::namesIn(bridge / "elsewhere"), Names { "x.command" });
}

TEST(ConsumeCommandFiles, YieldsNothingWhenTheDirectoryCannotBeListed)
{
    for (const int code : everydayErrors) {
        BridgeDirectory bridge;
        support::writeCommand(bridge.path(), "x.command");
        bridge.fileSystem.failOperation(FileOperation::visibleNames, code);
        EXPECT_TRUE(consume(bridge).empty());
        EXPECT_EQ(commandFiles(bridge), Names { "x.command" });
    }
}

TEST(ConsumeCommandFiles, YieldsNothingFromADirectoryThatMayNotBeRead)
{
    support::asOrdinaryUser([] {
        const BridgeDirectory bridge;
        support::writeCommand(bridge.path(), "x.command");
        support::setPermissions(bridge / "Commands", 0300);
        EXPECT_TRUE(consume(bridge).empty());
        support::setPermissions(bridge / "Commands", 0700);
        EXPECT_EQ(commandFiles(bridge), Names { "x.command" });
    });
}

TEST(ConsumeCommandFiles, KeepsFilesWithoutTheExtension)
{
    const BridgeDirectory bridge;
    Names names { "x.COMMAND", "x.Command", "x.command.json", "x.commands", "x.comman", "xcommand",
        "command", "x", "x.command~", "x.command.temporary", "x.command ", "x. command",
        "x.\u0441ommand" };
    for (const std::string& name : names)
        support::writeCommand(bridge.path(), name);
    EXPECT_TRUE(consume(bridge).empty());
    std::ranges::sort(names);
    EXPECT_EQ(commandFiles(bridge), names);
    const auto& calls = bridge.fileSystem.calls();
    EXPECT_EQ(calls, std::vector { FileOperation::visibleNames });
}

TEST(ConsumeCommandFiles, NeverSeesHiddenFiles)
{
    const BridgeDirectory bridge;
    Names names { ".x.command", ".command", "..command", "...x.command" };
    for (const std::string& name : names)
        support::writeCommand(bridge.path(), name);
    EXPECT_TRUE(consume(bridge).empty());
    std::ranges::sort(names);
    EXPECT_EQ(commandFiles(bridge), names);
}

TEST(ConsumeCommandFiles, TakesAnyNameBeforeTheExtension)
{
    const BridgeDirectory bridge;
    int number = 1;
    for (const char* const name : { " .command", "-.command", "1 2.command", "a..command",
             "b.command.command", "c\n.command", "\u00E9.command", "\xFF\xFE.command" })
        support::writeCommand(bridge.path(), name, numberedCommand(number++));
    EXPECT_EQ(consumedNumbers(bridge), (Numbers { 1, 2, 3, 4, 5, 6, 7, 8 }));
    EXPECT_EQ(commandFiles(bridge), Names {});
}

TEST(ConsumeCommandFiles, TakesTheExtensionAloneAfterDots)
{
    // A name of nothing but dots before the extension would be hidden.
    const BridgeDirectory bridge;
    support::writeCommand(bridge.path(), "x.y.command");
    EXPECT_EQ(consume(bridge).size(), 1U);
}

TEST(ConsumeCommandFiles, LooksIntoNoSubdirectory)
{
    const BridgeDirectory bridge;
    support::writeCommand(bridge.path(), "sub/x.command");
    EXPECT_TRUE(consume(bridge).empty());
    EXPECT_EQ(support::namesIn(bridge / "Commands/sub"), Names { "x.command" });
}

TEST(ConsumeCommandFiles, DeletesADirectoryOfThatNameWithAllThatItHolds)
{
    const BridgeDirectory bridge;
    support::writeCommand(bridge.path(), "x.command/deeper/y.command");
    support::writeCommand(bridge.path(), "x.command/file");
    EXPECT_TRUE(consume(bridge).empty());
    EXPECT_EQ(commandFiles(bridge), Names {});
}

TEST(ConsumeCommandFiles, DeletesALinkAndNotItsTarget)
{
    const BridgeDirectory bridge;
    support::makeDirectory(bridge / "Commands");
    support::writeFile(bridge / "valid", encodedCommand());
    support::writeFile(bridge / "directory/file", "kept");
    support::makeSymbolicLink("../valid", bridge / "Commands/file.command");
    support::makeSymbolicLink("../directory", bridge / "Commands/directory.command");
    support::makeSymbolicLink("missing", bridge / "Commands/dangling.command");
    EXPECT_TRUE(consume(bridge).empty());
    EXPECT_EQ(commandFiles(bridge), Names {});
    EXPECT_EQ(support::readFile(bridge / "valid"), encodedCommand());
    EXPECT_EQ(support::readFile(bridge / "directory/file"), "kept");
}

TEST(ConsumeCommandFiles, DeletesFIFOsAndSocketsWithoutWaiting)
{
    const BridgeDirectory bridge;
    support::makeDirectory(bridge / "Commands");
    support::makeFIFO(bridge / "Commands/fifo.command");
    support::makeSocket(bridge / "Commands/socket.command");
    EXPECT_TRUE(consume(bridge).empty());
    EXPECT_EQ(commandFiles(bridge), Names {});
}

TEST(ConsumeCommandFiles, ReadsAFileOfExactly16384Bytes)
{
    EXPECT_TRUE(isDelivered(padded(encodedCommand(), 16384)));
}

TEST(ConsumeCommandFiles, DeletesALargerFileUnread)
{
    const BridgeDirectory bridge;
    support::writeCommand(bridge.path(), "x.command", padded(encodedCommand(), 16385));
    EXPECT_TRUE(consume(bridge).empty());
    EXPECT_EQ(commandFiles(bridge), Names {});
    EXPECT_EQ(std::ranges::count(bridge.fileSystem.calls(), FileOperation::read), 0);
}

TEST(ConsumeCommandFiles, DeletesALargerFileEvenForAnotherBrowser)
{
    EXPECT_TRUE(isDeleted(padded(encodedCommand(1, support::firefox), 16385)));
}

TEST(ConsumeCommandFiles, DeletesWhatIsNoEnvelope)
{
    const support::JsonObject command { { "id", R"("C0FFEE00-1111-4222-8333-444455556666")" },
        { "type", R"("showLocalPDF")" }, { "browserBundleIdentifier", R"("com.google.Chrome")" },
        { "createdAt", "763637213" } };
    const support::JsonObject envelope { { "version", "1" },
        { "token", '"' + std::string(support::validToken) + '"' }, { "command", command.text() } };
    const auto with = [&envelope](const support::JsonObject& changed) {
        return envelope.with("command", changed.text()).text();
    };
    ASSERT_FALSE(isDeleted(envelope.text()));

    for (const std::string& contents :
        { std::string(), std::string("{"), std::string("[]"), envelope.text() + '}',
            envelope.with("command", "null").text(),
            with(command.with("type", R"("showlocalpdf")")),
            with(command.with("type", R"("quit")")),
            with(command.with("createdAt", R"("2025-03-14T09:26:53Z")")),
            with(command.with("id", R"("x")")), with(command.with("sessionIdentifier", R"("x")")) })
        EXPECT_TRUE(isDeleted(contents)) << contents;
    for (const auto& [key, value] : envelope.members())
        EXPECT_TRUE(isDeleted(envelope.without(key).text())) << key;
    for (const auto& [key, value] : command.members())
        EXPECT_TRUE(isDeleted(with(command.without(key)))) << key;
}

TEST(ConsumeCommandFiles, DeletesWhatDoesNotDecodeEvenForAnotherBrowser)
{
    std::string contents = encodedCommand(1, support::firefox);
    contents.replace(contents.find("showLocalPDF"), 12, "showlocalpdf");
    EXPECT_TRUE(isDeleted(contents));
}

TEST(ConsumeCommandFiles, IgnoresUnknownKeys)
{
    std::string contents = encodedCommand();
    contents.insert(1, R"("x":{"version":2},)");
    EXPECT_TRUE(isDelivered(contents));
}

TEST(ConsumeCommandFiles, DeletesAFileThatCannotBeRead)
{
    for (const auto operation : { FileOperation::openForReading,
             FileOperation::attributesOfOpenFile, FileOperation::read }) {
        BridgeDirectory bridge;
        support::writeCommand(bridge.path(), "x.command");
        bridge.fileSystem.failOperation(operation, EIO);
        EXPECT_TRUE(consume(bridge).empty());
        EXPECT_EQ(commandFiles(bridge), Names {});
    }
}

TEST(ConsumeCommandFiles, DeletesAFileThatMayNotBeRead)
{
    support::asOrdinaryUser([] {
        const BridgeDirectory bridge;
        support::writeCommand(bridge.path(), "x.command");
        support::setPermissions(bridge / "Commands/x.command", 0);
        EXPECT_TRUE(consume(bridge).empty());
        EXPECT_EQ(commandFiles(bridge), Names {});
    });
}

TEST(ConsumeCommandFiles, PassesOverFilesThatCannotBeDeleted)
{
    BridgeDirectory bridge;
    support::writeCommand(bridge.path(), "1.command", numberedCommand(1));
    support::writeCommand(bridge.path(), "2.command", "no JSON");
    support::writeCommand(bridge.path(), "3.command", numberedCommand(3));
    bridge.fileSystem.failOperation(FileOperation::remove, EACCES);
    const Names names { "1.command", "2.command", "3.command" };
    EXPECT_EQ(consumedNumbers(bridge), (Numbers { 1, 3 }));
    EXPECT_EQ(commandFiles(bridge), names);
    // They are met again.
    EXPECT_EQ(consumedNumbers(bridge), (Numbers { 1, 3 }));
    EXPECT_EQ(commandFiles(bridge), names);
}

TEST(ConsumeCommandFiles, DeliversFromADirectoryThatMayNotBeWritten)
{
    support::asOrdinaryUser([] {
        const BridgeDirectory bridge;
        support::writeCommand(bridge.path(), "x.command");
        support::setPermissions(bridge / "Commands", 0500);
        EXPECT_EQ(consume(bridge).size(), 1U);
        EXPECT_EQ(commandFiles(bridge), Names { "x.command" });
        support::setPermissions(bridge / "Commands", 0700);
    });
}

TEST(ConsumeCommandFiles, PassesOverAFileThatDisappears)
{
    BridgeDirectory bridge;
    support::writeCommand(bridge.path(), "1.command", numberedCommand(1));
    support::writeCommand(bridge.path(), "2.command", numberedCommand(2));
    bridge.fileSystem.beforeCall([](FileOperation operation, const std::string& path) {
        if (operation == FileOperation::openForReading && path.ends_with("/1.command"))
            std::filesystem::remove(path);
    });
    EXPECT_EQ(consumedNumbers(bridge), Numbers { 2 });
    EXPECT_EQ(commandFiles(bridge), Names {});
}

TEST(ConsumeCommandFiles, DoesNotFollowALinkThatTakesTheDirectorysPlaceAfterTheListing)
{
    BridgeDirectory bridge;
    support::writeCommand(bridge.path(), "1.command", numberedCommand(1));
    support::writeCommand(bridge / "elsewhere", "1.command", numberedCommand(2));
    bool isExchanged = false;
    bridge.fileSystem.beforeCall([&](FileOperation operation, const std::string&) {
        if (operation != FileOperation::openForReading || std::exchange(isExchanged, true))
            return;
        std::filesystem::rename(bridge / "Commands", bridge / "listed");
        support::makeSymbolicLink(bridge / "elsewhere/Commands", bridge / "Commands");
    });
    EXPECT_EQ(consumedNumbers(bridge), Numbers { 1 });
    EXPECT_TRUE(isExchanged);
    EXPECT_EQ(support::namesIn(bridge / "elsewhere/Commands"), Names { "1.command" });
    EXPECT_EQ(support::namesIn(bridge / "listed"), Names {});
}

TEST(ConsumeCommandFiles, LeavesFilesThatComeAfterTheListing)
{
    BridgeDirectory bridge;
    support::writeCommand(bridge.path(), "1.command", numberedCommand(1));
    bridge.fileSystem.beforeCall([&](FileOperation operation, const std::string&) {
        if (operation == FileOperation::read)
            support::writeCommand(bridge.path(), "0.command", numberedCommand(2));
    });
    EXPECT_EQ(consumedNumbers(bridge), Numbers { 1 });
    EXPECT_EQ(commandFiles(bridge), Names { "0.command" });
}

TEST(ConsumeCommandFiles, DeletesAFileThatGrowsPastTheLimit)
{
    BridgeDirectory bridge;
    support::writeCommand(bridge.path(), "x.command", encodedCommand());
    bridge.fileSystem.beforeCall([&](FileOperation operation, const std::string&) {
        if (operation == FileOperation::read)
            support::writeCommand(bridge.path(), "x.command", padded(encodedCommand(), 16385));
    });
    EXPECT_TRUE(consume(bridge).empty());
    EXPECT_EQ(commandFiles(bridge), Names {});
}

} // namespace bridge
