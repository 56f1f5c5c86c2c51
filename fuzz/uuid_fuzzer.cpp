// Identifiers as texts.

#include "base/uuid.h"
#include "fuzz/support/byte_source.h"
#include "fuzz/support/claims.h"
#include "fuzz/support/naive_text.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view text = fuzz::textOf(data, size);
    const auto uuid = base::parseUUID(text);
    fuzz::requireFor(uuid.has_value() == fuzz::isNaiveUUID(text),
        "exactly the texts of the form are read", text);
    if (!uuid)
        return 0;
    fuzz::requireFor(base::upperCaseText(*uuid) == fuzz::naivelyUpperCased(text),
        "the upper-case text is the same in upper case", text);
    fuzz::requireFor(base::lowerCaseText(*uuid) == fuzz::naivelyLowerCased(text),
        "the lower-case text is the same in lower case", text);
    fuzz::requireFor(base::parseUUID(base::upperCaseText(*uuid)) == uuid,
        "the upper-case text is the same identifier", text);
    return 0;
}
