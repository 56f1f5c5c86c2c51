#include "host/messages.h"

#include "base/json_writer.h"

#include <utility>
#include <vector>

namespace host {

namespace {

// Commands older than this many seconds are stale.
constexpr double maximumCommandAge = 60.0;

// The session that the state says is running.
std::optional<base::UUID> runningSession(const std::optional<bridge::BrowserBridgeState>& state)
{
    if (!state || !state->sessionRunning)
        return std::nullopt;
    return state->sessionIdentifier;
}

} // namespace

std::string_view message(NativeHostError error)
{
    switch (error) {
    case NativeHostError::invalidProtocolVersion:
        return "Unsupported Kestrane native-messaging protocol version.";
    case NativeHostError::invalidRequest:
        return "Malformed Kestrane native-messaging request.";
    case NativeHostError::messageTooLarge:
        return "The native-messaging request exceeds Kestrane's size limit.";
    case NativeHostError::appUnavailable:
        return "Kestrane is not running.";
    case NativeHostError::sessionUnavailable:
        return "No Kestrane session is currently running.";
    case NativeHostError::browserNotFrontmost:
        break;
    }
    return "The reporting browser is not the frontmost application.";
}

std::expected<NativeHostRequest, base::JsonError> decodeNativeHostRequest(std::string_view text)
{
    NativeHostRequest request;
    events::BrowserActivityEvent event;
    bool hasEvent = false;
    base::JsonRecordReader eventReader;
    events::declareFields(eventReader, event);

    base::JsonRecordReader reader;
    reader.required("protocolVersion", request.protocolVersion);
    reader.required("type", request.type);
    reader.optionalObject("event", eventReader, hasEvent);
    reader.optional("browserBundleIdentifier", request.browserBundleIdentifier);
    reader.optional("paused", request.paused);
    reader.optional("extensionVersion", request.extensionVersion);
    if (const auto read = base::readJson(text, reader); !read)
        return std::unexpected(read.error());
    if (hasEvent)
        request.event = std::move(event);
    return request;
}

std::expected<std::string, base::JsonError> encode(const NativeHostResponse& response)
{
    base::JsonWriter writer;
    writer.member("protocolVersion", response.protocolVersion);
    writer.member("nativeHostVersion", response.nativeHostVersion);
    writer.member("minimumProtocolVersion", response.minimumProtocolVersion);
    writer.member("accepted", response.accepted);
    writer.member("appRunning", response.appRunning);
    writer.member("sessionRunning", response.sessionRunning);
    writer.member("browserFrontmost", response.browserFrontmost);
    writer.member("trackingPaused", response.trackingPaused);
    if (response.sessionIdentifier)
        writer.member("sessionIdentifier", base::lowerCaseText(*response.sessionIdentifier));
    else
        writer.null("sessionIdentifier");
    writer.member("localFilePermission", response.localFilePermission);
    writer.member("filenameLabelsEnabled", response.filenameLabelsEnabled);
    if (response.command) {
        writer.beginObject("command");
        bridge::writeMembers(writer, *response.command);
        writer.endObject();
    }
    writer.member("error", response.error);
    return std::move(writer).finish();
}

bool filenameLabelsEnabled(const HostEnvironment& environment)
{
    const auto token = environment.store.readToken(environment.fileSystem);
    if (!token)
        return false;
    return environment.store.readPreferences(*token, environment.fileSystem).value_or(false);
}

NativeHostResponse makeResponse(bool accepted,
    const std::optional<bridge::BrowserBridgeState>& state,
    std::optional<std::string_view> browserBundleIdentifier, std::optional<std::string> error,
    const HostEnvironment& environment, const SessionMemory& memory)
{
    NativeHostResponse response;
    response.accepted = accepted;
    if (state) {
        response.appRunning = true;
        response.sessionRunning = state->sessionRunning;
        response.browserFrontmost
            = browserBundleIdentifier && isFrontmost(*browserBundleIdentifier, *state);
        response.trackingPaused = state->browserTrackingPaused;
        response.sessionIdentifier = runningSession(state);
    }
    response.localFilePermission = memory.lastLocalFilePermission;
    response.filenameLabelsEnabled = filenameLabelsEnabled(environment);
    response.command = pendingCommand(state, browserBundleIdentifier, environment);
    response.error = std::move(error);
    return response;
}

std::optional<bridge::BrowserBridgeCommand> pendingCommand(
    const std::optional<bridge::BrowserBridgeState>& state,
    std::optional<std::string_view> browserBundleIdentifier, const HostEnvironment& environment)
{
    if (!browserBundleIdentifier)
        return std::nullopt;
    const auto token = environment.store.readToken(environment.fileSystem);
    if (!token)
        return std::nullopt;
    auto commands
        = environment.store.consumeCommands(*token, *browserBundleIdentifier, runningSession(state),
            environment.services.now(), environment.fileSystem, maximumCommandAge);
    if (commands.empty())
        return std::nullopt;
    return std::move(commands.front());
}

NativeHostResponse makeErrorResponse(NativeHostError error,
    const events::BrowserActivityEvent* event, const HostEnvironment& environment,
    const SessionMemory& memory)
{
    const auto state = liveAppState(environment.services.now(), environment);
    const auto browser = event != nullptr
        ? std::optional<std::string_view>(event->browserBundleIdentifier)
        : std::nullopt;
    return makeResponse(false, state, browser, std::string(message(error)), environment, memory);
}

} // namespace host
