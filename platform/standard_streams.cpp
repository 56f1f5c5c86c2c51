#include "platform/standard_streams.h"

#include <fcntl.h>
#include <unistd.h>

namespace platform {

void fillMissingStandardStreams()
{
    // The lowest descriptor that is free is taken each time.
    int descriptor = -1;
    do
        descriptor = ::open("/dev/null", O_RDWR);
    while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    if (descriptor >= 0)
        ::close(descriptor);
}

} // namespace platform
