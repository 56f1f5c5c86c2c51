// What is printed from look to look.

#include "kestranectl/bridge_reporter.h"
#include "kestranectl/watch.h"
#include "tests/kestranectl/bridge_fixture.h"

#include <csignal>
#include <cstdio>

#include <unistd.h>

namespace kestranectl {
namespace {

class BridgeReporterTest : public BridgeFixture {
protected:
    std::string look()
    {
        reporter.look();
        return output();
    }

    // A line of the sample's time.
    static std::string line(const std::string& text)
    {
        return "2025-03-14T09:26:53.000Z  " + text + '\n';
    }

    BridgeReporter reporter { environment, {}, console };
};

TEST_F(BridgeReporterTest, SaysThatThereIsNoDirectoryOnce)
{
    EXPECT_EQ(look(), line("directory  gone  name=" + root));
    EXPECT_EQ(look(), "");
}

TEST_F(BridgeReporterTest, PrintsWhatIsThereAndThenWhatIsDifferent)
{
    support::writeToken(root);
    support::writePreferences(root, support::preferences(false));
    EXPECT_EQ(look(),
        line("directory  appeared  name=" + root) + line("token  appeared  name=bridge-token")
            + line("preferences  appeared  name=preferences.json filenameLabelsEnabled=false"));
    EXPECT_EQ(look(), "");
    support::writePreferences(root, support::preferences(true));
    EXPECT_EQ(
        look(), line("preferences  changed  name=preferences.json filenameLabelsEnabled=true"));
    ASSERT_EQ(::unlink(path("preferences.json").c_str()), 0);
    EXPECT_EQ(look(), line("preferences  gone  name=preferences.json"));
}

TEST_F(BridgeReporterTest, TellsEventsThatComeAndGo)
{
    support::writeToken(root);
    support::makeDirectory(path("Inbox"));
    std::ignore = look();
    leaveEvent();
    const std::string name = namesIn("Inbox").at(0);
    EXPECT_TRUE(look().starts_with(line("event  appeared  name=" + name
        + " eventType=tabActivated hostname=www.example.com resourceType=website")
            .substr(0, 60)));
    ASSERT_EQ(::unlink(path("Inbox/" + name).c_str()), 0);
    EXPECT_EQ(look(), line("event  gone  name=" + name));
}

TEST_F(BridgeReporterTest, DoesNotTellThatAStateWasWrittenAgain)
{
    support::writeState(root);
    EXPECT_NE(look(), "");
    auto state = support::validState();
    state.updatedAt = now = support::after(now, 3);
    support::writeState(root, state);
    EXPECT_EQ(look(), "");
    state.browserTrackingPaused = true;
    support::writeState(root, state);
    EXPECT_NE(look().find("state  changed"), std::string::npos);
}

TEST_F(BridgeReporterTest, TellsThatReadinessWasPublishedAgain)
{
    support::writeToken(root);
    publishReadiness();
    EXPECT_NE(look(), "");
    auto readiness = support::validReadiness();
    readiness.updatedAt = support::after(readiness.updatedAt, 1);
    publishReadiness(readiness);
    EXPECT_NE(look().find("readiness  changed"), std::string::npos);
}

TEST_F(BridgeReporterTest, NeverPrintsTokens)
{
    support::writeToken(root);
    support::writePreferences(root, support::preferences(false));
    support::writeCommand(root, "1.command");
    leaveEvent();
    publishReadiness();
    std::string all = look();
    support::writeToken(root, support::otherToken);
    all += look();
    EXPECT_NE(all.find("token  changed"), std::string::npos);
    EXPECT_NE(all.find("command  changed"), std::string::npos) << "it carries the token of before";
    EXPECT_EQ(all.find(support::validToken.substr(0, 8)), std::string::npos);
    EXPECT_EQ(all.find(support::otherToken.substr(0, 8)), std::string::npos);
}

TEST_F(BridgeReporterTest, PrintsObjectsIfAsked)
{
    BridgeReporter inJSON(environment, { .json = true }, console);
    inJSON.look();
    EXPECT_EQ(
        output(),
        R"({"time":"2025-03-14T09:26:53.000Z","subject":"directory","change":"gone","name":")" +
            [this] {
                std::string escaped;
                for (const char character : root)
                    escaped += character == '/' ? "\\/" : std::string(1, character);
                return escaped;
            }()
            + "\"}\n");
}

TEST_F(BridgeReporterTest, LeavesOutEventsThatGoIfAsked)
{
    BridgeReporter quiet(environment, { .tellsEventsThatGo = false }, console);
    support::writeFile(path("Inbox/1.event"), "");
    support::writeCommand(root, "1.command", "");
    quiet.look();
    EXPECT_NE(output().find("event  appeared"), std::string::npos);
    ASSERT_EQ(::unlink(path("Inbox/1.event").c_str()), 0);
    ASSERT_EQ(::unlink(path("Commands/1.command").c_str()), 0);
    quiet.look();
    EXPECT_EQ(output(), line("command  gone  name=1.command"));
}

class RunWatch : public BridgeFixture { };

TEST_F(RunWatch, PrintsOnceWhatIsThere)
{
    support::writeToken(root);
    EXPECT_EQ(runWatch({ .bridgeDirectory = root, .once = true }, console), ExitStatus::success);
    const std::string printed = output();
    EXPECT_NE(printed.find("  token  appeared  name=bridge-token\n"), std::string::npos) << printed;
    EXPECT_EQ(errors(), "");
}

TEST_F(RunWatch, PrintsWhatHappensUntilItIsAskedToEnd)
{
    // What is printed makes the next thing happen, so nothing here depends on time.
    const Console driving {
        .output =
            [this](std::string_view text) {
                console.output(text);
                if (text.find("directory  gone") != std::string_view::npos)
                    support::writeToken(root);
                else if (text.find("token  appeared") != std::string_view::npos)
                    support::writePreferences(root, support::preferences(true));
                else if (text.find("preferences  appeared") != std::string_view::npos)
                    leaveEvent();
                else if (text.find("event  appeared") != std::string_view::npos)
                    std::ignore = std::raise(SIGTERM);
            },
        .error = console.error,
    };
    EXPECT_EQ(runWatch({ .bridgeDirectory = root }, driving), ExitStatus::success);
    const std::string printed = output();
    EXPECT_NE(printed.find("  event  appeared  name="), std::string::npos) << printed;
    EXPECT_EQ(errors(), "");
}

} // namespace
} // namespace kestranectl
