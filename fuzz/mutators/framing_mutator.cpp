// How the inputs of the framing are mutated: as frames around requests, with lengths that are wrong
// now and then.

#include "fuzz/mutators/byte_mutation.h"
#include "fuzz/support/byte_source.h"
#include "fuzz/support/json_mutation.h"

#include <array>

namespace {

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

} // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(
    std::uint8_t* data, std::size_t size, std::size_t maximumSize, unsigned seed)
{
    Random random(seed);
    if (pick(random, 2) == 0)
        return LLVMFuzzerMutate(data, size, maximumSize);
    std::string bytes(fuzz::textOf(data, size));
    if (pick(random, 4) == 0)
        bytes.insert(0, inventedFrame(random));
    else
        bytes += inventedFrame(random);
    return fuzz::replaceInput(bytes, data, maximumSize);
}
