#pragma once
// The messages inside the frames: requests from the extension, the host's responses, and the host's
// own failures.

#include "base/json_reader.h"
#include "base/uuid.h"
#include "bridge/bridge_records.h"
#include "events/browser_activity_event.h"
#include "host/companion_application.h"
#include "host/host_constants.h"
#include "host/session_memory.h"

#include <cstdint>
#include <expected>
#include <optional>
#include <string>
#include <string_view>

namespace host {

struct NativeHostRequest {
    std::int64_t protocolVersion = 0;
    std::string type;
    std::optional<events::BrowserActivityEvent> event;
    std::optional<std::string> browserBundleIdentifier; // the reporting browser
    std::optional<bool> paused;
    std::optional<std::string> extensionVersion;

    friend bool operator==(const NativeHostRequest&, const NativeHostRequest&) = default;
};

struct NativeHostResponse {
    std::int64_t protocolVersion = host::protocolVersion;
    std::string nativeHostVersion = std::string(host::nativeHostVersion);
    std::int64_t minimumProtocolVersion = host::minimumProtocolVersion;
    bool accepted = false; // whether the request was carried out
    bool appRunning = false;
    bool sessionRunning = false;
    bool browserFrontmost = false; // whether the reporting browser is the frontmost application
    bool trackingPaused = false;
    std::optional<base::UUID> sessionIdentifier; // written in lower case, or as null
    std::optional<events::BrowserLocalFilePermission> localFilePermission; // left out when absent
    bool filenameLabelsEnabled = false;
    std::optional<bridge::BrowserBridgeCommand> command; // left out when absent
    std::optional<std::string> error; // left out when absent

    friend bool operator==(const NativeHostResponse&, const NativeHostResponse&) = default;
};

/// The host's own reasons to refuse a request.
enum class NativeHostError : std::uint8_t {
    invalidProtocolVersion,
    invalidRequest,
    messageTooLarge,
    appUnavailable,
    sessionUnavailable,
    browserNotFrontmost
};

/// The user-facing text of `error`.
[[nodiscard]] std::string_view message(NativeHostError error);

/// Decodes a request completely or not at all: a fault in any field, also in one that the request's
/// type does not use, fails it. Unknown keys are ignored.
[[nodiscard]] std::expected<NativeHostRequest, base::JsonError> decodeNativeHostRequest(
    std::string_view text);

/// The response as JSON, in the order of its fields. Fails with invalidValue for a command whose
/// time stamp is not finite.
[[nodiscard]] std::expected<std::string, base::JsonError> encode(
    const NativeHostResponse& response);

/// The user's preference on file names as labels of local PDF files; false when the token or the
/// preferences cannot be read.
[[nodiscard]] bool filenameLabelsEnabled(const HostEnvironment& environment);

/// Builds a response from the application's live state (or none) and the reporting browser (or
/// none). The preference and the first pending command for that browser are read from the bridge
/// directory; failures there leave the preference false and the command absent.
[[nodiscard]] NativeHostResponse makeResponse(bool accepted,
    const std::optional<bridge::BrowserBridgeState>& state,
    std::optional<std::string_view> browserBundleIdentifier, std::optional<std::string> error,
    const HostEnvironment& environment, const SessionMemory& memory);

/// The first pending command for the browser. All others that the same scan accepts are deleted
/// with it and lost. None, with the directory untouched, if no browser is given or the token cannot
/// be read.
[[nodiscard]] std::optional<bridge::BrowserBridgeCommand> pendingCommand(
    const std::optional<bridge::BrowserBridgeState>& state,
    std::optional<std::string_view> browserBundleIdentifier, const HostEnvironment& environment);

/// Builds the response that refuses a request with `error`, with the application's state as of now;
/// `event` names the reporting browser.
[[nodiscard]] NativeHostResponse makeErrorResponse(NativeHostError error,
    const events::BrowserActivityEvent* event, const HostEnvironment& environment,
    const SessionMemory& memory);

} // namespace host
