#include "platform/core_files.h"

#include <tuple>

#include <sys/resource.h>

namespace platform {

void forbidCoreFiles()
{
    // Only the soft limit, so that nothing is taken from programs that may want it. The application
    // is started by the system and not by this process: it has limits of its own.
    rlimit limit {};
    if (::getrlimit(RLIMIT_CORE, &limit) != 0)
        return;
    limit.rlim_cur = 0;
    std::ignore = ::setrlimit(RLIMIT_CORE, &limit);
}

} // namespace platform
