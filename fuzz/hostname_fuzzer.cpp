// Host names of web pages.

#include "events/event_validation.h"
#include "fuzz/support/byte_source.h"
#include "fuzz/support/claims.h"
#include "fuzz/support/naive_text.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view text = fuzz::textOf(data, size);
    const auto normalized = events::normalizedHostname(text);
    // Texts come from JSON and so are UTF-8. Other bytes must do no harm; what they mean is open.
    const auto scalars = fuzz::naiveScalars(text);
    if (!scalars)
        return 0;
    fuzz::requireFor(normalized == fuzz::naivelyNormalizedHostname(*scalars),
        "the host name is normalised, or refused, as the rules say", text);
    if (normalized) {
        fuzz::requireFor(events::normalizedHostname(*normalized) == normalized,
            "a normalised host name is its own normal form", text);
    }
    return 0;
}
