// How scripts are mutated: step by step, each by its own kind, so that sound requests and records
// stay so but for the one thing that is changed.

#include "fuzz/mutators/byte_mutation.h"
#include "fuzz/support/byte_source.h"
#include "fuzz/support/json_mutation.h"
#include "fuzz/support/script.h"

#include <array>

namespace {

using fuzz::pick;
using fuzz::Random;
using fuzz::Script;
using fuzz::Step;
using fuzz::StepKind;

std::string randomBytes(std::size_t count, Random& random)
{
    std::string bytes;
    while (bytes.size() < count)
        bytes += static_cast<char>(pick(random, 256));
    return bytes;
}

std::string inventedCommand(Random& random)
{
    constexpr std::array<std::string_view, 8> names { "a.command", "b.command", "00.command",
        ".hidden.command", "x.COMMAND", "..command", "n\xFF.command", "c.command.json" };
    return std::string(names.at(pick(random, names.size()))) + '\n'
        + fuzz::inventedRecord(fuzz::commandEnvelopeRules(), random);
}

Step inventedStep(Random& random)
{
    switch (pick(random, 16)) {
    case 0:
        return { StepKind::state, fuzz::inventedRecord(fuzz::stateRules(), random) };
    case 1:
        return { StepKind::preferences, fuzz::inventedRecord(fuzz::preferencesRules(), random) };
    case 2:
    case 3:
        return { StepKind::command, inventedCommand(random) };
    case 4:
        return { StepKind::item, randomBytes(2, random) };
    case 5:
        return { StepKind::growth, randomBytes(3, random) };
    case 6:
        return { StepKind::readLimit, randomBytes(1, random) };
    case 7:
        return { StepKind::failingCall, randomBytes(2, random) };
    case 8:
        return { StepKind::clock, randomBytes(pick(random, 2) * 3, random) };
    case 9:
        return { StepKind::process, randomBytes(1, random) };
    case 10:
        return { StepKind::padding, randomBytes(2, random) };
    case 11:
        return pick(random, 4) == 0 ? Step { StepKind::longRequest,
            randomBytes(2, random) + fuzz::inventedRecord(fuzz::requestRules(), random) }
                                    : Step { StepKind::endOfSession, {} };
    default:
        return { StepKind::request, fuzz::inventedRecord(fuzz::requestRules(), random) };
    }
}

// Mutates the JSON that a payload holds, from the first brace on, or else its bytes.
void mutatePayload(std::string& payload, std::size_t maximumSize, Random& random)
{
    const std::size_t start = std::min(payload.find('{'), payload.size());
    if (pick(random, 4) != 0) {
        if (const auto mutated = fuzz::mutatedJson(payload.substr(start), random)) {
            payload = payload.substr(0, start) + *mutated;
            return;
        }
    }
    payload = fuzz::withMutatedBytes(payload, maximumSize);
}

void mutateScript(Script& script, std::size_t maximumSize, Random& random)
{
    const std::size_t position = pick(random, script.size() + 1);
    const auto place = script.begin() + static_cast<std::ptrdiff_t>(position);
    if (place == script.end() || pick(random, 4) == 0) {
        script.insert(place, inventedStep(random));
        return;
    }
    switch (pick(random, 8)) {
    case 0:
        script.erase(place);
        break;
    case 1: {
        const Step twin = *place;
        script.insert(
            script.begin() + static_cast<std::ptrdiff_t>(pick(random, script.size())), twin);
        break;
    }
    case 2:
        std::swap(*place, script[pick(random, script.size())]);
        break;
    default:
        mutatePayload(place->payload, maximumSize, random);
        break;
    }
}

} // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(
    std::uint8_t* data, std::size_t size, std::size_t maximumSize, unsigned seed)
{
    Random random(seed);
    if (pick(random, 16) == 0)
        return LLVMFuzzerMutate(data, size, maximumSize);
    Script script = fuzz::readScript(fuzz::textOf(data, size));
    for (std::size_t rest = pick(random, 4) + 1; rest > 0; --rest)
        mutateScript(script, maximumSize, random);
    return fuzz::replaceInput(fuzz::writeScript(script), data, maximumSize);
}
