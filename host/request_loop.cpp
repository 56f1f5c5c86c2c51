#include "host/request_loop.h"

#include "host/native_messaging.h"
#include "host/request_handler.h"
#include "host/session_memory.h"

namespace host {

namespace {

void endSession(const SessionMemory& memory, const HostEnvironment& environment)
{
    // A connection that never identified a browser leaves no trace.
    if (!memory.lastBrowser)
        return;
    if (memory.lastExtensionVersion)
        announceReadiness(*memory.lastBrowser, *memory.lastExtensionVersion, false, environment);
    reportExtensionDisconnected(*memory.lastBrowser, environment);
}

} // namespace

void runSession(int inputDescriptor, int outputDescriptor, const HostEnvironment& environment)
{
    SessionMemory memory;
    while (const auto payload = readMessage(inputDescriptor))
        writeResponse(outputDescriptor, handleRequest(*payload, environment, memory));
    endSession(memory, environment);
}

} // namespace host
