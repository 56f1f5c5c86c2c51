#include "platform/operating_system.h"

namespace platform {

const OperatingSystem currentOperatingSystem = OperatingSystem::linux;

} // namespace platform
