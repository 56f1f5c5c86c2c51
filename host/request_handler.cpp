#include "host/request_handler.h"

#include "bridge/version_string.h"
#include "events/event_validation.h"
#include "platform/random.h"

#include <tuple>
#include <utility>

namespace host {

namespace {

using bridge::BrowserBridgeState;
using events::BrowserActivityEvent;
using events::SupportedBrowser;

// This host serves one browser; the others of the table are for hosts of their own.
constexpr SupportedBrowser servedBrowser = SupportedBrowser::googleChrome;

constexpr events::ValidatorSettings validatorSettings {};

// One request on its way through the host.
struct RequestContext {
    const HostEnvironment& environment;
    SessionMemory& memory;

    [[nodiscard]] std::optional<BrowserBridgeState> liveState() const
    {
        return liveAppState(environment.services.now(), environment);
    }

    [[nodiscard]] NativeHostResponse refusal(
        NativeHostError error, const BrowserActivityEvent* event = nullptr) const
    {
        return makeErrorResponse(error, event, environment, memory);
    }

    // Refuses with a state that was read before.
    [[nodiscard]] NativeHostResponse refusal(std::string error,
        const std::optional<BrowserBridgeState>& state, std::string_view browser) const
    {
        return makeResponse(false, state, browser, std::move(error), environment, memory);
    }

    [[nodiscard]] NativeHostResponse acceptance(
        const std::optional<BrowserBridgeState>& state) const
    {
        return makeResponse(true, state, events::bundleIdentifier(servedBrowser), std::nullopt,
            environment, memory);
    }
};

bool isFromServedBrowser(const NativeHostRequest& request)
{
    return request.browserBundleIdentifier == events::bundleIdentifier(servedBrowser);
}

bool takesEvents(const BrowserBridgeState& state)
{
    return state.sessionRunning && !state.browserTrackingPaused;
}

bool hasValidExtensionVersion(const NativeHostRequest& request)
{
    return request.extensionVersion && bridge::isValidVersionString(*request.extensionVersion);
}

// File names are personal: unless the user allows it, a label made of one does not reach the
// application.
void removeFilenameLabel(BrowserActivityEvent& event, const HostEnvironment& environment)
{
    const bool isFilenameLabel = event.resourceType == events::BrowserActivityResourceType::localPDF
        && event.pdfLabelSource == events::BrowserPDFLabelSource::filename;
    // Most events have no such label: the preference is read only where it decides something.
    if (!isFilenameLabel || filenameLabelsEnabled(environment))
        return;
    event.pdfLabel.reset();
    event.pdfLabelSource.reset();
    event.hostname.reset();
    event.temporaryTabIdentifier.reset();
}

void rememberBrowser(const NativeHostRequest& request, const BrowserActivityEvent& event,
    const RequestContext& context)
{
    SessionMemory& memory = context.memory;
    memory.lastBrowser = servedBrowser; // no other's events come this far
    if (hasValidExtensionVersion(request)) {
        memory.lastExtensionVersion = request.extensionVersion;
        announceReadiness(servedBrowser, *request.extensionVersion, true, context.environment);
    }
    memory.lastLocalFilePermission = event.localFilePermission;
}

// Why the application's state does not let events of this browser through, if it does not.
std::optional<NativeHostError> relayRefusal(
    const BrowserActivityEvent& event, const BrowserBridgeState& state)
{
    if (!takesEvents(state))
        return NativeHostError::sessionUnavailable;
    if (!isFrontmost(event.browserBundleIdentifier, state))
        return NativeHostError::browserNotFrontmost;
    return std::nullopt;
}

bridge::StoreResult<void> relay(const BrowserActivityEvent& event,
    const base::UUID& sessionIdentifier, const HostEnvironment& environment)
{
    const auto eventData = events::encode(event);
    if (!eventData)
        return std::unexpected(eventData.error());
    const auto token = environment.store.readToken(environment.fileSystem);
    if (!token)
        return std::unexpected(token.error());
    return environment.store.writeInboxEvent(
        *eventData, *token, sessionIdentifier, environment.services.now(), environment.fileSystem);
}

NativeHostResponse handleReadinessPing(
    const NativeHostRequest& request, const RequestContext& context)
{
    if (!isFromServedBrowser(request) || !hasValidExtensionVersion(request))
        return context.refusal(NativeHostError::invalidRequest);
    context.memory.lastBrowser = servedBrowser;
    context.memory.lastExtensionVersion = request.extensionVersion;
    announceReadiness(servedBrowser, *request.extensionVersion, true, context.environment);
    return context.acceptance(context.liveState());
}

NativeHostResponse handleOpen(const NativeHostRequest& request, const RequestContext& context)
{
    if (!isFromServedBrowser(request))
        return context.refusal(NativeHostError::invalidRequest);
    context.environment.services.openCompanionApplication();
    return context.acceptance(context.liveState());
}

NativeHostResponse handleBrowserActivity(
    const NativeHostRequest& request, const RequestContext& context)
{
    if (!request.event
        || request.event->browserBundleIdentifier != events::bundleIdentifier(servedBrowser))
        return context.refusal(NativeHostError::invalidRequest);
    auto event
        = events::validate(*request.event, context.environment.services.now(), validatorSettings);
    if (!event) {
        return context.refusal(events::message(event.error()), context.liveState(),
            request.event->browserBundleIdentifier);
    }
    removeFilenameLabel(*event, context.environment);
    rememberBrowser(request, *event, context);

    const auto state = context.liveState();
    if (!state)
        return context.refusal(NativeHostError::appUnavailable, &*event);
    if (const auto refused = relayRefusal(*event, *state)) {
        return context.refusal(
            std::string(message(*refused)), state, event->browserBundleIdentifier);
    }
    if (!state->sessionIdentifier)
        return context.refusal(NativeHostError::sessionUnavailable, &*event);
    if (const auto relayed = relay(*event, *state->sessionIdentifier, context.environment);
        !relayed) {
        return context.refusal(
            bridge::message(relayed.error()), state, event->browserBundleIdentifier);
    }
    return context.acceptance(state);
}

NativeHostResponse handleTrackingPauseChanged(
    const NativeHostRequest& request, const RequestContext& context)
{
    if (!request.paused || !isFromServedBrowser(request))
        return context.refusal(NativeHostError::invalidRequest);
    if (*request.paused)
        reportExtensionDisconnected(servedBrowser, context.environment);
    return context.acceptance(context.liveState());
}

} // namespace

NativeHostResponse handleRequest(
    std::string_view payload, const HostEnvironment& environment, SessionMemory& memory)
{
    const RequestContext context { .environment = environment, .memory = memory };
    // The framing lets no such payload through; whoever calls this otherwise is held to the same
    // limit.
    if (payload.size() > maximumMessageBytes)
        return context.refusal(NativeHostError::messageTooLarge);
    const auto request = decodeNativeHostRequest(payload);
    if (!request)
        return context.refusal(NativeHostError::invalidRequest);
    if (request->protocolVersion != protocolVersion)
        return context.refusal(NativeHostError::invalidProtocolVersion);
    if (request->type == "readinessPing")
        return handleReadinessPing(*request, context);
    if (request->type == "openMerrowin" || request->type == "openDiagnostics")
        return handleOpen(*request, context);
    if (request->type == "browserActivity")
        return handleBrowserActivity(*request, context);
    if (request->type == "trackingPauseChanged")
        return handleTrackingPauseChanged(*request, context);
    return context.refusal(NativeHostError::invalidRequest);
}

void announceReadiness(SupportedBrowser browser, std::string_view extensionVersion,
    bool connectionAvailable, const HostEnvironment& environment)
{
    if (!liveAppState(environment.services.now(), environment))
        return;
    const auto token = environment.store.readToken(environment.fileSystem);
    if (!token)
        return;
    const bridge::BrowserBridgeReadiness readiness {
        .browserBundleIdentifier = std::string(events::bundleIdentifier(browser)),
        .extensionVersion = std::string(extensionVersion),
        .nativeHostVersion = std::string(nativeHostVersion),
        .protocolVersion = protocolVersion,
        .connectionAvailable = connectionAvailable,
        .updatedAt = environment.services.now(),
    };
    // Readiness is a courtesy to the application; the extension's request goes on without it.
    std::ignore = environment.store.writeReadiness(readiness, *token, environment.fileSystem);
}

void reportExtensionDisconnected(SupportedBrowser browser, const HostEnvironment& environment)
{
    const auto state = liveAppState(environment.services.now(), environment);
    if (!state || !takesEvents(*state) || !state->sessionIdentifier
        || !isFrontmost(events::bundleIdentifier(browser), *state))
        return;
    const auto id = platform::randomUUID();
    if (!id)
        return;
    const BrowserActivityEvent event {
        .id = *id,
        .browserDisplayName = std::string(events::displayName(browser)),
        .browserBundleIdentifier = std::string(events::bundleIdentifier(browser)),
        .timestamp = environment.services.now(),
        .eventType = events::BrowserActivityEventType::extensionDisconnected,
    };
    // Nobody is left to be told.
    std::ignore = relay(event, *state->sessionIdentifier, environment);
}

} // namespace host
