#include "fuzz/support/outcome_check.h"

#include "fuzz/support/claims.h"
#include "fuzz/support/naive_records.h"
#include "fuzz/support/naive_text.h"
#include "fuzz/support/written_check.h"

#include <algorithm>

namespace fuzz {

namespace {

std::string textOrNothing(const NaiveValue& object, std::string_view key)
{
    const NaiveValue* const value = presentField(object, key);
    return value == nullptr ? std::string() : value->text;
}

// What a response says, flag by flag, as it follows from the files.
struct ExpectedFlags {
    bool appRunning;
    bool sessionRunning;
    bool browserFrontmost;
    bool trackingPaused;
    bool filenameLabelsEnabled;
};

ExpectedFlags expectedFlags(const Prediction& prediction)
{
    const auto& state = prediction.state;
    const NaiveValue* const frontmost
        = state ? presentField(*state, "frontmostBrowserBundleIdentifier") : nullptr;
    return {
        .appRunning = state.has_value(),
        .sessionRunning = state && booleanField(*state, "sessionRunning"),
        .browserFrontmost
        = frontmost != nullptr && prediction.browser && frontmost->text == *prediction.browser,
        .trackingPaused = state && booleanField(*state, "browserTrackingPaused"),
        .filenameLabelsEnabled = prediction.filenameLabelsEnabled,
    };
}

// `compare` is told what the response says and what was expected.
template <typename Compare>
void checkFlags(const NaiveValue& response, const ExpectedFlags& expected, Compare compare)
{
    const auto check = [&](std::string_view key, bool isExpected) {
        requireFor(compare(booleanField(response, key), isExpected),
            "the response says of the application what its files say", key);
    };
    check("appRunning", expected.appRunning);
    check("sessionRunning", expected.sessionRunning);
    check("browserFrontmost", expected.browserFrontmost);
    check("trackingPaused", expected.trackingPaused);
    check("filenameLabelsEnabled", expected.filenameLabelsEnabled);
}

bool isHandedOn(const NaiveValue& command, const NaiveValue& accepted)
{
    return saysTheSame(command, accepted, commandRules());
}

// What holds whether or not a call failed.
void checkMemory(const Outcome& outcome, const Prediction& prediction)
{
    require(outcome.memory == prediction.memory, "the session remembers what the rules say");
    require(outcome.openings == (prediction.opensApplication ? 1 : 0),
        "the application is opened when it is asked for");
}

void checkPermission(const NaiveValue& response, const Prediction& prediction)
{
    require(
        textOrNothing(response, "localFilePermission") == prediction.memory.permission.value_or(""),
        "localFilePermission is the last one that was reported");
}

// The label of an event may be missing if the preferences could not be read.
Prediction withoutLabel(Prediction prediction)
{
    std::erase_if(prediction.event->members, [](const NaiveMember& member) {
        return member.key == "pdfLabel" || member.key == "pdfLabelSource";
    });
    return prediction;
}

void checkResponseOfFailure(
    const NaiveValue& response, const Prediction& prediction, std::string_view failure)
{
    const std::string error = textOrNothing(response, "error");
    const bool isExplained = prediction.restsOnFiles
        && (error == failure || error == "Kestrane is not running."
            || error == "Kestrane is not running or its browser bridge is not ready.");
    requireFor(error == prediction.error || isExplained,
        "the failure of a call does not lead to another refusal", error);
    checkPermission(response, prediction);
    checkFlags(response, expectedFlags(prediction),
        [](bool said, bool expected) { return !said || expected; });
    const std::string session = textOrNothing(response, "sessionIdentifier");
    require(session.empty()
            || session == naivelyLowerCased(runningSession(prediction.state).value_or("")),
        "the session is the state's");
    const NaiveValue* const command = response.find("command");
    require(command == nullptr
            || std::ranges::any_of(prediction.commands.accepted,
                [command](const NaiveValue& accepted) { return isHandedOn(*command, accepted); }),
        "a command that is handed on is one of those that were left");
}

} // namespace

void checkResponse(const NaiveValue& response, const Prediction& prediction)
{
    requireFor(textOrNothing(response, "error") == prediction.error,
        "the request is answered as the rules say", prediction.error);
    require(booleanField(response, "accepted") == prediction.accepted,
        "what is accepted is what the rules accept");
    checkPermission(response, prediction);
    checkFlags(response, expectedFlags(prediction),
        [](bool said, bool expected) { return said == expected; });
    require(textOrNothing(response, "sessionIdentifier")
            == naivelyLowerCased(runningSession(prediction.state).value_or("")),
        "the session is the state's");
    const NaiveValue* const command = response.find("command");
    require((command != nullptr) == !prediction.commands.accepted.empty(),
        "a command is handed on exactly when one is pending");
    require(command == nullptr || isHandedOn(*command, prediction.commands.accepted.front()),
        "the first command is handed on as it was left");
}

void checkOutcome(const Outcome& outcome, const Prediction& prediction)
{
    checkMemory(outcome, prediction);
    if (outcome.response)
        checkResponse(*outcome.response, prediction);
    const Effects& effects = outcome.effects;
    require(effects.removedCommands == prediction.commands.removed,
        "exactly the commands that are done with are removed");
    require(effects.newEvents.size() == (prediction.event ? 1U : 0U),
        "exactly the events that are accepted are relayed");
    if (prediction.event)
        checkEvent(effects.newEvents.front(), prediction);
    require(prediction.readiness || !effects.changedReadiness,
        "readiness is published only where the rules say so");
    if (prediction.readiness) {
        require(
            outcome.readinessContents.has_value(), "readiness is published where the rules say so");
        checkReadiness(*outcome.readinessContents, prediction);
    }
}

void checkOutcomeOfFailure(
    const Outcome& outcome, const Prediction& prediction, std::string_view failure)
{
    checkMemory(outcome, prediction);
    if (outcome.response)
        checkResponseOfFailure(*outcome.response, prediction, failure);
    const Effects& effects = outcome.effects;
    require(effects.newEvents.size() <= (prediction.event ? 1U : 0U),
        "no event is relayed that the rules refuse");
    const bool isToldRelayed = outcome.response && prediction.restsOnFiles
        && booleanField(*outcome.response, "accepted");
    require(!isToldRelayed || effects.newEvents.size() == 1,
        "an event that is accepted lies in the inbox");
    if (!effects.newEvents.empty()) {
        const bool hasLabel
            = readEvent(effects.newEvents.front(), prediction.now).event.find("pdfLabel")
            != nullptr;
        checkEvent(effects.newEvents.front(), hasLabel ? prediction : withoutLabel(prediction));
    }
    require(prediction.readiness || !effects.changedReadiness,
        "readiness is published only where the rules say so");
    if (effects.changedReadiness)
        checkReadiness(effects.changedReadiness->contents, prediction);
}

} // namespace fuzz
