#include "host/native_messaging.h"

#include "platform/descriptor_io.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>
#include <tuple>

namespace host {

namespace {

using LengthPrefix = std::uint32_t;

bool fill(std::span<char> buffer, int inputDescriptor)
{
    while (!buffer.empty()) {
        const auto count = platform::readSome(inputDescriptor, buffer);
        if (!count || *count == 0)
            return false;
        buffer = buffer.subspan(*count);
    }
    return true;
}

} // namespace

std::optional<std::string> readMessage(int inputDescriptor)
{
    std::array<char, sizeof(LengthPrefix)> header {};
    if (!fill(header, inputDescriptor))
        return std::nullopt;
    LengthPrefix length = 0;
    std::memcpy(&length, header.data(), sizeof length);
    // The length comes from outside: it is checked before anything is allocated for it.
    if (length == 0 || length > maximumMessageBytes)
        return std::nullopt;
    return readExactly(inputDescriptor, length);
}

std::optional<std::string> readExactly(int inputDescriptor, std::size_t count)
{
    std::string bytes(count, '\0');
    if (!fill(bytes, inputDescriptor))
        return std::nullopt;
    return bytes;
}

void writeResponse(int outputDescriptor, const NativeHostResponse& response)
{
    const auto json = encode(response);
    if (!json || json->size() > maximumMessageBytes)
        return;
    const auto length = static_cast<LengthPrefix>(json->size());
    std::array<char, sizeof length> header {};
    std::memcpy(header.data(), &length, sizeof length);
    if (!platform::writeAll(outputDescriptor, std::string_view(header.data(), header.size())))
        return;
    // A browser that is gone says so by closing our input, too; the loop ends there.
    std::ignore = platform::writeAll(outputDescriptor, *json);
}

} // namespace host
