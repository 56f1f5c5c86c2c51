#include "platform/core_files.h"

#include <tuple>

#include <sys/prctl.h>

namespace platform {

void forbidCoreFiles()
{
    // A limit on the size of core files would not do: it does not hold for programs that core files
    // are handed to, and would be passed on to what is started. This ends with the next execve
    // (prctl(2)). It also keeps other processes of the user from looking into this one.
    std::ignore = ::prctl(PR_SET_DUMPABLE, 0, 0, 0, 0);
}

} // namespace platform
