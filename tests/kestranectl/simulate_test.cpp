// The played application as a whole: what is typed, what is printed, and how it ends.

#include "kestranectl/simulate.h"
#include "kestranectl/simulation_input.h"
#include "platform/clock.h"
#include "tests/kestranectl/bridge_fixture.h"
#include "tests/support/host_process.h"

#include <csignal>
#include <functional>
#include <tuple>

#include <unistd.h>

namespace kestranectl {
namespace {

using Then = SimulationInput::Then;

class SimulationInputTest : public BridgeFixture {
protected:
    void SetUp() override
    {
        runningProcess = 4242;
        ASSERT_TRUE(application.start());
    }

    Then type(std::string_view text)
    {
        EXPECT_EQ(::write(pipe.writeEnd.number(), text.data(), text.size()),
            static_cast<ssize_t>(text.size()));
        return input.obey(application, console);
    }

    [[nodiscard]] bool isPaused() const
    {
        const auto state = environment.store.readState(environment.fileSystem);
        return state && state->browserTrackingPaused;
    }

    support::Pipe pipe;
    SimulatedApplication application { {}, 4242, environment };
    SimulationInput input { pipe.readEnd.number() };
};

TEST_F(SimulationInputTest, IsObeyedLineByLine)
{
    EXPECT_EQ(type("pause on\nlabels on\n"), Then::goOn);
    EXPECT_TRUE(isPaused());
    EXPECT_EQ(type("pause "), Then::goOn);
    EXPECT_TRUE(isPaused());
    EXPECT_EQ(type("off\n\n  \n"), Then::goOn);
    EXPECT_FALSE(isPaused());
    EXPECT_EQ(errors(), "");
    EXPECT_EQ(input.descriptor(), pipe.readEnd.number());
}

TEST_F(SimulationInputTest, EndsEverythingAtQuit)
{
    EXPECT_EQ(type("quit\npause on\n"), Then::end);
    EXPECT_FALSE(isPaused());
}

TEST_F(SimulationInputTest, IsNoLongerWaitedForAtItsEnd)
{
    EXPECT_EQ(type("pause on"), Then::goOn);
    EXPECT_FALSE(isPaused());
    pipe.writeEnd.close();
    EXPECT_EQ(input.obey(application, console), Then::goOn);
    EXPECT_TRUE(isPaused()) << "the last line needs no line feed";
    EXPECT_EQ(input.descriptor(), std::nullopt);
}

TEST_F(SimulationInputTest, IsNoLongerWaitedForWhenItCannotBeRead)
{
    SimulationInput unreadable(pipe.writeEnd.number());
    EXPECT_EQ(unreadable.obey(application, console), Then::goOn);
    EXPECT_EQ(unreadable.descriptor(), std::nullopt);
}

TEST_F(SimulationInputTest, IsAnsweredWithWhatMakesSense)
{
    constexpr std::string_view help
        = " makes no sense here. These do: session on|off, pause on|off, "
          "front IDENTIFIER|none, labels on|off, show-pdf UUID, "
          "set-labels on|off, quit.\n";
    EXPECT_EQ(type("pause\x1b maybe\npause on\n"), Then::goOn);
    EXPECT_EQ(errors(), "\"pause\\x1B maybe\"" + std::string(help));
    EXPECT_TRUE(isPaused());
    EXPECT_EQ(type(std::string(4096, 'a')), Then::goOn);
    EXPECT_EQ(type("a\npause off\n"), Then::goOn);
    EXPECT_EQ(errors(), "A line of more than 4096 bytes" + std::string(help));
    EXPECT_FALSE(isPaused());
}

TEST_F(SimulationInputTest, SaysWhatFails)
{
    EXPECT_EQ(type("set-labels on\nset-labels off\n"), Then::goOn);
    EXPECT_TRUE(errors().starts_with("The command before this one was not taken yet"));
}

// Standard input, replaced for a scope.
class ScopedStandardInput {
public:
    explicit ScopedStandardInput(int descriptor)
        : previous_(::dup(STDIN_FILENO))
    {
        EXPECT_EQ(::dup2(descriptor, STDIN_FILENO), STDIN_FILENO);
    }
    ScopedStandardInput(const ScopedStandardInput&) = delete;
    ScopedStandardInput& operator=(const ScopedStandardInput&) = delete;
    ~ScopedStandardInput()
    {
        ::dup2(previous_, STDIN_FILENO);
        ::close(previous_);
    }

private:
    int previous_;
};

// What is printed makes the next thing happen, so nothing here depends on time.
class RunSimulate : public BridgeFixture {
protected:
    ExitStatus run(
        const SimulateOptions& options, const std::function<void(std::string_view)>& react)
    {
        const ScopedStandardInput standardInput(pipe.readEnd.number());
        SimulateOptions inRoot = options;
        inRoot.bridgeDirectory = root;
        const Console driving {
            .output =
                [&](std::string_view text) {
                    console.output(text);
                    react(text);
                },
            .error = console.error,
        };
        return runSimulate(inRoot, driving);
    }

    void type(std::string_view text) const
    {
        EXPECT_EQ(::write(pipe.writeEnd.number(), text.data(), text.size()),
            static_cast<ssize_t>(text.size()));
    }

    static bool says(std::string_view text, std::string_view part)
    {
        return text.find(part) != std::string_view::npos;
    }

    void leaveEventWithTheTokenThatIsThere()
    {
        const auto token = environment.store.readToken(environment.fileSystem);
        ASSERT_TRUE(token);
        leaveEvent(support::validEvent(), support::sampleTime, *token);
    }

    support::Pipe pipe;
};

TEST_F(RunSimulate, PlaysFromItsFirstLineToQuit)
{
    const auto status = run({}, [this](std::string_view text) {
        if (says(text, "Lines to type:"))
            type("pause on\n");
        else if (says(text, "browserTrackingPaused=true"))
            leaveEventWithTheTokenThatIsThere();
        else if (says(text, "  event  appeared"))
            type("show-pdf 9b2d6e1c-7c43-4c25-9d5e-0f6a1b2c3d4e\n");
        else if (says(text, "  command  appeared"))
            type("quit\n");
    });
    EXPECT_EQ(status, ExitStatus::success);
    const std::string printed = output();
    EXPECT_TRUE(says(printed, "hostname=www.example.com")) << printed;
    EXPECT_TRUE(says(printed, "pdfIdentifier=9B2D6E1C-7C43-4C25-9D5E-0F6A1B2C3D4E")) << printed;
    EXPECT_FALSE(says(printed, "problem=")) << printed;
    EXPECT_FALSE(says(printed, "event  gone")) << printed;
    EXPECT_EQ(errors(), "");
    EXPECT_EQ(support::namesIn(root), (std::vector<std::string> { "Commands", "Inbox" }));
    EXPECT_EQ(namesIn("Inbox"), std::vector<std::string> {});
    EXPECT_EQ(namesIn("Commands"), std::vector<std::string> {});
}

TEST_F(RunSimulate, GoesOnAfterTheEndOfItsInputUntilItIsAskedToEnd)
{
    const auto status = run({ .keepEvents = true }, [this](std::string_view text) {
        if (says(text, "Lines to type:")) {
            type("pause on\n");
            pipe.writeEnd.close();
        } else if (says(text, "browserTrackingPaused=true")) {
            leaveEventWithTheTokenThatIsThere();
        } else if (says(text, "  event  appeared")) {
            std::ignore = std::raise(SIGTERM);
        }
    });
    EXPECT_EQ(status, ExitStatus::success);
    EXPECT_EQ(errors(), "");
    EXPECT_EQ(support::namesIn(root), std::vector<std::string> { "Inbox" });
    EXPECT_EQ(namesIn("Inbox").size(), 1U);
}

TEST_F(RunSimulate, RemovesWhatItWroteWhenNobodyReadsItsOutput)
{
    struct NobodyReads { };
    EXPECT_THROW(std::ignore = run({}, [](std::string_view) { throw NobodyReads(); }), NobodyReads);
    EXPECT_EQ(support::namesIn(root), std::vector<std::string> {});
}

TEST_F(RunSimulate, IsAProblemBesideAnApplicationThatRuns)
{
    auto state = support::validState();
    state.appProcessIdentifier = 1; // runs as long as the system
    state.updatedAt = platform::currentTime();
    support::writeState(root, state);
    const auto status = run({}, [](std::string_view text) { ADD_FAILURE() << text; });
    EXPECT_EQ(status, ExitStatus::problem);
    EXPECT_TRUE(errors().starts_with("An application runs already, as process "));
    EXPECT_EQ(support::namesIn(root), std::vector<std::string> { "state.json" });
}

TEST_F(RunSimulate, IsAProblemWhereNothingCanBeWritten)
{
    support::writeFile(root, "");
    const auto status = run({}, [](std::string_view text) { ADD_FAILURE() << text; });
    EXPECT_EQ(status, ExitStatus::problem);
    EXPECT_EQ(errors(), "The directory " + root + " cannot be made: File exists\n");
}

} // namespace
} // namespace kestranectl
