#include "platform/descriptor_status.h"

namespace platform {

int statusOfDescriptor(int descriptor, struct stat& status)
{
    return ::fstat(descriptor, &status);
}

} // namespace platform
