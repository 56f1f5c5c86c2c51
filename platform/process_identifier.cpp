#include "platform/process_identifier.h"

#include <unistd.h>

namespace platform {

std::int32_t currentProcessIdentifier()
{
    return ::getpid();
}

} // namespace platform
