#pragma once
// What the host remembers of one connection.

#include "events/browser_activity_event.h"
#include "events/supported_browsers.h"

#include <optional>
#include <string>

namespace host {

/// Everything that outlives a request. It is filled by requests and read by later responses and at
/// the session's end.
struct SessionMemory {
    std::optional<events::SupportedBrowser> lastBrowser;
    std::optional<events::BrowserLocalFilePermission> lastLocalFilePermission;
    std::optional<std::string> lastExtensionVersion;
};

} // namespace host
