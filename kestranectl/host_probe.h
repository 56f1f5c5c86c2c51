#pragma once
// Whether a host runs at all.

#include "kestranectl/doctor.h"

#include <chrono>
#include <string>

namespace kestranectl {

/// Starts the host as a browser does, with an input that ends at once, and waits for its end for at
/// most `timeout`; kills it then. Of what it writes, the first 256 bytes are kept.
[[nodiscard]] HostProbe probeHost(
    const std::string& hostPath, std::chrono::milliseconds timeout = std::chrono::seconds(2));

} // namespace kestranectl
