// The record that holds an event in the inbox.

#include "bridge/bridge_records.h"
#include "fuzz/support/byte_source.h"
#include "fuzz/support/claims.h"
#include "fuzz/support/naive_text.h"
#include "fuzz/support/record_check.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view text = fuzz::textOf(data, size);
    fuzz::checkRecord(text, fuzz::inboxEnvelopeRules(), bridge::decodeBrowserBridgeEnvelope,
        [](const auto& record) { return bridge::encode(record); });
    const auto envelope = bridge::decodeBrowserBridgeEnvelope(text);
    if (envelope) {
        const auto value = fuzz::parseNaively(text);
        fuzz::requireFor(
            envelope->eventData == fuzz::naiveBytes(fuzz::textField(*value, "eventData")),
            "the event's bytes are those that base64 stands for", text);
    }
    return 0;
}
