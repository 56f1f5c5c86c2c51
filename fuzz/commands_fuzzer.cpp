// The contents of the command directory. The input is a script; requests in it stand for scans,
// each for the browser and the session that its payload chooses.

#include "bridge/bridge_store.h"
#include "fuzz/support/bridge_world.h"
#include "fuzz/support/byte_source.h"
#include "fuzz/support/claims.h"
#include "fuzz/support/effects.h"
#include "fuzz/support/naive_directory.h"
#include "fuzz/support/naive_records.h"
#include "fuzz/support/script.h"

#include <algorithm>
#include <array>
#include <vector>

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

// Whether the command is one of those that were left, from `next` on, which then points behind it.
bool isNextOf(const bridge::BrowserBridgeCommand& command,
    const std::vector<fuzz::NaiveValue>& expected, std::size_t& next)
{
    const auto value = fuzz::parseNaively(written(command));
    while (next < expected.size()) {
        if (value && fuzz::saysTheSame(*value, expected[next++], fuzz::commandRules()))
            return true;
    }
    return false;
}

void scan(fuzz::BridgeWorld& world, const std::string& payload)
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
    const bool hasCallFailed = world.endFailure().call != fuzz::FailedCall::none;
    fuzz::require(world.fileSystem().openFileCount() == 0, "no file stays open");
    const fuzz::Effects effects = fuzz::findEffects(before, world.fileSystem().tree());
    fuzz::require(effects.newEvents.empty() && !effects.changedReadiness, "a scan writes nothing");
    // Of a file that grows while it is read in pieces, any part may be seen.
    if (!world.readsAreCertain(before))
        return;

    const auto expected = fuzz::predictCommands(
        { .tree = before, .now = world.now() }, fuzz::soundToken, browser, session);
    std::size_t next = 0;
    for (const auto& command : commands) {
        fuzz::require(isNextOf(command, expected.accepted, next),
            "commands are accepted as they were left, in the order of their names");
    }
    if (hasCallFailed)
        return;
    fuzz::require(commands.size() == expected.accepted.size(),
        "all sound commands for this browser and session are accepted");
    fuzz::require(effects.removedCommands == expected.removed,
        "exactly the commands that are done with are removed");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr std::size_t mostSteps = 24;
    fuzz::Script script = fuzz::readScript(fuzz::textOf(data, size));
    script.resize(std::min(script.size(), mostSteps));
    script.push_back({ StepKind::request, {} });
    fuzz::BridgeWorld world;
    for (const Step& step : script) {
        if (step.kind == StepKind::request)
            scan(world, step.payload);
        else
            world.change(step);
    }
    return 0;
}
