#include "kestranectl/doctor_parts.h"

#include "bridge/bridge_store.h"
#include "host/companion_application.h"
#include "platform/item_status.h"
#include "platform/process.h"

#include <optional>
#include <tuple>
#include <variant>

namespace kestranectl {

namespace {

constexpr unsigned forGroupAndOthers = 0077;

const std::string startAdvice = "Start Kestrane, or restart it if it runs.";

bool isOthersBusiness(const platform::ItemStatus& status)
{
    return (status.permissions & forGroupAndOthers) != 0;
}

std::string bridgeDirectory(Examination& examination)
{
    const platform::FileSystem& files = platform::localFileSystem();
    if (!examination.options.bridgeDirectory.empty())
        return examination.options.bridgeDirectory;
    const auto value = examination.surroundings.variable(bridge::bridgeDirectoryVariable);
    if (!value || value->empty())
        return bridge::BrowserBridgeStore::defaultRootURL(files);
    examination.notice("environment",
        std::string(bridge::bridgeDirectoryVariable) + " is " + *value
            + " here. A host whose browser was not started from here does not have it and uses "
              "another directory.");
    return *value;
}

bool examineRoot(Examination& examination, const std::string& root)
{
    const std::string subject = "bridge directory";
    const auto status = platform::statusOfTarget(root);
    if (!status && platform::saysAbsent(status.error())) {
        examination.bad(subject, root + " is not there: Kestrane has not run for this user.",
            "Start Kestrane.");
        return false;
    }
    if (!status) {
        reportHidden(examination, subject, root, status.error());
        return false;
    }
    if (status->kind != platform::FileKind::directory) {
        examination.bad(subject, root + " is no directory.", "Remove it, then start Kestrane.");
        return false;
    }
    std::ignore = examineTrust(examination, subject, root); // Nothing in it is executed.
    if (isOthersBusiness(*status))
        examination.notice(
            subject, root + " is open to other users.", "Close it: chmod 700 '" + root + '\'');
    else
        examination.good(subject, root + " is the user's alone.");
    return true;
}

// Why there is no valid token; what the file holds is not shown.
std::string tokenProblem(const std::string& path)
{
    const auto contents = bridge::readLimitedRegularFile(
        path, bridge::maximumTokenBytes, platform::localFileSystem());
    if (contents)
        return path + " holds " + countText(contents->size(), "byte")
            + " that are no token: a token is 64 hexadecimal digits and nothing else, no line "
              "break either.";
    if (const auto* const error = std::get_if<platform::FileError>(&contents.error()))
        return path + " cannot be read: " + message(*error) + '.';
    if (contents.error() == bridge::StoreFailure(bridge::BrowserBridgeStoreError::payloadTooLarge))
        return path + " is larger than a token may be.";
    return path + " is no regular file.";
}

// The valid token, if there is one.
std::optional<std::string> examineToken(
    Examination& examination, const bridge::BrowserBridgeStore& store)
{
    const std::string subject = "token";
    const std::string path = bridge::appendingPathComponent(store.rootURL, bridge::tokenFileName);
    auto token = store.readToken(platform::localFileSystem());
    if (!token) {
        examination.bad(subject, tokenProblem(path), startAdvice);
        return std::nullopt;
    }
    const auto status = platform::statusOfItem(path);
    if (status && isOthersBusiness(*status))
        examination.notice(subject, path + " is valid, but open to other users.",
            "Close it: chmod 600 '" + path + '\'');
    else
        examination.good(subject, path + " is valid.");
    return *std::move(token);
}

// Why the state is not that of a running application; the checks of the host, in its order.
std::optional<std::string> whyNotRunning(
    const bridge::BrowserBridgeState& state, const DoctorProbes& probes)
{
    const double age = base::secondsBetween(state.updatedAt, probes.now());
    if (age > host::stateMaximumAge)
        return "was last written " + durationText(age)
            + " ago: Kestrane has ended, or hangs (it writes every few seconds).";
    if (!(age >= -host::stateMaximumLead))
        return "was written " + durationText(age)
            + " ahead of this computer's clock, so hosts refuse it.";
    const std::string process = std::to_string(state.appProcessIdentifier);
    if (state.appProcessIdentifier < 1)
        return "names process " + process + ", which cannot be.";
    if (!probes.processExists(state.appProcessIdentifier))
        return "names process " + process + ", which is not there: Kestrane has ended.";
    return std::nullopt;
}

void examineSession(Examination& examination, const bridge::BrowserBridgeState& state)
{
    const std::string subject = "session";
    if (!state.sessionRunning)
        examination.notice(subject, "No session runs, so hosts refuse browser activity.",
            "Start a session in Kestrane.");
    else if (!state.sessionIdentifier)
        examination.bad(subject,
            "A session runs without an identifier, so hosts refuse browser activity.", startAdvice);
    else if (state.browserTrackingPaused)
        examination.notice(subject, "Browser tracking is paused, so hosts refuse browser activity.",
            "Resume it in Kestrane or in the extension.");
    else
        examination.good(subject, "A session runs.");
    const auto& frontmost = state.frontmostBrowserBundleIdentifier;
    if (state.sessionRunning)
        examination.good("frontmost browser",
            frontmost ? "In front is " + *frontmost + "; activity of others is refused."
                      : "No browser is in front; activity is refused until one is.");
}

void examineState(Examination& examination, const bridge::BrowserBridgeStore& store)
{
    const std::string subject = "application";
    const std::string path = bridge::appendingPathComponent(store.rootURL, bridge::stateFileName);
    const auto state = store.readState(platform::localFileSystem());
    if (!state) {
        examination.bad(subject,
            presenceOf(path) == Presence::absent
                ? path + " is not there: Kestrane does not run."
                : path + " gives no state: " + asSentence(message(state.error())),
            startAdvice);
        return;
    }
    if (const auto why = whyNotRunning(*state, examination.probes)) {
        examination.bad(subject, path + ' ' + *why, startAdvice);
        return;
    }
    examination.good(
        subject, "Kestrane runs as process " + std::to_string(state->appProcessIdentifier) + '.');
    examineSession(examination, *state);
}

void examinePreferences(Examination& examination, const bridge::BrowserBridgeStore& store,
    const std::optional<std::string>& token)
{
    const std::string subject = "preferences";
    const std::string path
        = bridge::appendingPathComponent(store.rootURL, bridge::preferencesFileName);
    const auto labels = store.readPreferences(token.value_or(""), platform::localFileSystem());
    if (labels) {
        examination.good(subject,
            *labels ? "Labels from file names are allowed." : "Labels from file names are off.");
        return;
    }
    // Hosts do not say why either: what they cannot read they take for "off".
    const std::string why = presenceOf(path) == Presence::absent
        ? " is not there"
        : " cannot be read, breaks a rule or carries another token than the present one";
    examination.notice(subject, path + why + ", so labels from file names are off.", startAdvice);
}

} // namespace

void examineBridge(Examination& examination)
{
    const std::string root = bridgeDirectory(examination);
    if (!examineRoot(examination, root))
        return;
    const bridge::BrowserBridgeStore store { root };
    const auto token = examineToken(examination, store);
    examineState(examination, store);
    examinePreferences(examination, store, token);
    examineQueues(examination, root, token.value_or(""));
}

} // namespace kestranectl
