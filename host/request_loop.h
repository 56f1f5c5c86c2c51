#pragma once
// One connection from its first request to its end.

#include "host/companion_application.h"

namespace host {

/// Serves the connection: reads requests from `inputDescriptor` one after the other and writes
/// exactly one response to each on `outputDescriptor`, until the input ends. Then, if a request has
/// identified a browser, publishes that its connection is no longer available (if an extension
/// version is known) and reports that the extension is gone. Nothing is sent unprompted; failures
/// to write do not end the session.
void runSession(int inputDescriptor, int outputDescriptor, const HostEnvironment& environment);

} // namespace host
