#pragma once
// The application as hosts see it: the files that it writes in the bridge directory.

#include "bridge/bridge_records.h"
#include "host/companion_application.h"
#include "kestranectl/simulate.h"
#include "kestranectl/simulation_request.h"

#include <chrono>
#include <cstdint>
#include <expected>
#include <string>
#include <string_view>
#include <vector>

namespace kestranectl {

class SimulatedApplication {
public:
    /// Nothing, or a sentence that says what failed and what to do.
    using Outcome = std::expected<void, std::string>;

    /// Touches nothing yet. `environment` must outlive this.
    SimulatedApplication(const SimulateOptions& options, std::int32_t processIdentifier,
        const host::HostEnvironment& environment);
    SimulatedApplication(SimulatedApplication&&) = delete;
    SimulatedApplication& operator=(SimulatedApplication&&) = delete;
    SimulatedApplication(const SimulatedApplication&) = delete;
    SimulatedApplication& operator=(const SimulatedApplication&) = delete;
    /// Leaves, if nobody has had it leave; so also where nothing can be printed any more.
    ~SimulatedApplication();

    /// Makes the directory if it is missing, the token if there is none, preferences and state.
    /// Refuses, before anything is written, where an application runs unless that is forced, or
    /// where the browser in front cannot be one.
    [[nodiscard]] Outcome start();

    /// Writes the state as it is now. Refuses where another application has begun to write its own
    /// meanwhile, unless that is forced.
    [[nodiscard]] Outcome writeState();

    /// How long the state that was written last is good for; zero if it is to be written now. Hosts
    /// take a state for 10 seconds.
    [[nodiscard]] std::chrono::milliseconds untilNextState() const;

    /// Does what was asked for, `Quit` excepted. A command is refused while an earlier one waits
    /// for the same browser: hosts deliver one and delete the others.
    [[nodiscard]] Outcome obey(const SimulationRequest& request);

    /// Removes what was written here: the state, commands that nobody has taken, and preferences
    /// and token if they were not there before. Removes nothing where another application runs:
    /// what is there is its own by now. Directories stay. Yields a sentence for each file that
    /// could not be removed.
    [[nodiscard]] std::vector<std::string> leave();

private:
    [[nodiscard]] std::string path(std::string_view name) const;
    [[nodiscard]] Outcome write(std::string_view name, const bridge::EncodeResult& record) const;
    [[nodiscard]] Outcome ensureToken();
    [[nodiscard]] Outcome ensurePreferences();
    [[nodiscard]] Outcome writePreferences();
    [[nodiscard]] Outcome refuseOtherApplication(std::string_view advice) const;
    [[nodiscard]] Outcome setSessionRunning(bool isRunning);
    [[nodiscard]] Outcome carryOut(const SetSession& request);
    [[nodiscard]] Outcome carryOut(const SetPause& request);
    [[nodiscard]] Outcome carryOut(const SetFrontmostBrowser& request);
    [[nodiscard]] Outcome carryOut(const SetLabels& request);
    [[nodiscard]] Outcome carryOut(const ShowPDF& request);
    [[nodiscard]] Outcome carryOut(const SendLabels& request);
    [[nodiscard]] static Outcome carryOut(const Quit& request);
    [[nodiscard]] Outcome send(bridge::BrowserBridgeCommand command);
    [[nodiscard]] bool isCommandWaiting(std::string_view browser) const;

    const host::HostEnvironment& environment_;
    bool force_;
    bool startsSession_;
    bridge::BrowserBridgeState state_ {};
    bridge::BrowserBridgePreferencesEnvelope preferences_ {};
    bool madeToken_ = false;
    bool madePreferences_ = false;
    bool wroteState_ = false;
    std::vector<std::string> commandPaths_ {}; // of all that were left
};

} // namespace kestranectl
