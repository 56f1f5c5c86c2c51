#include "tests/end_to_end/end_to_end_test.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace {

using namespace end_to_end;

constexpr const char* bridgeNotReady
    = "Kestrane is not running or its browser bridge is not ready.";

const object ping = request("readinessPing", { { "extensionVersion", "1.0.0" } });

// Puts something unfit in the place of a file; what the file held lies in a sound file elsewhere.
struct UnfitItem {
    std::string name;
    std::function<void(const std::string& path, const std::string& soundFile)> put;

    friend std::ostream& operator<<(std::ostream& stream, const UnfitItem& item)
    {
        return stream << item.name;
    }
};

std::vector<UnfitItem> unfitItems()
{
    return { { "Missing", [](const auto&, const auto&) {} },
        { "Empty", [](const auto& path, const auto&) { support::writeFile(path, ""); } },
        { "Directory", [](const auto& path, const auto&) { support::makeDirectory(path); } },
        { "LinkToSoundFile",
            [](const auto& path, const auto& sound) { support::makeSymbolicLink(sound, path); } },
        { "DanglingLink",
            [](const auto& path, const auto&) { support::makeSymbolicLink("nowhere", path); } },
        { "LinkToItself",
            [](const auto& path, const auto&) { support::makeSymbolicLink(path, path); } },
        { "FIFO", [](const auto& path, const auto&) { support::makeFIFO(path); } },
        { "Socket", [](const auto& path, const auto&) { support::makeSocket(path); } },
        { "NotJSON", [](const auto& path, const auto&) { support::writeFile(path, "{"); } },
        { "Binary", [](const auto& path, const auto&) {
             support::writeFile(path, std::string(64, '\xFF'));
         } } };
}

class UnfitFile : public EndToEnd, public testing::WithParamInterface<UnfitItem> {
protected:
    void putInPlaceOf(const std::string& name)
    {
        const std::string path = pathOf(name);
        const std::string sound = directory() / "sound";
        std::filesystem::rename(path, sound);
        GetParam().put(path, sound);
    }
};

TEST_P(UnfitFile, TokenMakesTheBridgeNotReady)
{
    leavePreferences(true);
    leaveCommand("1.command");
    putInPlaceOf("bridge-token");
    EXPECT_EQ(ask(activity({}, { { "extensionVersion", "1.0" } })),
        response({ { "error", bridgeNotReady }, { "appRunning", true }, { "sessionRunning", true },
            { "browserFrontmost", true },
            { "sessionIdentifier", "5e551011-0000-4000-8000-00000000000a" } }));
    EXPECT_EQ(ask(ping).at("accepted"), true);
    expectEnd();
    EXPECT_EQ(namesMadeByHost(), std::vector<std::string> {});
    EXPECT_TRUE(support::exists(pathOf("Commands/1.command")));
}

TEST_P(UnfitFile, StateMeansThatTheApplicationDoesNotRun)
{
    putInPlaceOf("state.json");
    EXPECT_EQ(ask(activity({}, { { "extensionVersion", "1.0" } })),
        response({ { "error", "Kestrane is not running." } }));
    EXPECT_EQ(ask(ping), response({ { "accepted", true } }));
    expectEnd();
    EXPECT_EQ(namesMadeByHost(), std::vector<std::string> {});
}

TEST_P(UnfitFile, PreferencesMeanThatLabelsAreOff)
{
    leavePreferences(true);
    EXPECT_EQ(ask(ping).at("filenameLabelsEnabled"), true);
    putInPlaceOf("preferences.json");
    EXPECT_EQ(ask(ping).at("filenameLabelsEnabled"), false);
    EXPECT_EQ(ask(activity()).at("accepted"), true);
}

TEST_P(UnfitFile, CommandIsDeletedUnread)
{
    leaveCommand("1.command");
    putInPlaceOf("Commands/1.command");
    const object answer = ask(ping);
    EXPECT_EQ(answer.at("accepted"), true);
    EXPECT_FALSE(answer.contains("command"));
    EXPECT_EQ(support::namesIn(pathOf("Commands")), std::vector<std::string> {});
    EXPECT_TRUE(support::exists(directory() / "sound")); // what a link led to
}

INSTANTIATE_TEST_SUITE_P(OfEveryKind, UnfitFile, testing::ValuesIn(unfitItems()),
    [](const auto& testCase) { return testCase.param.name; });

class FileLimits : public EndToEnd {
protected:
    // Rewrites a file of the application's at exactly this size.
    void padFile(const std::string& name, std::size_t size)
    {
        support::writeFile(pathOf(name), paddedTo(size, parse(support::readFile(pathOf(name)))));
    }
};

TEST_F(FileLimits, StateOf4096BytesIsReadAndOfOneMoreIsNot)
{
    padFile("state.json", 4096);
    EXPECT_EQ(ask(ping).at("appRunning"), true);
    leaveState(liveState());
    padFile("state.json", 4097);
    EXPECT_EQ(ask(ping).at("appRunning"), false);
}

TEST_F(FileLimits, PreferencesOf4096BytesAreReadAndOfOneMoreAreNot)
{
    leavePreferences(true);
    padFile("preferences.json", 4096);
    EXPECT_EQ(ask(ping).at("filenameLabelsEnabled"), true);
    leavePreferences(true);
    padFile("preferences.json", 4097);
    EXPECT_EQ(ask(ping).at("filenameLabelsEnabled"), false);
}

TEST_F(FileLimits, CommandOf16384BytesIsDeliveredAndOneOfOneMoreIsDeleted)
{
    leaveCommand("1.command");
    padFile("Commands/1.command", 16384);
    EXPECT_TRUE(ask(ping).contains("command"));
    leaveCommand("2.command");
    padFile("Commands/2.command", 16385);
    EXPECT_FALSE(ask(ping).contains("command"));
    EXPECT_EQ(support::namesIn(pathOf("Commands")), std::vector<std::string> {});
}

TEST_F(FileLimits, TokenIsExactlySixtyFourHexadecimalCharacters)
{
    const std::string fullWidthA = "\xEF\xBC\xA1";
    std::string longest(32, '0');
    std::string tooLong(31, '0');
    for (int count = 0; count < 32; ++count)
        longest += fullWidthA;
    for (int count = 0; count < 33; ++count)
        tooLong += fullWidthA;
    const auto isTaken = [this](const std::string& contents) {
        support::writeToken(root(), contents);
        leaveState(liveState());
        return ask(activity()).at("accepted") == true;
    };
    EXPECT_TRUE(isTaken(std::string(64, 'f')));
    EXPECT_FALSE(isTaken(std::string(63, 'f')));
    EXPECT_FALSE(isTaken(std::string(65, 'f')));
    EXPECT_FALSE(isTaken(std::string(63, 'f') + 'g'));
    EXPECT_FALSE(isTaken(std::string(64, 'f') + '\n'));
    EXPECT_EQ(longest.size(), 128U);
    EXPECT_TRUE(isTaken(longest));
    EXPECT_FALSE(isTaken(tooLong));
    EXPECT_FALSE(isTaken(std::string(129, 'f')));
}

TEST_F(FileLimits, ATokenThatIsReplacedIsTakenUpByTheNextRequest)
{
    EXPECT_EQ(ask(activity()).at("accepted"), true);
    support::writeToken(root(), support::otherToken);
    EXPECT_EQ(ask(activity()).at("accepted"), true);
    EXPECT_EQ(inbox().front().envelope.at("token"), text(support::validToken));
    EXPECT_EQ(inbox().back().envelope.at("token"), text(support::otherToken));
}

TEST_F(FileLimits, PreferencesOfAnotherTokenAreIgnored)
{
    leavePreferences(true);
    support::writeToken(root(), support::otherToken);
    EXPECT_EQ(ask(ping).at("filenameLabelsEnabled"), false);
    support::writeToken(root());
    EXPECT_EQ(ask(ping).at("filenameLabelsEnabled"), true);
}

class CommandFiles : public EndToEnd { };

TEST_F(CommandFiles, RefusedCommandsAreDeleted)
{
    leaveCommand("old.command", { { "createdAt", secondsNow() - 600 } });
    leaveCommand("future.command", { { "createdAt", secondsNow() + 600 } });
    leaveCommand("type.command", { { "type", "showlocalpdf" } });
    leaveCommand(
        "session.command", { { "sessionIdentifier", "5E551011-0000-4000-8000-00000000000B" } });
    leaveCommand("oldOfAnother.command",
        { { "createdAt", secondsNow() - 600 }, { "browserBundleIdentifier", "other" } });
    EXPECT_FALSE(ask(ping).contains("command"));
    EXPECT_EQ(support::namesIn(pathOf("Commands")), std::vector<std::string> {});
}

TEST_F(CommandFiles, OtherFilesAndOtherBrowsersCommandsStay)
{
    for (const char* const name : { "1.COMMAND", "2.command.json", ".3.command", "command" })
        leaveCommand(name);
    leaveCommand("4.command", { { "browserBundleIdentifier", "org.mozilla.firefox" } });
    for (int scans = 0; scans < 3; ++scans)
        EXPECT_FALSE(ask(ping).contains("command"));
    EXPECT_EQ(support::namesIn(pathOf("Commands")).size(), 5U);
}

TEST_F(CommandFiles, ADirectoryIsDeletedWithAllItHolds)
{
    support::writeFile(pathOf("Commands/1.command/inner/file"), "text");
    support::makeSymbolicLink(directory().path(), pathOf("Commands/1.command/inner/link"));
    EXPECT_FALSE(ask(ping).contains("command"));
    EXPECT_EQ(support::namesIn(pathOf("Commands")), std::vector<std::string> {});
    EXPECT_TRUE(support::exists(pathOf("state.json")));
}

TEST_F(CommandFiles, ACommandOfTheRunningSessionIsDelivered)
{
    const object bound { { "sessionIdentifier", "5e551011-0000-4000-8000-00000000000a" } };
    leaveCommand("1.command", bound);
    EXPECT_TRUE(ask(ping).contains("command"));

    auto noSession = liveState();
    noSession.sessionRunning = false;
    leaveState(noSession);
    leaveCommand("1.command", bound);
    EXPECT_FALSE(ask(ping).contains("command"));
    EXPECT_FALSE(support::exists(pathOf("Commands/1.command")));
}

} // namespace
