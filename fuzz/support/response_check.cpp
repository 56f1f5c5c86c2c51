#include "fuzz/support/response_check.h"

#include "bridge/bridge_records.h"
#include "events/event_validation.h"
#include "fuzz/support/claims.h"
#include "fuzz/support/naive_records.h"
#include "fuzz/support/naive_text.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace fuzz {

namespace {

constexpr std::array<std::string_view, 13> responseKeys { "protocolVersion", "nativeHostVersion",
    "minimumProtocolVersion", "accepted", "appRunning", "sessionRunning", "browserFrontmost",
    "trackingPaused", "sessionIdentifier", "localFilePermission", "filenameLabelsEnabled",
    "command", "error" };
constexpr std::array<std::string_view, 3> omissibleKeys { "localFilePermission", "command",
    "error" };

bool isTrue(const NaiveValue& object, std::string_view key)
{
    const NaiveValue* const value = object.find(key);
    return value != nullptr && value->type == NaiveValue::Type::boolean && value->boolean;
}

std::string textOrNothing(const NaiveValue& object, std::string_view key)
{
    const NaiveValue* const value = presentField(object, key);
    return value == nullptr ? std::string() : value->text;
}

void checkCommand(const NaiveValue& response, const std::optional<NaiveValue>& expected)
{
    const NaiveValue* const command = response.find("command");
    require((command != nullptr) == expected.has_value(),
        "a command is handed on exactly when one is pending");
    if (expected) {
        require(saysTheSame(*command, *expected, commandRules()),
            "the command is handed on as it was left");
    }
}

std::string expectedSession(const std::optional<NaiveValue>& state)
{
    if (!state || !booleanField(*state, "sessionRunning"))
        return {};
    return naivelyLowerCased(textOrNothing(*state, "sessionIdentifier"));
}

// The microseconds since 1970 as they stand in an event's name.
std::string countInName(double now)
{
    std::array<char, 32> count {};
    static_cast<void>(std::snprintf(count.data(), count.size(), "%020lld",
        static_cast<long long>((now + 978307200.0) * 1000000.0)));
    return count.data();
}

} // namespace

NaiveValue checkResponse(std::string_view response, std::string_view token)
{
    require(response.size() <= 16384, "a response has at most 16384 bytes");
    auto value = parseNaively(response);
    requireFor(value.has_value() && value->type == NaiveValue::Type::object,
        "a response is a JSON object", response);
    std::size_t presentKeys = 0;
    for (const std::string_view key : responseKeys) {
        const bool isThere = value->find(key) != nullptr;
        presentKeys += isThere ? 1 : 0;
        requireFor(isThere || std::ranges::find(omissibleKeys, key) != omissibleKeys.end(),
            "a response has all members that are never left out", key);
    }
    requireFor(presentKeys == value->members.size(), "a response has no other members", response);
    requireFor(isTrue(*value, "accepted") == (value->find("error") == nullptr),
        "a response is either accepted or has an error", response);
    requireFor(value->find("error") == nullptr || !textField(*value, "error").empty(),
        "an error says something", response);
    requireFor(token.empty() || response.find(token) == std::string_view::npos,
        "no response holds the token", response);
    return *std::move(value);
}

void checkPrediction(const NaiveValue& response, const Prediction& prediction,
    const std::optional<std::string>& permission)
{
    const auto& state = prediction.state;
    const auto says = [&state](std::string_view key) { return state && booleanField(*state, key); };
    requireFor(textOrNothing(response, "error") == prediction.error,
        "the request is answered as the rules say", prediction.error);
    require(isTrue(response, "accepted") == prediction.accepted, "accepted is as the rules say");
    require(isTrue(response, "appRunning") == state.has_value(), "appRunning is as the rules say");
    require(isTrue(response, "sessionRunning") == says("sessionRunning"),
        "sessionRunning is the state's");
    require(isTrue(response, "trackingPaused") == says("browserTrackingPaused"),
        "trackingPaused is the state's");
    require(textOrNothing(response, "sessionIdentifier") == expectedSession(state),
        "the session's identifier is the state's");
    const bool isFrontmost = state && prediction.browser
        && presentField(*state, "frontmostBrowserBundleIdentifier") != nullptr
        && textField(*state, "frontmostBrowserBundleIdentifier") == *prediction.browser;
    require(isTrue(response, "browserFrontmost") == isFrontmost,
        "browserFrontmost compares the state's browser with the reporting one");
    require(isTrue(response, "filenameLabelsEnabled") == prediction.filenameLabelsEnabled,
        "filenameLabelsEnabled is the preference");
    require(textOrNothing(response, "localFilePermission") == permission.value_or(""),
        "localFilePermission is the last one that was reported");
    checkCommand(response, prediction.commands.first);
}

NaiveValue checkEventFile(
    std::string_view name, std::string_view contents, std::string_view token, double now)
{
    requireFor(name.starts_with(countInName(now)), "an event's name begins with its time", name);
    const auto envelope = soundRecord(contents, inboxEnvelopeRules());
    requireFor(envelope.has_value(), "an event's file is a record", contents);
    requireFor(textField(*envelope, "token") == token && numberField(*envelope, "receivedAt") == now
            && numberField(*envelope, "version") == 1,
        "the record holds the version, the token and the time", contents);
    const auto decoded = bridge::decodeBrowserBridgeEnvelope(contents);
    requireFor(decoded && bridge::encode(*decoded) == contents,
        "an event's file is encoded as it is decoded", contents);

    const auto event = events::decodeBrowserActivityEvent(decoded->eventData);
    requireFor(event && events::encode(*event) == decoded->eventData,
        "an event is encoded as it is decoded", decoded->eventData);
    requireFor(events::validate(*event, base::Timestamp { now }, {}) == *event,
        "a relayed event is in its normal form", decoded->eventData);
    auto value = soundRecord(decoded->eventData, eventRules());
    requireFor(value.has_value(), "a relayed event is a record", decoded->eventData);
    return *std::move(value);
}

NaiveValue checkReadinessFile(std::string_view contents, std::string_view token)
{
    const auto envelope = soundRecord(contents, readinessEnvelopeRules());
    requireFor(envelope.has_value(), "a readiness file is a record", contents);
    requireFor(textField(*envelope, "token") == token, "the record holds the token", contents);
    const auto decoded = bridge::decodeBrowserBridgeReadinessEnvelope(contents);
    requireFor(decoded && bridge::encode(*decoded) == contents,
        "a readiness file is encoded as it is decoded", contents);
    return *envelope->find("readiness");
}

void checkRelayedEvent(const NaiveValue& event, const NaiveValue& expected)
{
    for (const NaiveMember& member : expected.members) {
        const NaiveValue* const value = event.find(member.key);
        requireFor(value != nullptr && naiveText(*value) == naiveText(member.value),
            "the event is relayed in its normal form", member.key);
    }
    for (const NaiveMember& member : event.members) {
        requireFor(
            expected.find(member.key) != nullptr || member.key == "id" || member.key == "timestamp",
            "the event has no other members", member.key);
    }
}

} // namespace fuzz
