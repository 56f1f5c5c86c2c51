// The event that the extension reports.

#include "events/browser_activity_event.h"
#include "fuzz/support/byte_source.h"
#include "fuzz/support/record_check.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::checkRecord(fuzz::textOf(data, size), fuzz::eventRules(),
        events::decodeBrowserActivityEvent,
        [](const auto& record) { return events::encode(record); });
    return 0;
}
