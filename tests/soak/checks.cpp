#include "tests/soak/checks.h"

#include "fuzz/support/naive_records.h"
#include "fuzz/support/naive_text.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>

namespace soak {

namespace {

using fuzz::NaiveValue;

constexpr std::array<std::string_view, 10> memberOfEveryAnswer { "protocolVersion",
    "nativeHostVersion", "minimumProtocolVersion", "accepted", "appRunning", "sessionRunning",
    "browserFrontmost", "trackingPaused", "sessionIdentifier", "filenameLabelsEnabled" };
constexpr std::array<std::string_view, 3> memberOfSomeAnswers { "localFilePermission", "command",
    "error" };
constexpr std::string_view eventEnding = ".event";
constexpr std::string_view readinessEnding = ".readiness";
constexpr std::string_view temporaryEnding = ".temporary";
constexpr std::size_t uuidLength = 36;
constexpr std::size_t countLength = 20;

bool isTrue(const NaiveValue& object, std::string_view key)
{
    const NaiveValue* const value = object.find(key);
    return value != nullptr && value->type == NaiveValue::Type::boolean && value->boolean;
}

bool isEventName(std::string_view name)
{
    if (name.size() != countLength + 1 + uuidLength + eventEnding.size())
        return false;
    const std::string_view count = name.substr(0, countLength);
    const std::string_view uuid = name.substr(countLength + 1, uuidLength);
    return count.find_first_not_of("0123456789") == std::string_view::npos
        && name[countLength] == '-' && fuzz::isNaiveUUID(uuid)
        && fuzz::naivelyUpperCased(uuid) == uuid && name.ends_with(eventEnding);
}

bool isReadinessName(std::string_view name)
{
    return name == "googleChrome.readiness";
}

// An event's temporary name is its own, hidden and with an ending; a readiness file's has an
// identifier of its own.
bool isTemporaryName(std::string_view name)
{
    if (!name.starts_with('.') || !name.ends_with(temporaryEnding))
        return false;
    name.remove_prefix(1);
    name.remove_suffix(temporaryEnding.size());
    if (isEventName(name))
        return true;
    if (name.size() <= uuidLength + 1 || !fuzz::isNaiveUUID(name.substr(name.size() - uuidLength)))
        return false;
    name.remove_suffix(uuidLength);
    return name.ends_with('.') && isReadinessName(name.substr(0, name.size() - 1));
}

std::string countOf(double secondsSince2001)
{
    std::array<char, 32> digits {};
    static_cast<void>(std::snprintf(digits.data(), digits.size(), "%020lld",
        static_cast<long long>((secondsSince2001 + 978307200.0) * 1000000.0)));
    return digits.data();
}

std::string wrongMembers(const NaiveValue& answer)
{
    std::size_t members = memberOfEveryAnswer.size();
    for (const std::string_view key : memberOfEveryAnswer) {
        if (answer.find(key) == nullptr)
            return "an answer lacks " + std::string(key);
    }
    for (const std::string_view key : memberOfSomeAnswers)
        members += answer.find(key) == nullptr ? 0U : 1U;
    return members == answer.members.size() ? "" : "an answer has unknown members";
}

std::string wrongCommand(const NaiveValue& command, const Known& known)
{
    if (!fuzz::isRecord(command, fuzz::commandRules()))
        return "a command in an answer is no command";
    if (known.commandPrefix.empty()
        || !fuzz::textField(command, "id").starts_with(known.commandPrefix))
        return "a command in an answer is none that was left for this browser";
    if (fuzz::textField(command, "browserBundleIdentifier") != "com.google.Chrome")
        return "a command in an answer is for another browser";
    const NaiveValue* const session = fuzz::presentField(command, "sessionIdentifier");
    if (session != nullptr && !known.sessions.contains(session->text))
        return "a command in an answer is for an unknown session";
    return {};
}

std::string wrongSession(const NaiveValue& answer, const Known& known)
{
    const NaiveValue* const session = fuzz::presentField(answer, "sessionIdentifier");
    if (session == nullptr)
        return {};
    if (!isTrue(answer, "sessionRunning"))
        return "an answer names a session while none runs";
    if (fuzz::naivelyLowerCased(session->text) != session->text
        || !known.sessions.contains(fuzz::naivelyUpperCased(session->text)))
        return "an answer names an unknown session";
    return {};
}

bool holdsToken(std::string_view payload, const Known& known)
{
    return std::ranges::any_of(known.tokens, [payload](const std::string& token) {
        return payload.find(token) != std::string_view::npos;
    });
}

std::string wrongAnswer(
    std::string_view payload, const std::optional<NaiveValue>& answer, const Known& known)
{
    constexpr std::size_t limit = 16384;
    if (payload.size() > limit)
        return "an answer is too long";
    if (!answer || answer->type != NaiveValue::Type::object)
        return "an answer is no JSON object";
    if (auto wrong = wrongMembers(*answer); !wrong.empty())
        return wrong;
    if (isTrue(*answer, "accepted") == (answer->find("error") != nullptr))
        return "an answer is neither accepted nor refused with a reason";
    if (!isTrue(*answer, "appRunning")
        && (isTrue(*answer, "sessionRunning") || isTrue(*answer, "browserFrontmost")
            || isTrue(*answer, "trackingPaused")))
        return "an answer knows the state of an application that does not run";
    if (holdsToken(payload, known))
        return "an answer holds the token";
    if (auto wrong = wrongSession(*answer, known); !wrong.empty())
        return wrong;
    const NaiveValue* const command = answer->find("command");
    return command == nullptr ? "" : wrongCommand(*command, known);
}

std::string wrongEnvelope(std::string_view name, const NaiveValue& envelope, const Known& known)
{
    if (fuzz::numberField(envelope, "version") != 1)
        return "an event's record has another version";
    if (!known.tokens.contains(fuzz::textField(envelope, "token")))
        return "an event's record has an unknown token";
    if (!known.sessions.contains(fuzz::textField(envelope, "sessionIdentifier")))
        return "an event's record names an unknown session";
    if (!name.starts_with(countOf(fuzz::numberField(envelope, "receivedAt"))))
        return "an event's name has another time than its record";
    return {};
}

} // namespace

EventCheck checkEventFile(std::string_view name, std::string_view contents, const Known& known)
{
    if (!isEventName(name))
        return { .wrong = "an event's name has another form" };
    const auto envelope = fuzz::soundRecord(contents, fuzz::inboxEnvelopeRules());
    if (!envelope)
        return { .wrong = "an event's file is no whole record" };
    if (auto wrong = wrongEnvelope(name, *envelope, known); !wrong.empty())
        return { .wrong = std::move(wrong) };
    const std::string bytes = *fuzz::naiveBytes(fuzz::textField(*envelope, "eventData"));
    const auto event = fuzz::soundRecord(bytes, fuzz::eventRules());
    if (!event)
        return { .wrong = "what an event's record carries is no event" };
    return { .identifier = fuzz::textField(*event, "id") };
}

ReadinessCheck checkReadinessFile(std::string_view contents, const Known& known)
{
    const auto envelope = fuzz::soundRecord(contents, fuzz::readinessEnvelopeRules());
    if (!envelope)
        return { .wrong = "a readiness file is no whole record" };
    if (!known.tokens.contains(fuzz::textField(*envelope, "token")))
        return { .wrong = "a readiness record has an unknown token" };
    const NaiveValue& readiness = *envelope->find("readiness");
    if (fuzz::textField(readiness, "browserBundleIdentifier") != "com.google.Chrome")
        return { .wrong = "a readiness record is of another browser" };
    return { .connectionAvailable = isTrue(readiness, "connectionAvailable") };
}

AnswerCheck checkAnswer(std::string_view payload, const Known& known)
{
    const auto answer = fuzz::parseNaively(payload);
    AnswerCheck check { .wrong = wrongAnswer(payload, answer, known) };
    if (!check.wrong.empty())
        return check;
    check.accepted = isTrue(*answer, "accepted");
    check.labelsEnabled = isTrue(*answer, "filenameLabelsEnabled");
    check.inSession = isTrue(*answer, "sessionRunning") && isTrue(*answer, "browserFrontmost")
        && !isTrue(*answer, "trackingPaused");
    if (!check.accepted)
        check.error = fuzz::textField(*answer, "error");
    if (const NaiveValue* const command = answer->find("command"); command != nullptr)
        check.command = fuzz::textField(*command, "id");
    return check;
}

NameKind kindOfName(std::string_view name)
{
    if (name.ends_with(eventEnding))
        return isEventName(name) ? NameKind::event : NameKind::other;
    if (name.ends_with(readinessEnding))
        return isReadinessName(name) ? NameKind::readiness : NameKind::other;
    return isTemporaryName(name) ? NameKind::temporary : NameKind::other;
}

} // namespace soak
