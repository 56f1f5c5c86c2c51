#pragma once
// What the host does for each request.

#include "events/supported_browsers.h"
#include "host/companion_application.h"
#include "host/messages.h"
#include "host/session_memory.h"

#include <string_view>

namespace host {

/// Carries out one request and answers it; every problem becomes a response with `accepted` false.
/// Checks run in this order: size of the payload, decoding, protocol version, type, then those of
/// the type.
///
/// "readinessPing"                  remembers browser and extension version and publishes the
/// browser's readiness "openMerrowin", "openDiagnostics" ask the system to open the application
/// "browserActivity"                validates an event and relays it to the application's inbox
/// "trackingPauseChanged"           tells the application, on a pause, that the browser's reports
/// end
[[nodiscard]] NativeHostResponse handleRequest(
    std::string_view payload, const HostEnvironment& environment, SessionMemory& memory);

/// Publishes the browser's readiness record. Does nothing unless the application runs and the token
/// can be read. Failures are swallowed.
void announceReadiness(events::SupportedBrowser browser, std::string_view extensionVersion,
    bool connectionAvailable, const HostEnvironment& environment);

/// Relays an event of the host's own, "extensionDisconnected", if a session with an identifier is
/// running, tracking is not paused and the browser is the frontmost application. Failures are
/// swallowed.
void reportExtensionDisconnected(
    events::SupportedBrowser browser, const HostEnvironment& environment);

} // namespace host
