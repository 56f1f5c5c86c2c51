#include "platform/random.h"

#include <array>
#include <cerrno>
#include <cstdint>

#include <sys/random.h>
#include <unistd.h>

namespace platform {

FileResult<base::UUID> randomUUID()
{
    std::array<std::uint8_t, 16> bytes {};
    // So few bytes never come in part.
    if (::getentropy(bytes.data(), bytes.size()) != 0)
        return std::unexpected(FileError { errno });
    return base::randomUUIDFromBytes(bytes);
}

} // namespace platform
