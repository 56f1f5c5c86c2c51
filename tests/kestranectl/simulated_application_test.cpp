// What the played application writes, when it refuses to, and what it leaves behind.

#include "kestranectl/simulated_application.h"
#include "tests/kestranectl/bridge_fixture.h"
#include "tests/support/failing_file_system.h"

#include <algorithm>
#include <cerrno>
#include <chrono>

#include <unistd.h>

namespace kestranectl {
namespace {

using std::chrono::milliseconds;
using Names = std::vector<std::string>;

constexpr std::int32_t ownProcess = 4242;

std::string sentence(const SimulatedApplication::Outcome& outcome)
{
    return outcome ? "done" : outcome.error();
}

class SimulatedApplicationTest : public BridgeFixture {
protected:
    void SetUp() override { runningProcess = ownProcess; }

    SimulatedApplication application(const SimulateOptions& options = {}) const
    {
        return SimulatedApplication(options, ownProcess, environment);
    }

    [[nodiscard]] bridge::BrowserBridgeState state() const
    {
        const auto read = environment.store.readState(environment.fileSystem);
        EXPECT_TRUE(read) << "there is no state";
        return read.value_or(bridge::BrowserBridgeState {});
    }

    // As a host reads it.
    [[nodiscard]] std::optional<bool> areLabelsEnabled() const
    {
        const auto token = environment.store.readToken(environment.fileSystem);
        EXPECT_TRUE(token);
        return environment.store.readPreferences(token.value_or(""), environment.fileSystem);
    }

    // What a host delivers to the browser.
    [[nodiscard]] std::vector<bridge::BrowserBridgeCommand> commands(std::string_view browser) const
    {
        const auto token = environment.store.readToken(environment.fileSystem);
        return environment.store.consumeCommands(token.value_or(""), browser,
            state().sessionIdentifier, now, environment.fileSystem, 60);
    }
};

TEST_F(SimulatedApplicationTest, IsAliveForHosts)
{
    auto played = application();
    ASSERT_EQ(sentence(played.start()), "done");
    const auto live = host::liveAppState(now, environment);
    ASSERT_TRUE(live);
    EXPECT_EQ(live->appProcessIdentifier, ownProcess);
    EXPECT_TRUE(live->sessionRunning);
    EXPECT_TRUE(live->sessionIdentifier);
    EXPECT_FALSE(live->browserTrackingPaused);
    EXPECT_EQ(live->frontmostBrowserBundleIdentifier, "com.google.Chrome");
    EXPECT_EQ(live->updatedAt, now);
    EXPECT_EQ(areLabelsEnabled(), false);
}

TEST_F(SimulatedApplicationTest, BeginsAsTheOptionsSay)
{
    auto played = application({ .sessionRunning = false,
        .trackingPaused = true,
        .frontmostBrowser = "",
        .filenameLabelsEnabled = true });
    ASSERT_EQ(sentence(played.start()), "done");
    EXPECT_EQ(state(),
        (bridge::BrowserBridgeState {
            .appProcessIdentifier = ownProcess, .browserTrackingPaused = true, .updatedAt = now }));
    EXPECT_EQ(areLabelsEnabled(), true);
}

TEST_F(SimulatedApplicationTest, KeepsItsFilesPrivate)
{
    const support::ScopedUmask none(0);
    auto played = application();
    ASSERT_EQ(sentence(played.start()), "done");
    ASSERT_EQ(sentence(played.obey(SendLabels { true })), "done");
    EXPECT_EQ(support::permissionsOf(root), 0700U);
    EXPECT_EQ(support::permissionsOf(path("Commands")), 0700U);
    for (const char* const name : { "bridge-token", "state.json", "preferences.json" })
        EXPECT_EQ(support::permissionsOf(path(name)), 0600U) << name;
    EXPECT_EQ(support::permissionsOf(path("Commands/" + namesIn("Commands").at(0))), 0600U);
}

TEST_F(SimulatedApplicationTest, LeavesADirectoryThatIsThereAsItIs)
{
    support::makeDirectory(root, 0755);
    auto played = application();
    ASSERT_EQ(sentence(played.start()), "done");
    EXPECT_EQ(support::permissionsOf(root), 0755U);
}

TEST_F(SimulatedApplicationTest, MakesATokenOfItsOwn)
{
    std::string first;
    for (int round = 0; round < 2; ++round) {
        auto played = application();
        ASSERT_EQ(sentence(played.start()), "done");
        const std::string token = support::readFile(path("bridge-token"));
        EXPECT_EQ(token.size(), 64U);
        EXPECT_EQ(token.find_first_not_of("0123456789abcdef"), std::string::npos) << token;
        EXPECT_NE(token, first);
        first = token;
        EXPECT_TRUE(played.leave().empty());
    }
}

TEST_F(SimulatedApplicationTest, KeepsATokenThatIsThere)
{
    support::writeToken(root);
    auto played = application();
    ASSERT_EQ(sentence(played.start()), "done");
    EXPECT_EQ(areLabelsEnabled(), false);
    EXPECT_TRUE(played.leave().empty());
    EXPECT_EQ(support::readFile(path("bridge-token")), support::validToken);
}

TEST_F(SimulatedApplicationTest, RefusesATokenThatCannotBeUsed)
{
    support::writeToken(root, "too short");
    auto played = application();
    EXPECT_EQ(sentence(played.start()),
        path("bridge-token")
            + " is there but is no readable file of 64 hexadecimal digits. Remove it, so that a "
              "new one can be made.");
    EXPECT_TRUE(played.leave().empty());
    EXPECT_EQ(support::namesIn(root), Names { "bridge-token" });
}

TEST_F(SimulatedApplicationTest, RefusesABrowserThatCannotBeOne)
{
    auto played = application({ .frontmostBrowser = std::string(256, 'a') });
    EXPECT_TRUE(sentence(played.start()).starts_with("The browser in front must have"));
    EXPECT_FALSE(support::exists(root));
}

TEST_F(SimulatedApplicationTest, RefusesToPlayBesideAnApplicationThatRuns)
{
    support::writeState(root); // of process 4711
    runningProcess = 4711;
    auto played = application();
    EXPECT_EQ(sentence(played.start()),
        "An application runs already, as process 4711. End it, or play a second one beside it with "
        "--force.");
    EXPECT_TRUE(played.leave().empty());
    EXPECT_EQ(support::namesIn(root), Names { "state.json" });
    EXPECT_EQ(state(), support::validState());
}

TEST_F(SimulatedApplicationTest, PlaysBesideAnApplicationThatRunsIfForced)
{
    support::writeState(root);
    runningProcess = 4711;
    auto played = application({ .force = true });
    EXPECT_EQ(sentence(played.start()), "done");
    EXPECT_EQ(state().appProcessIdentifier, ownProcess);
}

TEST_F(SimulatedApplicationTest, TakesThePlaceOfAnApplicationThatIsGone)
{
    support::writeState(root);
    auto played = application();
    EXPECT_EQ(sentence(played.start()), "done");
    EXPECT_EQ(state().appProcessIdentifier, ownProcess);
}

TEST_F(SimulatedApplicationTest, GivesWayToAnApplicationThatBegins)
{
    auto played = application();
    ASSERT_EQ(sentence(played.start()), "done");
    runningProcess = 4711;
    support::writeState(root);
    EXPECT_EQ(sentence(played.writeState()),
        "An application runs already, as process 4711. It has taken over; nothing is played any "
        "more.");
    EXPECT_TRUE(played.leave().empty());
    EXPECT_EQ(support::namesIn(root), (Names { "bridge-token", "preferences.json", "state.json" }));
    EXPECT_EQ(state(), support::validState());
}

TEST_F(SimulatedApplicationTest, WritesItsStateAgainEveryThreeSeconds)
{
    auto played = application();
    ASSERT_EQ(sentence(played.start()), "done");
    EXPECT_EQ(played.untilNextState(), milliseconds(3000));
    now = support::after(support::sampleTime, 0.5);
    EXPECT_EQ(played.untilNextState(), milliseconds(2500));
    now = support::after(support::sampleTime, 2.9999);
    EXPECT_EQ(played.untilNextState(), milliseconds(1));
    now = support::after(support::sampleTime, 3);
    EXPECT_EQ(played.untilNextState(), milliseconds(0));
    const auto before = state();
    ASSERT_EQ(sentence(played.writeState()), "done");
    EXPECT_EQ(state().updatedAt, now);
    EXPECT_EQ(state().sessionIdentifier, before.sessionIdentifier);
    EXPECT_EQ(played.untilNextState(), milliseconds(3000));
}

TEST_F(SimulatedApplicationTest, WritesItsStateAtOnceWhenTheClockWasSet)
{
    auto played = application();
    ASSERT_EQ(sentence(played.start()), "done");
    now = support::after(support::sampleTime, -0.001);
    EXPECT_EQ(played.untilNextState(), milliseconds(0));
    now = support::after(support::sampleTime, 1e9);
    EXPECT_EQ(played.untilNextState(), milliseconds(0));
}

TEST_F(SimulatedApplicationTest, BeginsANewSessionEachTime)
{
    auto played = application();
    ASSERT_EQ(sentence(played.start()), "done");
    const auto first = state().sessionIdentifier;
    ASSERT_EQ(sentence(played.obey(SetSession { true })), "done");
    EXPECT_EQ(state().sessionIdentifier, first) << "it runs already";
    ASSERT_EQ(sentence(played.obey(SetSession { false })), "done");
    EXPECT_FALSE(state().sessionRunning);
    EXPECT_FALSE(state().sessionIdentifier);
    ASSERT_EQ(sentence(played.obey(SetSession { true })), "done");
    EXPECT_TRUE(state().sessionRunning);
    EXPECT_TRUE(state().sessionIdentifier);
    EXPECT_NE(state().sessionIdentifier, first);
}

TEST_F(SimulatedApplicationTest, DoesAsItIsTold)
{
    auto played = application();
    ASSERT_EQ(sentence(played.start()), "done");
    ASSERT_EQ(sentence(played.obey(SetPause { true })), "done");
    EXPECT_TRUE(state().browserTrackingPaused);
    ASSERT_EQ(sentence(played.obey(SetPause { false })), "done");
    EXPECT_FALSE(state().browserTrackingPaused);
    ASSERT_EQ(sentence(played.obey(SetFrontmostBrowser { "org.mozilla.firefox" })), "done");
    EXPECT_EQ(state().frontmostBrowserBundleIdentifier, "org.mozilla.firefox");
    ASSERT_EQ(sentence(played.obey(SetFrontmostBrowser {})), "done");
    EXPECT_EQ(state().frontmostBrowserBundleIdentifier, std::nullopt);
    ASSERT_EQ(sentence(played.obey(SetLabels { true })), "done");
    EXPECT_EQ(areLabelsEnabled(), true);
}

TEST_F(SimulatedApplicationTest, WritesAStateWithinItsLimitWhateverIsInFront)
{
    auto played = application();
    ASSERT_EQ(sentence(played.start()), "done");
    const std::string worst(255, '"');
    ASSERT_TRUE(isUsableIdentifier(worst));
    ASSERT_EQ(sentence(played.obey(SetFrontmostBrowser { worst })), "done");
    EXPECT_EQ(state().frontmostBrowserBundleIdentifier, worst);
}

TEST_F(SimulatedApplicationTest, SendsCommandsThatHostsDeliver)
{
    auto played = application();
    ASSERT_EQ(sentence(played.start()), "done");
    const auto pdf = support::uuid("9B2D6E1C-7C43-4C25-9D5E-0F6A1B2C3D4E");
    ASSERT_EQ(sentence(played.obey(ShowPDF { pdf })), "done");
    auto delivered = commands(support::chrome);
    ASSERT_EQ(delivered.size(), 1U);
    EXPECT_EQ(delivered[0].type, bridge::BrowserBridgeCommandType::showLocalPDF);
    EXPECT_EQ(delivered[0].pdfIdentifier, pdf);
    EXPECT_EQ(delivered[0].sessionIdentifier, state().sessionIdentifier);
    EXPECT_EQ(delivered[0].createdAt, now);

    ASSERT_EQ(sentence(played.obey(SetFrontmostBrowser { "org.mozilla.firefox" })), "done");
    ASSERT_EQ(sentence(played.obey(SendLabels { true })), "done");
    EXPECT_TRUE(commands(support::chrome).empty());
    delivered = commands(support::firefox);
    ASSERT_EQ(delivered.size(), 1U);
    EXPECT_EQ(delivered[0].type, bridge::BrowserBridgeCommandType::setFilenameLabelsEnabled);
    EXPECT_EQ(delivered[0].filenameLabelsEnabled, true);
    EXPECT_EQ(delivered[0].sessionIdentifier, std::nullopt);
    EXPECT_EQ(areLabelsEnabled(), false) << "a command is not the preference";
}

TEST_F(SimulatedApplicationTest, SendsToChromeWhileNoBrowserIsInFront)
{
    auto played = application({ .frontmostBrowser = "" });
    ASSERT_EQ(sentence(played.start()), "done");
    ASSERT_EQ(sentence(played.obey(SendLabels { false })), "done");
    EXPECT_EQ(commands(support::chrome).size(), 1U);
}

TEST_F(SimulatedApplicationTest, SendsOneCommandAtATimeToABrowser)
{
    auto played = application();
    ASSERT_EQ(sentence(played.start()), "done");
    ASSERT_EQ(sentence(played.obey(SendLabels { true })), "done");
    EXPECT_EQ(sentence(played.obey(SendLabels { false })),
        "The command before this one was not taken yet by com.google.Chrome. Its extension takes "
        "it with the next answer that it gets.");
    EXPECT_EQ(namesIn("Commands").size(), 1U);
    ASSERT_EQ(sentence(played.obey(SetFrontmostBrowser { "org.mozilla.firefox" })), "done");
    EXPECT_EQ(sentence(played.obey(SendLabels { false })), "done") << "another browser";
    ASSERT_EQ(commands(support::chrome).size(), 1U);
    ASSERT_EQ(sentence(played.obey(SetFrontmostBrowser { "com.google.Chrome" })), "done");
    EXPECT_EQ(sentence(played.obey(SendLabels { false })), "done") << "the first one was taken";
}

TEST_F(SimulatedApplicationTest, DoesNotWaitForCommandsThatNobodyTakesAnyMore)
{
    auto played = application();
    ASSERT_EQ(sentence(played.start()), "done");
    ASSERT_EQ(sentence(played.obey(SendLabels { true })), "done");
    now = support::after(support::sampleTime, 60);
    EXPECT_NE(sentence(played.obey(SendLabels { false })), "done");
    now = support::after(support::sampleTime, 60.5);
    EXPECT_EQ(sentence(played.obey(SendLabels { false })), "done");
    ASSERT_EQ(sentence(played.writeState()), "done");
    EXPECT_EQ(commands(support::chrome).size(), 1U);
}

TEST_F(SimulatedApplicationTest, RemovesWhatItWrote)
{
    auto played = application();
    ASSERT_EQ(sentence(played.start()), "done");
    ASSERT_EQ(sentence(played.obey(SendLabels { true })), "done");
    EXPECT_TRUE(played.leave().empty());
    EXPECT_EQ(support::namesIn(root), Names { "Commands" });
    EXPECT_EQ(namesIn("Commands"), Names {});
    EXPECT_FALSE(host::liveAppState(now, environment));
}

TEST_F(SimulatedApplicationTest, RemovesWhatItWroteAlsoWhenNobodyHasItLeave)
{
    {
        auto played = application();
        ASSERT_EQ(sentence(played.start()), "done");
        EXPECT_EQ(support::namesIn(root).size(), 3U);
    }
    EXPECT_EQ(support::namesIn(root), Names {});
}

TEST_F(SimulatedApplicationTest, LeavesWhatWasThereBefore)
{
    support::writeToken(root);
    support::writePreferences(root, support::preferences(true));
    support::writeCommand(root, "1.command");
    auto played = application();
    ASSERT_EQ(sentence(played.start()), "done");
    EXPECT_EQ(areLabelsEnabled(), false);
    EXPECT_TRUE(played.leave().empty());
    EXPECT_EQ(support::namesIn(root), (Names { "Commands", "bridge-token", "preferences.json" }));
    EXPECT_EQ(namesIn("Commands"), Names { "1.command" });
}

TEST_F(SimulatedApplicationTest, LeavesATokenThatSomebodyElseHasPutThere)
{
    auto played = application();
    ASSERT_EQ(sentence(played.start()), "done");
    support::writeToken(root, support::otherToken);
    EXPECT_TRUE(played.leave().empty());
    EXPECT_EQ(support::readFile(path("bridge-token")), support::otherToken);
}

TEST_F(SimulatedApplicationTest, SaysWhatItCannotRemove)
{
    support::FailingFileSystem failing;
    const host::HostEnvironment onIt { environment.store, failing, environment.services };
    SimulatedApplication played({}, ownProcess, onIt);
    ASSERT_EQ(sentence(played.start()), "done");
    failing.failOperation(support::FileOperation::remove, EACCES);
    EXPECT_EQ(played.leave(),
        (Names { path("state.json") + " could not be removed: Permission denied",
            path("preferences.json") + " could not be removed: Permission denied",
            path("bridge-token") + " could not be removed: Permission denied" }));
    EXPECT_EQ(played.leave(), Names {}) << "said once";
}

TEST_F(SimulatedApplicationTest, LeavesNothingWhicheverCallFailsAtTheStart)
{
    bool succeeds = false;
    for (int number = 1; !succeeds; ++number) {
        ASSERT_LT(number, 100);
        support::FailingFileSystem failing;
        const host::HostEnvironment onIt { environment.store, failing, environment.services };
        SimulatedApplication played({}, ownProcess, onIt);
        failing.failCall(number, EIO);
        const auto started = played.start();
        succeeds = started.has_value() && static_cast<int>(failing.calls().size()) < number;
        if (!started) {
            EXPECT_NE(started.error().find("Input/output error"), std::string::npos)
                << started.error();
        }
        failing.failCall(0, 0);
        EXPECT_EQ(played.leave(), Names {}) << number;
        EXPECT_EQ(support::namesIn(root), Names {}) << number;
        EXPECT_EQ(failing.openFileCount(), 0) << number;
    }
}

} // namespace
} // namespace kestranectl
