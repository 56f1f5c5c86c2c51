#include "kestranectl/simulate.h"

#include "kestranectl/bridge_access.h"
#include "kestranectl/bridge_reporter.h"
#include "kestranectl/event_taking.h"
#include "kestranectl/simulation_input.h"
#include "platform/process.h"
#include "platform/process_identifier.h"

#include <chrono>
#include <string>
#include <vector>

namespace kestranectl {

namespace {

using Outcome = SimulatedApplication::Outcome;

void complain(const std::string& sentence, const Console& console)
{
    console.error(printable(sentence) + '\n');
}

void complain(const std::vector<std::string>& sentences, const Console& console)
{
    for (const std::string& sentence : sentences)
        complain(sentence, console);
}

std::unexpected<std::string> cannotWait(platform::FileError error)
{
    return std::unexpected("The bridge directory cannot be watched: " + platform::message(error));
}

void greet(const std::string& root, const Console& console)
{
    console.output("The application is played in " + printable(root)
        + ". Lines to type: " + std::string(simulationRequests) + ".\n");
}

// Plays until the end is asked for.
Outcome play(SimulatedApplication& application, bool keepEvents,
    const host::HostEnvironment& environment, const platform::EndRequests& endRequests,
    const Console& console)
{
    auto watcher = platform::DirectoryWatcher::make();
    if (!watcher)
        return cannotWait(watcher.error());
    if (auto started = application.start(); !started)
        return started;
    greet(environment.store.rootURL, console);
    BridgeReporter reporter(environment, { .tellsEventsThatGo = false }, console);
    SimulationInput input(platform::standardInputDescriptor);
    for (;;) {
        watchBridge(*watcher, environment.store.rootURL, environment.fileSystem);
        reporter.look();
        if (!keepEvents)
            complain(takeEvents(reporter.snapshot(), environment), console);
        const auto awakening
            = watcher->wait(endRequests, input.descriptor(), application.untilNextState());
        if (!awakening)
            return cannotWait(awakening.error());
        if (awakening->endRequested)
            return {};
        if (awakening->inputReady && input.obey(application, console) == SimulationInput::Then::end)
            return {};
        if (application.untilNextState() == std::chrono::milliseconds::zero()) {
            if (auto written = application.writeState(); !written)
                return written;
        }
    }
}

} // namespace

ExitStatus runSimulate(const SimulateOptions& options, const Console& console)
{
    const host::HostEnvironment environment = bridgeEnvironment(options.bridgeDirectory);
    // Until everything is removed: nobody is to end the process in the middle of that.
    const auto endRequests = platform::EndRequests::make();
    if (!endRequests) {
        complain(cannotWait(endRequests.error()).error(), console);
        return ExitStatus::problem;
    }
    SimulatedApplication application(options, platform::currentProcessIdentifier(), environment);
    const auto outcome = play(application, options.keepEvents, environment, *endRequests, console);
    if (!outcome)
        complain(outcome.error(), console);
    const auto failures = application.leave();
    complain(failures, console);
    return outcome && failures.empty() ? ExitStatus::success : ExitStatus::problem;
}

} // namespace kestranectl
