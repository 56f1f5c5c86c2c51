// The user's preferences.

#include "bridge/bridge_records.h"
#include "fuzz/support/byte_source.h"
#include "fuzz/support/record_check.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::checkRecord(fuzz::textOf(data, size), fuzz::preferencesRules(),
        bridge::decodeBrowserBridgePreferencesEnvelope,
        [](const auto& record) { return bridge::encode(record); });
    return 0;
}
