// Which commands are delivered, deleted or kept, by what they say.

#include "tests/bridge/command_files.h"

#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace bridge {

namespace {

using Envelope = BrowserBridgeCommandEnvelope;

enum class Fate { delivered, deleted, kept };

// What becomes of the one command in the directory.
Fate fateOf(const Envelope& envelope, const Scan& scan = {})
{
    const BridgeDirectory bridge;
    support::writeCommand(bridge.path(), "x.command", envelope);
    const auto commands = consume(bridge, scan);
    if (commandFiles(bridge) == Names { "x.command" }) {
        EXPECT_TRUE(commands.empty());
        return Fate::kept;
    }
    EXPECT_EQ(commandFiles(bridge), Names {});
    if (commands.empty())
        return Fate::deleted;
    EXPECT_EQ(commands, std::vector { envelope.command });
    return Fate::delivered;
}

Envelope commandAged(double seconds)
{
    Envelope envelope = support::command();
    envelope.command.createdAt = support::after(support::sampleTime, -seconds);
    return envelope;
}

Envelope commandOfSession(const std::optional<base::UUID>& session)
{
    Envelope envelope = support::command();
    envelope.command.sessionIdentifier = session;
    return envelope;
}

} // namespace

TEST(ConsumeCommands, DeliversASoundCommandOnceAndDeletesIt)
{
    const BridgeDirectory bridge;
    support::writeCommand(bridge.path(), "x.command");
    EXPECT_EQ(consume(bridge), std::vector { support::command().command });
    EXPECT_EQ(commandFiles(bridge), Names {});
    EXPECT_EQ(consume(bridge), std::vector<BrowserBridgeCommand> {});
}

TEST(ConsumeCommands, PassesOnEveryField)
{
    Envelope envelope = support::command();
    envelope.command.type = BrowserBridgeCommandType::setFilenameLabelsEnabled;
    envelope.command.sessionIdentifier = support::sessionIdentifier();
    envelope.command.filenameLabelsEnabled = false;
    envelope.command.createdAt = support::after(support::sampleTime, -0.125);
    EXPECT_EQ(fateOf(envelope), Fate::delivered);
}

TEST(ConsumeCommands, DeliversACommandWithoutTheFieldsOfItsType)
{
    Envelope envelope = support::command();
    envelope.command.pdfIdentifier.reset();
    EXPECT_EQ(fateOf(envelope), Fate::delivered);
    envelope.command.type = BrowserBridgeCommandType::setFilenameLabelsEnabled;
    EXPECT_EQ(fateOf(envelope), Fate::delivered);
}

TEST(ConsumeCommands, DeletesAnyOtherVersion)
{
    for (const std::int64_t version : { 0, 2, -1 }) {
        Envelope envelope = support::command();
        envelope.version = version;
        EXPECT_EQ(fateOf(envelope), Fate::deleted) << version;
    }
}

TEST(ConsumeCommands, DeletesAnyOtherToken)
{
    std::string otherCase(support::validToken);
    otherCase[10] = 'A'; // where the token has an "a"
    for (const std::string& token : { otherCase, std::string(support::otherToken), std::string(),
             std::string(support::validToken) + '\n' }) {
        Envelope envelope = support::command();
        envelope.token = token;
        EXPECT_EQ(fateOf(envelope), Fate::deleted) << token;
    }
}

TEST(ConsumeCommands, DeliversACommandAgedExactlySixtySeconds)
{
    EXPECT_EQ(fateOf(commandAged(60.0)), Fate::delivered);
}

TEST(ConsumeCommands, DeletesAnOlderCommand)
{
    EXPECT_EQ(fateOf(commandAged(60.001)), Fate::deleted);
    EXPECT_EQ(fateOf(commandAged(1e9)), Fate::deleted);
    EXPECT_EQ(fateOf(commandAged(1e300)), Fate::deleted);
}

TEST(ConsumeCommands, DeliversACommandStampedExactlyTwoSecondsAhead)
{
    EXPECT_EQ(fateOf(commandAged(-2.0)), Fate::delivered);
}

TEST(ConsumeCommands, DeletesACommandStampedFurtherAhead)
{
    EXPECT_EQ(fateOf(commandAged(-2.001)), Fate::deleted);
    EXPECT_EQ(fateOf(commandAged(-2.5)), Fate::deleted);
    EXPECT_EQ(fateOf(commandAged(-1e300)), Fate::deleted);
}

TEST(ConsumeCommands, DeletesACommandWhoseAgeIsNoNumber)
{
    EXPECT_EQ(fateOf(support::command(), { .now = { std::numeric_limits<double>::quiet_NaN() } }),
        Fate::deleted);
}

TEST(ConsumeCommands, TakesTheMaximumAgeFromItsCaller)
{
    EXPECT_EQ(fateOf(commandAged(5.0), { .maximumAge = 5.0 }), Fate::delivered);
    EXPECT_EQ(fateOf(commandAged(5.5), { .maximumAge = 5.0 }), Fate::deleted);
    EXPECT_EQ(fateOf(commandAged(90.0), { .maximumAge = 120.0 }), Fate::delivered);
}

TEST(ConsumeCommands, KeepsACommandForAnotherBrowser)
{
    for (const char* const browser :
        { "org.mozilla.firefox", "com.google.chrome", "com.google.Chrome ", "" })
        EXPECT_EQ(fateOf(support::command(browser)), Fate::kept) << browser;
}

TEST(ConsumeCommands, DeliversToTheBrowserThatIsNamedWhicheverItIs)
{
    EXPECT_EQ(fateOf(support::command(support::firefox), { .browser = support::firefox }),
        Fate::delivered);
    EXPECT_EQ(fateOf(support::command(), { .browser = support::firefox }), Fate::kept);
}

TEST(ConsumeCommands, KeepsACommandForAnotherBrowserThroughAnyNumberOfScansUntilItIsStale)
{
    const BridgeDirectory bridge;
    support::writeCommand(bridge.path(), "x.command", support::command(support::firefox));
    for (const double age : { 0.0, 1.0, 30.0, 59.5, 60.0 }) {
        EXPECT_TRUE(consume(bridge, { .now = support::after(support::sampleTime, age) }).empty());
        EXPECT_EQ(commandFiles(bridge), Names { "x.command" }) << age;
    }
    EXPECT_TRUE(consume(bridge, { .now = support::after(support::sampleTime, 60.5) }).empty());
    EXPECT_EQ(commandFiles(bridge), Names {});
}

TEST(ConsumeCommands, DeliversACommandOfTheRunningSession)
{
    EXPECT_EQ(fateOf(commandOfSession(support::sessionIdentifier())), Fate::delivered);
}

TEST(ConsumeCommands, DeletesACommandOfAnotherSession)
{
    EXPECT_EQ(fateOf(commandOfSession(support::otherSessionIdentifier())), Fate::deleted);
}

TEST(ConsumeCommands, DeletesACommandOfASessionWhileNoneRuns)
{
    EXPECT_EQ(fateOf(commandOfSession(support::sessionIdentifier()), { .session = std::nullopt }),
        Fate::deleted);
}

TEST(ConsumeCommands, DeliversACommandWithoutSessionWhateverRuns)
{
    EXPECT_EQ(fateOf(commandOfSession(std::nullopt)), Fate::delivered);
    EXPECT_EQ(fateOf(commandOfSession(std::nullopt), { .session = std::nullopt }), Fate::delivered);
}

TEST(ConsumeCommands, ComparesSessionsAsIdentifiersAndNotAsTexts)
{
    const BridgeDirectory bridge;
    std::string text = *encode(commandOfSession(support::sessionIdentifier()));
    const std::string upperCase = base::upperCaseText(support::sessionIdentifier());
    text.replace(
        text.find(upperCase), upperCase.size(), base::lowerCaseText(support::sessionIdentifier()));
    support::writeCommand(bridge.path(), "x.command", text);
    EXPECT_EQ(consume(bridge).size(), 1U);
}

TEST(ConsumeCommands, ChecksVersionTokenAndAgeBeforeTheBrowserAndThatBeforeTheSession)
{
    struct Breach {
        const char* name;
        std::function<void(Envelope&)> apply;
        Fate fate;
    };
    // In the order of the checks.
    const std::vector<Breach> breaches {
        { "version", [](Envelope& envelope) { envelope.version = 2; }, Fate::deleted },
        { "token", [](Envelope& envelope) { envelope.token = support::otherToken; },
            Fate::deleted },
        { "age", [](Envelope& envelope) { envelope.command.createdAt = { 0 }; }, Fate::deleted },
        { "browser",
            [](Envelope& envelope) { envelope.command.browserBundleIdentifier = support::firefox; },
            Fate::kept },
        { "session",
            [](Envelope& envelope) {
                envelope.command.sessionIdentifier = support::otherSessionIdentifier();
            },
            Fate::deleted },
    };
    for (auto first = breaches.begin(); first != breaches.end(); ++first) {
        Envelope broken = support::command();
        first->apply(broken);
        EXPECT_EQ(fateOf(broken), first->fate) << first->name;
        for (auto second = std::next(first); second != breaches.end(); ++second) {
            Envelope brokenTwice = broken;
            second->apply(brokenTwice);
            EXPECT_EQ(fateOf(brokenTwice), first->fate)
                << first->name << " before " << second->name;
        }
    }
}

TEST(ConsumeCommands, YieldsAcceptedCommandsInTheOrderOfTheirNames)
{
    const BridgeDirectory bridge;
    support::writeCommand(bridge.path(), "a.command", numberedCommand(5));
    support::writeCommand(bridge.path(), "9.command", numberedCommand(2));
    support::writeCommand(bridge.path(), "B.command", numberedCommand(4));
    support::writeCommand(bridge.path(), "10.command", numberedCommand(1));
    support::writeCommand(bridge.path(), "A.command", numberedCommand(3));
    support::writeCommand(bridge.path(), "\u00E9.command", numberedCommand(6));
    EXPECT_EQ(consumedNumbers(bridge), (Numbers { 1, 2, 3, 4, 5, 6 }));
    EXPECT_EQ(commandFiles(bridge), Names {});
}

TEST(ConsumeCommands, SortsByTheWholeNameWithItsExtension)
{
    const BridgeDirectory bridge;
    support::writeCommand(bridge.path(), "a.command", numberedCommand(2));
    support::writeCommand(bridge.path(), "a-b.command", numberedCommand(1)); // "-" sorts before "."
    support::writeCommand(bridge.path(), "a0.command", numberedCommand(3));
    EXPECT_EQ(consumedNumbers(bridge), (Numbers { 1, 2, 3 }));
}

TEST(ConsumeCommands, OrdersManyFilesHoweverTheyWereMade)
{
    const BridgeDirectory bridge;
    Numbers expected;
    for (int number = 0; number < 200; ++number)
        expected.push_back(number);
    for (int step = 0; step < 200; ++step) {
        const int number = (step * 77) % 200; // every number once, in disorder
        support::writeCommand(
            bridge.path(), std::to_string(1000 + number) + ".command", numberedCommand(number));
    }
    EXPECT_EQ(consumedNumbers(bridge), expected);
}

TEST(ConsumeCommands, DecidesAboutEachFileByItself)
{
    const BridgeDirectory bridge;
    const Envelope stale = commandAged(61.0);
    Envelope foreign = support::command();
    foreign.token = support::otherToken;
    support::writeCommand(bridge.path(), "1.command", "no JSON");
    support::writeCommand(bridge.path(), "2.command", numberedCommand(2));
    support::writeCommand(bridge.path(), "3.command", stale);
    support::writeCommand(bridge.path(), "4.command", numberedCommand(4, support::firefox));
    support::writeCommand(bridge.path(), "5.command", foreign);
    support::writeCommand(bridge.path(), "6.command", numberedCommand(6));
    EXPECT_EQ(consumedNumbers(bridge), (Numbers { 2, 6 }));
    EXPECT_EQ(commandFiles(bridge), Names { "4.command" });
    EXPECT_EQ(consumedNumbers(bridge, { .browser = support::firefox }), Numbers { 4 });
    EXPECT_EQ(commandFiles(bridge), Names {});
}

} // namespace bridge
