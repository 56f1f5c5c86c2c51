// Whole sessions against a bridge directory in memory. The input is a script: what the extension
// sends, what the application leaves, what the directory holds, which call fails, how time goes by.
// Every answer is compared with one that is derived naively from the files.

#include "fuzz/support/bridge_world.h"
#include "fuzz/support/byte_source.h"
#include "fuzz/support/claims.h"
#include "fuzz/support/effects.h"
#include "fuzz/support/naive_records.h"
#include "fuzz/support/naive_text.h"
#include "fuzz/support/response_check.h"
#include "fuzz/support/script.h"
#include "host/request_handler.h"

#include <utility>

namespace {

using fuzz::Step;
using fuzz::StepKind;

constexpr std::size_t mostSteps = 32;
constexpr std::size_t longestRequest = 16400;

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
            change(step);
    }

    void end()
    {
        const auto before = world_.fileSystem().tree();
        if (memory_.lastBrowser) {
            if (memory_.lastExtensionVersion) {
                host::announceReadiness(*memory_.lastBrowser, *memory_.lastExtensionVersion, false,
                    world_.environment());
            }
            host::reportExtensionDisconnected(*memory_.lastBrowser, world_.environment());
        }
        const fuzz::Effects effects = finish(before);
        fuzz::require(effects.removedCommands.empty() && effects.newEvents.size() <= 1
                && (memory_.lastBrowser || effects.newEvents.empty()),
            "a session ends with one event at most, and with none if no browser was named");
        if (effects.changedReadiness) {
            fuzz::require(
                !booleanField(checkReadiness(*effects.changedReadiness), "connectionAvailable"),
                "a session ends with its connection no longer available");
        }
        memory_ = {};
    }

private:
    static std::string padded(const std::string& payload)
    {
        fuzz::ByteSource source(payload);
        const std::size_t length = source.word() % longestRequest;
        std::string request(source.rest());
        request.resize(std::max(length, request.size()), ' ');
        return request;
    }

    void change(const Step& step)
    {
        world_.change(step);
        failsNextCall_ = failsNextCall_ || step.kind == StepKind::failingCall;
    }

    // Whether the directory is one about which the naive rules can say everything.
    bool isPredictable(const fuzz::MemoryTree& tree)
    {
        const auto root = tree.find(fuzz::bridgeDirectory);
        const bool isPlain = root != tree.end() && root->second.kind == fuzz::ItemKind::directory
            && root->second.permissions == 0700;
        return isPlain && !failsNextCall_ && !world_.limitsReads();
    }

    std::string token()
    {
        const auto* const item = world_.fileSystem().find(fuzz::inBridge("bridge-token"));
        return item != nullptr && item->kind == fuzz::ItemKind::file
                && fuzz::isNaiveToken(item->contents)
            ? item->contents
            : std::string();
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
        const int openings = world_.openings();
        fuzz::NaiveMemory expectedMemory = naiveMemory();
        std::optional<fuzz::Prediction> prediction;
        if (isPredictable(before)) {
            prediction = fuzz::predict(payload,
                { .tree = before, .now = world_.now(), .processExists = world_.processExists() },
                expectedMemory);
        }

        const auto response = host::handleRequest(payload, world_.environment(), memory_);
        const auto encoded = host::encode(response);
        fuzz::require(encoded.has_value(), "every response can be encoded");
        const fuzz::Effects effects = finish(before);
        const auto value = fuzz::checkResponse(*encoded, token());
        if (prediction)
            check(value, *prediction, effects, expectedMemory, openings);
        else
            checkUnpredicted(effects);
    }

    // What holds after every step, whatever it was.
    fuzz::Effects finish(const fuzz::MemoryTree& before)
    {
        const bool callMayHaveFailed = std::exchange(failsNextCall_, false);
        world_.fileSystem().failCall(0, 0);
        fuzz::require(world_.fileSystem().openFileCount() == 0, "no file stays open");
        return fuzz::findEffects(before, world_.fileSystem().tree(), callMayHaveFailed);
    }

    fuzz::NaiveValue checkEvent(const fuzz::WrittenFile& file)
    {
        return fuzz::checkEventFile(file.name, file.contents, token(), world_.now());
    }

    fuzz::NaiveValue checkReadiness(const fuzz::WrittenFile& file)
    {
        return fuzz::checkReadinessFile(file.contents, token());
    }

    void checkUnpredicted(const fuzz::Effects& effects)
    {
        fuzz::require(effects.newEvents.size() <= 1, "a request relays one event at most");
        for (const fuzz::WrittenFile& event : effects.newEvents)
            static_cast<void>(checkEvent(event));
        if (effects.changedReadiness)
            static_cast<void>(checkReadiness(*effects.changedReadiness));
    }

    void check(const fuzz::NaiveValue& response, const fuzz::Prediction& prediction,
        const fuzz::Effects& effects, const fuzz::NaiveMemory& expectedMemory, int openings)
    {
        fuzz::checkPrediction(response, prediction, expectedMemory.permission);
        const fuzz::NaiveMemory memory = naiveMemory();
        fuzz::require(memory.knowsBrowser == expectedMemory.knowsBrowser
                && memory.extensionVersion == expectedMemory.extensionVersion
                && memory.permission == expectedMemory.permission,
            "the session remembers what the rules say");
        fuzz::require(world_.openings() == openings + (prediction.opensApplication ? 1 : 0),
            "the application is opened when it is asked for");
        fuzz::require(effects.removedCommands == prediction.commands.removed,
            "exactly the commands that are done with are removed");
        fuzz::require(effects.newEvents.size() == (prediction.event ? 1U : 0U),
            "exactly the events that are accepted are relayed");
        if (prediction.event)
            fuzz::checkRelayedEvent(checkEvent(effects.newEvents.front()), *prediction.event);
        checkPublished(prediction, effects, expectedMemory);
    }

    void checkPublished(const fuzz::Prediction& prediction, const fuzz::Effects& effects,
        const fuzz::NaiveMemory& memory)
    {
        fuzz::require(prediction.publishesReadiness || !effects.changedReadiness,
            "readiness is published only where the rules say so");
        if (!prediction.publishesReadiness)
            return;
        const auto contents = fuzz::readinessContents(world_.fileSystem().tree());
        fuzz::require(contents.has_value(), "readiness is published where the rules say so");
        const auto report = fuzz::checkReadinessFile(*contents, token());
        fuzz::require(fuzz::textField(report, "extensionVersion") == memory.extensionVersion
                && fuzz::textField(report, "browserBundleIdentifier") == "com.google.Chrome"
                && fuzz::numberField(report, "updatedAt") == world_.now()
                && fuzz::booleanField(report, "connectionAvailable"),
            "readiness says what the rules say");
    }

    fuzz::BridgeWorld world_;
    host::SessionMemory memory_;
    bool failsNextCall_ = false;
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
