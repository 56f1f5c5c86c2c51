#include "tests/support/application_states.h"

#include "tests/support/samples.h"

namespace support {

namespace {

constexpr std::string_view appUnavailable = "Kestrane is not running.";
constexpr std::string_view sessionUnavailable = "No Kestrane session is currently running.";
constexpr std::string_view browserNotFrontmost
    = "The reporting browser is not the frontmost application.";

// The state of an application that runs a session, with one thing changed.
template <typename Change> bridge::BrowserBridgeState stateWith(Change change)
{
    bridge::BrowserBridgeState state = validState();
    change(state);
    return state;
}

ApplicationStateCase notRunning(
    std::string name, std::optional<bridge::BrowserBridgeState> state, double age = 0)
{
    return { .name = std::move(name),
        .state = std::move(state),
        .age = age,
        .appRunning = false,
        .sessionRunning = false,
        .browserFrontmost = false,
        .namesSession = false,
        .refusal = appUnavailable };
}

std::vector<ApplicationStateCase> statesNotRunning()
{
    const auto withProcess = [](std::int32_t identifier) {
        return stateWith([identifier](auto& state) { state.appProcessIdentifier = identifier; });
    };
    ApplicationStateCase deadProcess = notRunning("DeadProcess", validState());
    deadProcess.processExists = false;
    return { notRunning("NoStateFile", std::nullopt), notRunning("StaleState", validState(), 60),
        notRunning("StateFromTheFuture", validState(), -60), deadProcess,
        notRunning("ProcessIdentifierZero", withProcess(0)),
        notRunning("ProcessIdentifierNegative", withProcess(-1)),
        notRunning("StateOfAnotherVersion", stateWith([](auto& state) { state.version = 2; })) };
}

std::vector<ApplicationStateCase> statesWithoutSession()
{
    const auto noSession = stateWith([](auto& state) { state.sessionRunning = false; });
    auto noSessionAtAll = noSession;
    noSessionAtAll.sessionIdentifier.reset();
    auto noSessionOtherFrontmost = noSession;
    noSessionOtherFrontmost.frontmostBrowserBundleIdentifier = firefox;
    const auto noIdentifier = stateWith([](auto& state) { state.sessionIdentifier.reset(); });
    return { { .name = "NoSessionButAnIdentifier",
                 .state = noSession,
                 .sessionRunning = false,
                 .namesSession = false,
                 .refusal = sessionUnavailable },
        { .name = "NoSession",
            .state = noSessionAtAll,
            .sessionRunning = false,
            .namesSession = false,
            .refusal = sessionUnavailable },
        { .name = "NoSessionAndOtherBrowserFrontmost",
            .state = noSessionOtherFrontmost,
            .sessionRunning = false,
            .browserFrontmost = false,
            .namesSession = false,
            .refusal = sessionUnavailable },
        { .name = "SessionWithoutIdentifier",
            .state = noIdentifier,
            .namesSession = false,
            .refusal = sessionUnavailable } };
}

std::vector<ApplicationStateCase> statesWithSession()
{
    const auto paused = stateWith([](auto& state) { state.browserTrackingPaused = true; });
    auto pausedOtherFrontmost = paused;
    pausedOtherFrontmost.frontmostBrowserBundleIdentifier = firefox;
    const auto withFrontmost = [](std::optional<std::string> browser) {
        return stateWith(
            [&browser](auto& state) { state.frontmostBrowserBundleIdentifier = browser; });
    };
    auto otherFrontmostNoIdentifier = withFrontmost(std::string(firefox));
    otherFrontmostNoIdentifier.sessionIdentifier.reset();
    const auto notFrontmost = [](std::string name, const bridge::BrowserBridgeState& state) {
        return ApplicationStateCase { .name = std::move(name),
            .state = state,
            .browserFrontmost = false,
            .namesSession = state.sessionIdentifier.has_value(),
            .refusal = browserNotFrontmost };
    };
    return { { .name = "Paused",
                 .state = paused,
                 .trackingPaused = true,
                 .refusal = sessionUnavailable },
        { .name = "PausedAndOtherBrowserFrontmost",
            .state = pausedOtherFrontmost,
            .browserFrontmost = false,
            .trackingPaused = true,
            .refusal = sessionUnavailable },
        notFrontmost("OtherBrowserFrontmost", withFrontmost(std::string(firefox))),
        notFrontmost("FrontmostInOtherLetterCase", withFrontmost("com.google.chrome")),
        notFrontmost("NoBrowserFrontmost", withFrontmost(std::nullopt)),
        notFrontmost("OtherBrowserFrontmostAndNoIdentifier", otherFrontmostNoIdentifier),
        { .name = "Live", .state = validState() } };
}

} // namespace

std::vector<ApplicationStateCase> allApplicationStates()
{
    std::vector<ApplicationStateCase> all;
    for (const auto& group : { statesNotRunning(), statesWithoutSession(), statesWithSession() })
        all.insert(all.end(), group.begin(), group.end());
    return all;
}

} // namespace support
