// How the inputs of targets that read one JSON text are mutated: mostly as trees of values,
// sometimes as bytes.

#include "fuzz/mutators/byte_mutation.h"
#include "fuzz/support/byte_source.h"
#include "fuzz/support/json_mutation.h"

extern "C" std::size_t LLVMFuzzerCustomMutator(
    std::uint8_t* data, std::size_t size, std::size_t maximumSize, unsigned seed)
{
    fuzz::Random random(seed);
    if (fuzz::pick(random, 3) == 0)
        return LLVMFuzzerMutate(data, size, maximumSize);
    std::string text(fuzz::textOf(data, size));
    for (std::size_t rest = fuzz::pick(random, 3) + 1; rest > 0; --rest) {
        const auto mutated = fuzz::mutatedJson(text, random);
        if (!mutated)
            return LLVMFuzzerMutate(data, size, maximumSize);
        text = *mutated;
    }
    return fuzz::replaceInput(text, data, maximumSize);
}
