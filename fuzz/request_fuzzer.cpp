// The extension's request. The host never writes one, so this does.

#include "base/json_writer.h"
#include "fuzz/support/byte_source.h"
#include "fuzz/support/record_check.h"
#include "host/messages.h"

#include <expected>
#include <utility>

namespace {

std::expected<std::string, base::JsonError> encodeRequest(const host::NativeHostRequest& request)
{
    base::JsonWriter writer;
    writer.member("protocolVersion", request.protocolVersion);
    writer.member("type", request.type);
    writer.member("browserBundleIdentifier", request.browserBundleIdentifier);
    writer.member("paused", request.paused);
    writer.member("extensionVersion", request.extensionVersion);
    auto text = std::move(writer).finish();
    if (!text || !request.event)
        return text;
    const auto event = events::encode(*request.event);
    if (!event)
        return event;
    text->pop_back();
    return *text + ",\"event\":" + *event + '}';
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::checkRecord(fuzz::textOf(data, size), fuzz::requestRules(), host::decodeNativeHostRequest,
        encodeRequest);
    return 0;
}
