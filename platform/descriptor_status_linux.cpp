#include "platform/descriptor_status.h"

#include <sys/syscall.h>
#include <unistd.h>

namespace platform {

int statusOfDescriptor(int descriptor, struct stat& status)
{
#if defined(__LP64__) && (defined(__x86_64__) || defined(__aarch64__))
    // The C library (2.33 to 2.38) asks by an empty path instead, which the kernel takes a tenth
    // longer for. On these processors its structure is the kernel's.
    return static_cast<int>(::syscall(SYS_fstat, descriptor, &status));
#else
    return ::fstat(descriptor, &status);
#endif
}

} // namespace platform
