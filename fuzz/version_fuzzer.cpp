// Version strings, judged by the tables of the application's platform.

#include "bridge/version_string.h"
#include "fuzz/support/byte_source.h"
#include "fuzz/support/claims.h"
#include "fuzz/support/naive_version.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view text = fuzz::textOf(data, size);
    fuzz::requireFor(bridge::isValidVersionString(text) == fuzz::isNaiveVersion(text),
        "versions are 1 to 32 numbers and full stops", text);
    return 0;
}
