// Whole sessions against a bridge directory in memory. The input is a script: what the extension
// sends, what the application leaves, what the directory holds, which call fails, how time goes by.
// Every answer and all that changes is compared with what follows naively from the files.

#include "fuzz/support/bridge_world.h"
#include "fuzz/support/byte_source.h"
#include "fuzz/support/claims.h"
#include "fuzz/support/outcome_check.h"
#include "fuzz/support/script.h"
#include "fuzz/support/written_check.h"
#include "host/request_handler.h"

namespace {

using fuzz::Step;
using fuzz::StepKind;

constexpr std::size_t mostSteps = 24;
constexpr std::size_t longestRequest = 16400;

std::string padded(const std::string& payload)
{
    fuzz::ByteSource source(payload);
    const std::size_t length = source.word() % longestRequest;
    std::string request(source.rest());
    request.resize(std::max(length, request.size()), ' ');
    return request;
}

class Session {
public:
    void perform(const Step& step)
    {
        if (step.kind == StepKind::request)
            serve(step.payload);
        else if (step.kind == StepKind::longRequest)
            serve(padded(step.payload));
        else if (step.kind == StepKind::endOfSession)
            end();
        else
            world_.change(step);
    }

    void end()
    {
        const auto before = world_.fileSystem().tree();
        const auto prediction = fuzz::predictEnd(surroundings(before), naiveMemory());
        const int openings = world_.openings();
        if (memory_.lastBrowser) {
            if (memory_.lastExtensionVersion) {
                host::announceReadiness(*memory_.lastBrowser, *memory_.lastExtensionVersion, false,
                    world_.environment());
            }
            host::reportExtensionDisconnected(*memory_.lastBrowser, world_.environment());
        }
        check(std::nullopt, prediction, before, openings);
        memory_ = {};
    }

private:
    fuzz::NaiveSurroundings surroundings(const fuzz::MemoryTree& tree) const
    {
        return { .tree = tree, .now = world_.now(), .processExists = world_.processExists() };
    }

    fuzz::NaiveMemory naiveMemory() const
    {
        fuzz::NaiveMemory memory { .knowsBrowser = memory_.lastBrowser.has_value(),
            .extensionVersion = memory_.lastExtensionVersion };
        if (memory_.lastLocalFilePermission)
            memory.permission = base::text(*memory_.lastLocalFilePermission);
        return memory;
    }

    void serve(std::string_view payload)
    {
        const auto before = world_.fileSystem().tree();
        const auto prediction = fuzz::predict(payload, surroundings(before), naiveMemory());
        const int openings = world_.openings();
        const auto response
            = host::encode(host::handleRequest(payload, world_.environment(), memory_));
        fuzz::require(response.has_value(), "every response can be encoded");
        fuzz::require(!prediction.token || !response->contains(*prediction.token),
            "no response holds the token");
        check(fuzz::readResponse(*response), prediction, before, openings);
    }

    void check(std::optional<fuzz::NaiveValue> response, const fuzz::Prediction& prediction,
        const fuzz::MemoryTree& before, int openings)
    {
        const fuzz::Failure failure = world_.endFailure();
        const auto after = world_.fileSystem().tree();
        fuzz::require(world_.fileSystem().openFileCount() == 0, "no file stays open");
        const fuzz::Outcome outcome {
            .response = std::move(response),
            .effects = fuzz::findEffects(before, after, failure.call),
            .readinessContents = fuzz::readinessContents(after),
            .memory = naiveMemory(),
            .openings = world_.openings() - openings,
        };
        // Of a file that grows while it is read in pieces, any part may be seen.
        if (!world_.readsAreCertain(before))
            return;
        if (failure.call == fuzz::FailedCall::none)
            fuzz::checkOutcome(outcome, prediction);
        else
            fuzz::checkOutcomeOfFailure(outcome, prediction, failure.error);
    }

    fuzz::BridgeWorld world_;
    host::SessionMemory memory_;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::Script script = fuzz::readScript(fuzz::textOf(data, size));
    script.resize(std::min(script.size(), mostSteps));
    Session session;
    for (const Step& step : script)
        session.perform(step);
    session.end();
    return 0;
}
