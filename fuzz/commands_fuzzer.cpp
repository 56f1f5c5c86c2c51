// The contents of the command directory. The input is a script; requests in it stand for scans,
// each for the browser and the session that its payload chooses.

#include "bridge/bridge_store.h"
#include "fuzz/support/bridge_world.h"
#include "fuzz/support/byte_source.h"
#include "fuzz/support/claims.h"
#include "fuzz/support/effects.h"
#include "fuzz/support/naive_host.h"
#include "fuzz/support/naive_records.h"
#include "fuzz/support/script.h"

#include <array>

namespace {

using fuzz::Step;
using fuzz::StepKind;

constexpr std::array<std::string_view, 3> browsers { "com.google.Chrome", "org.mozilla.firefox",
    "" };
constexpr std::array<std::string_view, 2> sessions { "6BA7B810-9DAD-11D1-80B4-00C04FD430C8",
    "7C9E6679-7425-40DE-944B-E07FC1F90AE7" };

std::string written(const bridge::BrowserBridgeCommand& command)
{
    base::JsonWriter writer;
    bridge::writeMembers(writer, command);
    const auto text = std::move(writer).finish();
    fuzz::require(text.has_value(), "a command that was accepted can be written");
    return *text;
}

void scan(fuzz::BridgeWorld& world, const std::string& payload, bool isPredictable)
{
    fuzz::ByteSource source(payload);
    const std::string_view browser = browsers.at(source.below(browsers.size()));
    const std::size_t choice = source.below(sessions.size() + 1);
    std::optional<std::string> session;
    if (choice < sessions.size())
        session = sessions.at(choice);

    const auto before = world.fileSystem().tree();
    const auto commands = world.environment().store.consumeCommands(fuzz::soundToken, browser,
        session ? base::parseUUID(*session) : std::nullopt, base::Timestamp { world.now() },
        world.fileSystem(), 60.0);
    fuzz::require(world.fileSystem().openFileCount() == 0, "no file stays open");
    world.fileSystem().failCall(0, 0);
    const fuzz::Effects effects = fuzz::findEffects(before, world.fileSystem().tree());
    fuzz::require(effects.newEvents.empty() && !effects.changedReadiness, "a scan writes nothing");
    const auto outcome = fuzz::predictCommands(
        { .tree = before, .now = world.now() }, fuzz::soundToken, browser, session);
    if (!isPredictable || !outcome)
        return;
    fuzz::require(effects.removedCommands == outcome->removed,
        "exactly the commands that are done with are removed");
    fuzz::require(commands.size() == outcome->accepted.size(),
        "exactly the sound commands for this browser and session are accepted");
    for (std::size_t index = 0; index < commands.size(); ++index) {
        const auto value = fuzz::parseNaively(written(commands[index]));
        fuzz::require(
            value && fuzz::saysTheSame(*value, outcome->accepted[index], fuzz::commandRules()),
            "commands are accepted as they were left, in the order of their names");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::BridgeWorld world;
    bool failsCall = false;
    constexpr std::size_t mostSteps = 32;
    fuzz::Script script = fuzz::readScript(fuzz::textOf(data, size));
    script.resize(std::min(script.size(), mostSteps));
    script.push_back({ StepKind::request, {} });
    for (const Step& step : script) {
        if (step.kind != StepKind::request) {
            world.change(step);
            failsCall = failsCall || step.kind == StepKind::failingCall;
            continue;
        }
        const fuzz::MemoryItem* const root = world.fileSystem().find(fuzz::bridgeDirectory);
        const bool isPlain = root != nullptr && root->kind == fuzz::ItemKind::directory
            && root->permissions == 0700;
        scan(world, step.payload, isPlain && !failsCall && !world.limitsReads());
        failsCall = false;
    }
    return 0;
}
