#include "tests/host/host_model.h"

#include "tests/host/host_test.h"
#include "tests/support/samples.h"

#include <cstring>
#include <tuple>

namespace host {

using support::FileOperation;

namespace {

events::BrowserActivityEvent eventWithoutHostname()
{
    events::BrowserActivityEvent event = support::validEvent();
    event.hostname = "";
    return event;
}

constexpr std::string_view invalidHostnameText = "The browser hostname is invalid.";
constexpr unsigned wide = 0755;
constexpr unsigned narrow = 0700;

} // namespace

std::string payloadOf(RequestKind kind)
{
    switch (kind) {
    case RequestKind::readinessPing:
        return pingText();
    case RequestKind::openMerrowin:
        return requestText("openMerrowin");
    case RequestKind::openDiagnostics:
        return requestText("openDiagnostics");
    case RequestKind::activity:
        return activityText();
    case RequestKind::activityWithVersion:
        return activityText(support::validEvent(), versionMember);
    case RequestKind::pdfActivityWithVersion:
        return activityText(support::validPDFEvent(), versionMember);
    case RequestKind::trackingPaused:
        return pauseText(true);
    case RequestKind::trackingResumed:
        return pauseText(false);
    case RequestKind::malformed:
        return "{";
    case RequestKind::refused:
        break;
    }
    return activityText(eventWithoutHostname(), versionMember);
}

HostModel::HostModel(bool hasDirectories, PlannedFailure failure)
    : inbox { .exists = hasDirectories, .permissions = wide }
    , readinessDirectory { .exists = hasDirectories, .permissions = wide }
    , failure_(failure)
{
}

void HostModel::recover()
{
    failure_ = {};
    calls_.clear();
}

std::optional<int> HostModel::call(FileOperation operation, std::string_view item)
{
    calls_.push_back({ operation, std::string(item) });
    const bool isMeant
        = failure_.lasts ? calls_.size() >= failure_.number : calls_.size() == failure_.number;
    return failure_.number != 0 && isMeant ? std::optional(failure_.code) : std::nullopt;
}

// A file that cannot be opened is looked at, in case it is one that is refused for what it is.
bool HostModel::canRead(std::string_view item)
{
    if (call(FileOperation::openForReading, item)) {
        std::ignore = call(FileOperation::attributesOfPath, item);
        return false;
    }
    return !call(FileOperation::attributesOfOpenFile, item) && !call(FileOperation::read, item);
}

bool HostModel::labelsEnabled()
{
    return canRead("bridge-token") && canRead("preferences.json");
}

// What cannot be read is removed like what is delivered; what cannot be removed is delivered all
// the same.
bool HostModel::takeCommand()
{
    if (!canRead("bridge-token") || call(FileOperation::visibleNames, "Commands") || !hasCommand)
        return false;
    const bool isDelivered = canRead("Commands/1.command");
    hasCommand = call(FileOperation::remove, "Commands/1.command").has_value();
    return isDelivered;
}

// Narrowing alone does where the directory is there. Otherwise, and if that fails, it is made
// first.
std::optional<int> HostModel::ensure(Directory& directory, std::string_view name)
{
    if (!call(FileOperation::setDirectoryPermissions, name) && directory.exists) {
        directory.permissions = narrow;
        return std::nullopt;
    }
    if (const auto error = call(FileOperation::createDirectories, name))
        return error;
    if (!directory.exists)
        directory = { .exists = true, .permissions = narrow };
    const auto error = call(FileOperation::setDirectoryPermissions, name);
    if (!error)
        directory.permissions = narrow;
    return error;
}

void HostModel::removeTemporary(std::string_view item)
{
    if (!call(FileOperation::remove, item))
        --temporaryFiles;
}

std::optional<int> HostModel::writeTemporary(std::string_view item)
{
    if (const auto error = call(FileOperation::createFile, item))
        return error;
    ++temporaryFiles;
    const auto error = call(FileOperation::write, item);
    if (error)
        removeTemporary(item);
    return error;
}

std::optional<int> HostModel::writeInboxEvent(const Event& event)
{
    constexpr std::string_view item = "Inbox/*";
    if (const auto error = ensure(inbox, "Inbox"))
        return error;
    if (const auto error = writeTemporary(item))
        return error;
    if (const auto error = call(FileOperation::rename, item)) {
        removeTemporary(item);
        return error;
    }
    --temporaryFiles;
    relayed.push_back(event);
    return call(FileOperation::setPermissions, item); // the event stays
}

std::optional<int> HostModel::writeReadinessFile(bool isAvailable)
{
    constexpr std::string_view item = "Readiness/*";
    if (const auto error = ensure(readinessDirectory, "Readiness"))
        return error;
    if (const auto error = writeTemporary(item))
        return error;
    auto error = call(FileOperation::setPermissions, item);
    if (!error)
        error = call(FileOperation::rename, item);
    if (error) {
        removeTemporary(item);
        return error;
    }
    --temporaryFiles;
    connectionAvailable = isAvailable;
    error = call(FileOperation::setPermissions, item);
    std::ignore = call(FileOperation::remove, item); // of a name that is gone
    return error;
}

void HostModel::announce(bool isAvailable)
{
    if (canRead("state.json") && canRead("bridge-token"))
        std::ignore = writeReadinessFile(isAvailable); // swallowed
}

void HostModel::reportDisconnected()
{
    if (canRead("state.json") && canRead("bridge-token"))
        std::ignore // swallowed
            = writeInboxEvent({ events::BrowserActivityEventType::extensionDisconnected, {} });
}

void HostModel::endSession()
{
    announce(false);
    reportDisconnected();
}

NativeHostResponse HostModel::respond(bool hasState, bool hasBrowser, std::string_view error)
{
    NativeHostResponse response { .accepted = error.empty() };
    if (hasState) {
        response.appRunning = true;
        response.sessionRunning = true;
        response.browserFrontmost = hasBrowser;
        response.sessionIdentifier = support::sessionIdentifier();
    }
    response.localFilePermission = permission_;
    response.filenameLabelsEnabled = labelsEnabled();
    if (hasBrowser && takeCommand())
        response.command = support::command().command;
    if (!error.empty())
        response.error = error;
    return response;
}

NativeHostResponse HostModel::answerActivity(events::BrowserActivityEvent event, bool hasVersion)
{
    if (event.pdfLabel && !labelsEnabled())
        event.pdfLabel.reset();
    if (hasVersion)
        announce(true);
    permission_ = event.localFilePermission;
    if (!canRead("state.json"))
        return respond(
            canRead("state.json"), true, appUnavailableText); // asked anew for the refusal
    if (!canRead("bridge-token"))
        return respond(true, true, bridgeNotReadyText);
    if (const auto error = writeInboxEvent({ event.eventType, event.pdfLabel }))
        return respond(true, true, std::strerror(*error));
    return respond(true, true);
}

NativeHostResponse HostModel::answer(RequestKind kind)
{
    switch (kind) {
    case RequestKind::readinessPing:
        announce(true);
        break;
    case RequestKind::trackingPaused:
        reportDisconnected();
        break;
    case RequestKind::openMerrowin:
    case RequestKind::openDiagnostics:
    case RequestKind::trackingResumed:
        break;
    case RequestKind::activity:
        return answerActivity(support::validEvent(), false);
    case RequestKind::activityWithVersion:
        return answerActivity(support::validEvent(), true);
    case RequestKind::pdfActivityWithVersion:
        return answerActivity(support::validPDFEvent(), true);
    case RequestKind::malformed:
        return respond(canRead("state.json"), false, malformedText);
    case RequestKind::refused:
        return respond(canRead("state.json"), true, invalidHostnameText);
    }
    return respond(canRead("state.json"), true);
}

} // namespace host
