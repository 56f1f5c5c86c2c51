// How the inputs of the framing are mutated: as frames around requests, with lengths that are wrong
// now and then.

#include "fuzz/mutators/byte_mutation.h"
#include "fuzz/support/byte_source.h"
#include "fuzz/support/json_mutation.h"

#include <array>

namespace {

using namespace std::string_view_literals;
using fuzz::pick;
using fuzz::Random;

std::string frame(std::string_view payload, std::size_t length)
{
    std::string bytes;
    for (std::size_t rest = 4; rest > 0; --rest, length /= 256)
        bytes += static_cast<char>(length % 256);
    return bytes + std::string(payload);
}

std::string inventedFrame(Random& random)
{
    constexpr std::array<std::size_t, 8> lengths { 0, 1, 16384, 16385, 0xFFFFFFFF, 0x80000000, 255,
        65536 };
    std::string payload
        = pick(random, 2) == 0 ? "x" : fuzz::inventedRecord(fuzz::requestRules(), random);
    switch (pick(random, 8)) {
    case 0:
        return frame(payload, lengths.at(pick(random, lengths.size())));
    case 1:
        payload.resize(16380 + pick(random, 8), ' ');
        return frame(payload, payload.size());
    case 2:
        return frame(payload, payload.size() + pick(random, 3) - 1);
    default:
        return frame(payload, payload.size());
    }
}

// The schedule: mostly short pieces, now and then an interruption or a failure.
std::string inventedSchedule(Random& random)
{
    constexpr std::string_view orders = "\0\0\1\1\2\3\4\5\x40\xFB\xFC\xFC\xFD\xFD\xFE\xFF"sv;
    std::string schedule;
    for (std::size_t rest = pick(random, 24); rest > 0; --rest)
        schedule += orders[pick(random, orders.size())];
    return schedule;
}

} // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(
    std::uint8_t* data, std::size_t size, std::size_t maximumSize, unsigned seed)
{
    Random random(seed);
    if (pick(random, 2) == 0)
        return LLVMFuzzerMutate(data, size, maximumSize);
    fuzz::ByteSource source(fuzz::textOf(data, size));
    std::string schedule(source.take(source.byte()));
    std::string frames(source.rest());
    const std::size_t choice = pick(random, 4);
    if (choice == 0)
        schedule = inventedSchedule(random);
    else if (choice == 1)
        frames.insert(0, inventedFrame(random));
    else
        frames += inventedFrame(random);
    return fuzz::replaceInput(
        static_cast<char>(schedule.size()) + schedule + frames, data, maximumSize);
}
