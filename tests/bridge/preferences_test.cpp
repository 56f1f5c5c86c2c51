#include "tests/bridge/bridge_directory.h"
#include "tests/support/as_other_user.h"
#include "tests/support/json_object.h"

#include <optional>
#include <string>
#include <string_view>

namespace bridge {

namespace {

using support::JsonObject;

const JsonObject preferencesObject {
    { "version", "1" },
    { "token", '"' + std::string(support::validToken) + '"' },
    { "filenameLabelsEnabled", "true" },
};

std::optional<bool> readPreferences(const BridgeDirectory& bridge)
{
    const auto preferences = bridge.store.readPreferences(support::validToken, bridge.fileSystem);
    EXPECT_EQ(bridge.fileSystem.openFileCount(), 0);
    return preferences;
}

std::optional<bool> preferencesFrom(std::string_view contents)
{
    const BridgeDirectory bridge;
    support::writePreferences(bridge.path(), contents);
    return readPreferences(bridge);
}

std::string padded(const JsonObject& object, std::size_t size)
{
    const std::string text = object.text();
    return text + std::string(size - text.size(), ' ');
}

} // namespace

TEST(ReadPreferences, YieldsWhetherLabelsAreEnabled)
{
    EXPECT_EQ(preferencesFrom(preferencesObject.text()), true);
    EXPECT_EQ(
        preferencesFrom(preferencesObject.with("filenameLabelsEnabled", "false").text()), false);
}

TEST(ReadPreferences, IgnoresUnknownKeys)
{
    EXPECT_EQ(preferencesFrom(preferencesObject.with("x", "[1,{}]").text()), true);
}

TEST(ReadPreferences, ReadsAFileOfExactly4096Bytes)
{
    EXPECT_EQ(preferencesFrom(padded(preferencesObject, 4096)), true);
    EXPECT_EQ(preferencesFrom(padded(preferencesObject, 4097)), std::nullopt);
}

TEST(ReadPreferences, YieldsNothingForAnotherToken)
{
    std::string otherCase(support::validToken);
    otherCase[10] = 'A'; // where the token has an "a"
    ASSERT_NE(otherCase, support::validToken);
    for (const std::string& token : { otherCase, std::string(support::otherToken), std::string(),
             std::string(support::validToken) + ' ', ' ' + std::string(support::validToken),
             std::string(support::validToken.substr(1)) })
        EXPECT_EQ(preferencesFrom(preferencesObject.with("token", '"' + token + '"').text()),
            std::nullopt);
}

TEST(ReadPreferences, TakesFullWidthDigitsForOthers)
{
    const BridgeDirectory bridge;
    support::writePreferences(bridge.path(), support::preferences(true, "\uFF10"));
    EXPECT_EQ(bridge.store.readPreferences("0", bridge.fileSystem), std::nullopt);
    EXPECT_EQ(bridge.store.readPreferences("\uFF10", bridge.fileSystem), true);
}

TEST(ReadPreferences, YieldsNothingForAnyOtherVersion)
{
    for (const char* const version : { "0", "2", "-1" })
        EXPECT_EQ(preferencesFrom(preferencesObject.with("version", version).text()), std::nullopt);
}

TEST(ReadPreferences, YieldsNothingForWhatDoesNotDecode)
{
    for (const std::string& contents : { std::string(), std::string("{"), std::string("[]"),
             preferencesObject.without("version").text(), preferencesObject.without("token").text(),
             preferencesObject.without("filenameLabelsEnabled").text(),
             preferencesObject.with("filenameLabelsEnabled", "1").text(),
             preferencesObject.with("filenameLabelsEnabled", "null").text(),
             preferencesObject.with("version", R"("1")").text(), preferencesObject.text() + '}' })
        EXPECT_EQ(preferencesFrom(contents), std::nullopt) << contents;
}

TEST(ReadPreferences, YieldsNothingWithoutAFile)
{
    const BridgeDirectory bridge;
    EXPECT_EQ(readPreferences(bridge), std::nullopt);
    EXPECT_EQ(support::namesIn(bridge.path()).size(), 0U);
}

TEST(ReadPreferences, YieldsNothingForWhatIsNoRegularFile)
{
    const BridgeDirectory directory;
    support::makeDirectory(directory / "preferences.json");
    EXPECT_EQ(readPreferences(directory), std::nullopt);

    const BridgeDirectory link;
    support::writeFile(link / "elsewhere.json", preferencesObject.text());
    support::makeSymbolicLink("elsewhere.json", link / "preferences.json");
    EXPECT_EQ(readPreferences(link), std::nullopt);

    const BridgeDirectory fifo;
    support::makeFIFO(fifo / "preferences.json");
    EXPECT_EQ(readPreferences(fifo), std::nullopt);
}

TEST(ReadPreferences, SwallowsTheFileSystemsError)
{
    for (const auto operation : { support::FileOperation::openForReading,
             support::FileOperation::attributesOfOpenFile, support::FileOperation::read }) {
        BridgeDirectory bridge;
        support::writePreferences(bridge.path(), support::preferences(true));
        bridge.fileSystem.failOperation(operation, EIO);
        EXPECT_EQ(readPreferences(bridge), std::nullopt);
    }
}

TEST(ReadPreferences, YieldsNothingForAFileThatMayNotBeRead)
{
    support::asOrdinaryUser([] {
        const BridgeDirectory bridge;
        support::writePreferences(bridge.path(), support::preferences(true));
        EXPECT_EQ(readPreferences(bridge), true);
        support::setPermissions(bridge / "preferences.json", 0);
        EXPECT_EQ(readPreferences(bridge), std::nullopt);
    });
}

TEST(ReadPreferences, ReadsTheFileAnewEveryTime)
{
    const BridgeDirectory bridge;
    support::writePreferences(bridge.path(), support::preferences(true));
    EXPECT_EQ(readPreferences(bridge), true);
    support::writePreferences(bridge.path(), support::preferences(false));
    EXPECT_EQ(readPreferences(bridge), false);
    support::writePreferences(bridge.path(), support::preferences(true, support::otherToken));
    EXPECT_EQ(readPreferences(bridge), std::nullopt);
}

} // namespace bridge
