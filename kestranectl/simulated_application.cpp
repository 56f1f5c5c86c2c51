#include "kestranectl/simulated_application.h"

#include "bridge/bridge_store.h"
#include "bridge/private_file.h"
#include "events/supported_browsers.h"
#include "platform/random.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <optional>
#include <tuple>
#include <utility>

namespace kestranectl {

namespace {

using Outcome = SimulatedApplication::Outcome;

// How often the application writes its state, in seconds. Two writings may be lost before it counts
// as gone.
constexpr double stateInterval = 3.0;

// Hosts delete older commands, in seconds.
constexpr double maximumCommandAge = 60.0;

std::unexpected<std::string> failure(std::string_view what, const bridge::StoreFailure& reason)
{
    return std::unexpected(std::string(what) + ": " + bridge::message(reason));
}

// Fails where the system does not let it be seen: nothing is then known of the file.
platform::FileResult<bool> isAbsent(const std::string& path, const platform::FileSystem& fileSystem)
{
    const auto attributes = fileSystem.attributes(path);
    if (attributes)
        return false;
    if (attributes.error().code == ENOENT)
        return true;
    return std::unexpected(attributes.error());
}

// 64 hexadecimal digits.
platform::FileResult<std::string> makeToken()
{
    constexpr int identifiers = 2;
    std::string token;
    for (int count = 0; count < identifiers; ++count) {
        const auto identifier = platform::randomUUID();
        if (!identifier)
            return std::unexpected(identifier.error());
        token += base::lowerCaseText(*identifier);
    }
    std::erase(token, '-');
    return token;
}

// Removes a file that may be gone by now.
void removeFile(const std::string& path, const platform::FileSystem& fileSystem,
    std::vector<std::string>& failures)
{
    const auto removed = fileSystem.remove(path);
    if (!removed && removed.error().code != ENOENT)
        failures.push_back(path + " could not be removed: " + platform::message(removed.error()));
}

} // namespace

SimulatedApplication::SimulatedApplication(const SimulateOptions& options,
    std::int32_t processIdentifier, const host::HostEnvironment& environment)
    : environment_(environment)
    , force_(options.force)
    , startsSession_(options.sessionRunning)
{
    state_.appProcessIdentifier = processIdentifier;
    state_.browserTrackingPaused = options.trackingPaused;
    if (!options.frontmostBrowser.empty())
        state_.frontmostBrowserBundleIdentifier = options.frontmostBrowser;
    preferences_.filenameLabelsEnabled = options.filenameLabelsEnabled;
}

SimulatedApplication::~SimulatedApplication()
{
    // Whoever wants to know what fails has it leave himself.
    std::ignore = leave();
}

std::string SimulatedApplication::path(std::string_view name) const
{
    return bridge::appendingPathComponent(environment_.store.rootURL, name);
}

Outcome SimulatedApplication::start()
{
    const auto& front = state_.frontmostBrowserBundleIdentifier;
    if (front && !isUsableIdentifier(*front))
        return std::unexpected(
            "The browser in front must have an identifier of 1 to 255 bytes without control "
            "characters, such as com.google.Chrome.");
    if (const auto alone
        = refuseOtherApplication("End it, or play a second one beside it with --force.");
        !alone)
        return alone;
    const std::string& root = environment_.store.rootURL;
    // One that is there keeps its permissions: it may be any directory that was named by mistake.
    if (const auto made
        = environment_.fileSystem.createDirectories(root, bridge::privateDirectoryPermissions);
        !made)
        return failure("The directory " + root + " cannot be made", made.error());
    if (auto token = ensureToken(); !token)
        return token;
    if (auto preferences = ensurePreferences(); !preferences)
        return preferences;
    return setSessionRunning(startsSession_);
}

Outcome SimulatedApplication::refuseOtherApplication(std::string_view advice) const
{
    const auto live = host::liveAppState(environment_.services.now(), environment_);
    if (force_ || !live || live->appProcessIdentifier == state_.appProcessIdentifier)
        return {};
    return std::unexpected("An application runs already, as process "
        + std::to_string(live->appProcessIdentifier) + ". " + std::string(advice));
}

Outcome SimulatedApplication::write(std::string_view name, const bridge::EncodeResult& record) const
{
    const std::string itsPath = path(name);
    if (!record)
        return failure(itsPath + " cannot be written", record.error());
    const auto written
        = bridge::writePrivateFileAtomically(*record, itsPath, environment_.fileSystem);
    if (!written)
        return failure(itsPath + " cannot be written", written.error());
    return {};
}

Outcome SimulatedApplication::ensureToken()
{
    if (auto token = environment_.store.readToken(environment_.fileSystem)) {
        preferences_.token = *std::move(token);
        return {};
    }
    const std::string itsPath = path(bridge::tokenFileName);
    const auto absent = isAbsent(itsPath, environment_.fileSystem);
    if (!absent)
        return failure(itsPath + " cannot be looked at", absent.error());
    if (!*absent)
        return std::unexpected(itsPath
            + " is there but is no readable file of 64 hexadecimal digits. Remove it, so that a "
              "new one can be made.");
    auto token = makeToken();
    if (!token)
        return failure("A token cannot be made", token.error());
    preferences_.token = *token;
    madeToken_ = true;
    return write(bridge::tokenFileName, *std::move(token));
}

Outcome SimulatedApplication::ensurePreferences()
{
    const std::string itsPath = path(bridge::preferencesFileName);
    const auto absent = isAbsent(itsPath, environment_.fileSystem);
    if (!absent)
        return failure(itsPath + " cannot be looked at", absent.error());
    madePreferences_ = *absent;
    return writePreferences();
}

Outcome SimulatedApplication::writePreferences()
{
    return write(bridge::preferencesFileName, bridge::encode(preferences_));
}

Outcome SimulatedApplication::writeState()
{
    if (const auto alone = refuseOtherApplication("It has taken over; nothing is played any more.");
        !alone)
        return alone;
    state_.updatedAt = environment_.services.now();
    wroteState_ = true;
    return write(bridge::stateFileName, bridge::encode(state_));
}

std::chrono::milliseconds SimulatedApplication::untilNextState() const
{
    const double age = base::secondsBetween(state_.updatedAt, environment_.services.now());
    // A clock that was set back would make the state one of the future.
    if (age < 0 || age >= stateInterval)
        return std::chrono::milliseconds::zero();
    constexpr double millisecondsPerSecond = 1000;
    return std::chrono::milliseconds(
        std::lround(std::ceil((stateInterval - age) * millisecondsPerSecond)));
}

Outcome SimulatedApplication::setSessionRunning(bool isRunning)
{
    if (isRunning && !state_.sessionRunning) {
        const auto identifier = platform::randomUUID();
        if (!identifier)
            return failure("A session cannot begin", identifier.error());
        state_.sessionIdentifier = *identifier;
    }
    if (!isRunning)
        state_.sessionIdentifier.reset();
    state_.sessionRunning = isRunning;
    return writeState();
}

Outcome SimulatedApplication::obey(const SimulationRequest& request)
{
    return std::visit([this](const auto& wanted) { return this->carryOut(wanted); }, request);
}

Outcome SimulatedApplication::carryOut(const SetSession& request)
{
    return setSessionRunning(request.isRunning);
}

Outcome SimulatedApplication::carryOut(const SetPause& request)
{
    state_.browserTrackingPaused = request.isPaused;
    return writeState();
}

Outcome SimulatedApplication::carryOut(const SetFrontmostBrowser& request)
{
    state_.frontmostBrowserBundleIdentifier
        = request.identifier.empty() ? std::nullopt : std::optional(request.identifier);
    return writeState();
}

Outcome SimulatedApplication::carryOut(const SetLabels& request)
{
    preferences_.filenameLabelsEnabled = request.areEnabled;
    return writePreferences();
}

Outcome SimulatedApplication::carryOut(const ShowPDF& request)
{
    return send({ .type = bridge::BrowserBridgeCommandType::showLocalPDF,
        .sessionIdentifier = state_.sessionIdentifier,
        .pdfIdentifier = request.identifier });
}

Outcome SimulatedApplication::carryOut(const SendLabels& request)
{
    return send({ .type = bridge::BrowserBridgeCommandType::setFilenameLabelsEnabled,
        .filenameLabelsEnabled = request.areEnabled });
}

Outcome SimulatedApplication::carryOut(const Quit& /*request*/)
{
    return {};
}

Outcome SimulatedApplication::send(bridge::BrowserBridgeCommand command)
{
    // Hosts serve this one while no browser is in front, too.
    command.browserBundleIdentifier = state_.frontmostBrowserBundleIdentifier.value_or(
        std::string(events::bundleIdentifier(events::SupportedBrowser::googleChrome)));
    if (isCommandWaiting(command.browserBundleIdentifier))
        return std::unexpected("The command before this one was not taken yet by "
            + command.browserBundleIdentifier
            + ". Its extension takes it with the next answer that it gets.");
    const auto identifier = platform::randomUUID();
    if (!identifier)
        return failure("A command cannot be made", identifier.error());
    command.id = *identifier;
    command.createdAt = environment_.services.now();
    const std::string directory = path(bridge::commandsDirectoryName);
    if (const auto made = bridge::ensurePrivateDirectory(directory, environment_.fileSystem); !made)
        return failure("The directory " + directory + " cannot be made", made.error());
    std::erase_if(commandPaths_, [this](const std::string& commandPath) {
        return isAbsent(commandPath, environment_.fileSystem).value_or(false);
    });
    const std::string name = bridge::appendingPathComponent(
        bridge::commandsDirectoryName, base::upperCaseText(command.id) + ".command");
    commandPaths_.push_back(path(name));
    return write(name,
        bridge::encode(bridge::BrowserBridgeCommandEnvelope {
            .token = preferences_.token, .command = std::move(command) }));
}

bool SimulatedApplication::isCommandWaiting(std::string_view browser) const
{
    const auto now = environment_.services.now();
    return std::ranges::any_of(commandPaths_, [&](const std::string& commandPath) {
        const auto contents = bridge::readLimitedRegularFile(
            commandPath, bridge::maximumCommandBytes, environment_.fileSystem);
        if (!contents)
            return false;
        const auto envelope = bridge::decodeBrowserBridgeCommandEnvelope(*contents);
        return envelope && envelope->command.browserBundleIdentifier == browser
            && base::secondsBetween(envelope->command.createdAt, now) <= maximumCommandAge;
    });
}

std::vector<std::string> SimulatedApplication::leave()
{
    std::vector<std::string> failures;
    const platform::FileSystem& fileSystem = environment_.fileSystem;
    const auto commandPaths = std::exchange(commandPaths_, {});
    const bool wroteState = std::exchange(wroteState_, false);
    const bool madePreferences = std::exchange(madePreferences_, false);
    const bool madeToken = std::exchange(madeToken_, false);
    const auto live = host::liveAppState(environment_.services.now(), environment_);
    if (live && live->appProcessIdentifier != state_.appProcessIdentifier)
        return failures;
    const auto state = environment_.store.readState(fileSystem);
    if (wroteState && state && state->appProcessIdentifier == state_.appProcessIdentifier)
        removeFile(path(bridge::stateFileName), fileSystem, failures);
    for (const std::string& commandPath : commandPaths)
        removeFile(commandPath, fileSystem, failures);
    if (madePreferences)
        removeFile(path(bridge::preferencesFileName), fileSystem, failures);
    if (madeToken && environment_.store.readToken(fileSystem) == preferences_.token)
        removeFile(path(bridge::tokenFileName), fileSystem, failures);
    return failures;
}

} // namespace kestranectl
