#include "fuzz/support/byte_source.h"

#include <algorithm>

namespace fuzz {

std::string_view textOf(const std::uint8_t* data, std::size_t size)
{
    if (size == 0)
        return {};
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): bytes and characters are the
    // same here
    return { reinterpret_cast<const char*>(data), size };
}

std::uint8_t ByteSource::byte()
{
    if (rest_.empty())
        return 0;
    const auto value = static_cast<std::uint8_t>(rest_.front());
    rest_.remove_prefix(1);
    return value;
}

std::uint16_t ByteSource::word()
{
    const unsigned low = byte();
    const unsigned high = byte();
    return static_cast<std::uint16_t>(low | high << 8U);
}

std::string_view ByteSource::take(std::size_t count)
{
    const std::string_view taken = rest_.substr(0, count);
    rest_.remove_prefix(taken.size());
    return taken;
}

} // namespace fuzz
