#include "fuzz/support/written_check.h"

#include "fuzz/support/claims.h"
#include "fuzz/support/naive_records.h"
#include "fuzz/support/naive_text.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace fuzz {

namespace {

using Type = NaiveValue::Type;

struct ResponseMember {
    std::string_view key;
    Type type;
    bool isAlwaysThere;
};

constexpr std::array<ResponseMember, 13> responseMembers { {
    { "protocolVersion", Type::number, true },
    { "nativeHostVersion", Type::string, true },
    { "minimumProtocolVersion", Type::number, true },
    { "accepted", Type::boolean, true },
    { "appRunning", Type::boolean, true },
    { "sessionRunning", Type::boolean, true },
    { "browserFrontmost", Type::boolean, true },
    { "trackingPaused", Type::boolean, true },
    { "sessionIdentifier", Type::string, true },
    { "localFilePermission", Type::string, false },
    { "filenameLabelsEnabled", Type::boolean, true },
    { "command", Type::object, false },
    { "error", Type::string, false },
} };

// Only the session's identifier may be null.
bool hasType(const NaiveValue& value, const ResponseMember& member)
{
    const bool isNullSession
        = value.type == Type::null && member.key == std::string_view("sessionIdentifier");
    return value.type == member.type || isNullSession;
}

// Compact JSON in which every slash is escaped, as the host writes it.
std::string compactForm(const NaiveValue& value)
{
    std::string text;
    for (const char character : naiveText(value)) {
        if (character == '/')
            text += '\\';
        text += character;
    }
    return text;
}

NaiveValue readRecord(std::string_view contents, RecordRules rules)
{
    auto record = soundRecord(contents, rules);
    requireFor(record.has_value(), "what is written is a whole record", contents);
    requireFor(compactForm(*record) == contents, "what is written is compact JSON", contents);
    requireFor(
        saysTheSame(*record, *record, rules), "a record has no members but its own", contents);
    return *std::move(record);
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

NaiveValue readResponse(std::string_view response)
{
    require(response.size() <= 16384, "a response has at most 16384 bytes");
    auto value = parseNaively(response);
    requireFor(
        value.has_value() && value->type == Type::object, "a response is a JSON object", response);
    std::size_t presentMembers = 0;
    for (const ResponseMember& member : responseMembers) {
        const NaiveValue* const found = value->find(member.key);
        requireFor(found != nullptr || !member.isAlwaysThere,
            "a response has all members that are never left out", member.key);
        requireFor(found == nullptr || hasType(*found, member),
            "the members of a response have their types", member.key);
        presentMembers += found == nullptr ? 0 : 1;
    }
    requireFor(
        presentMembers == value->members.size(), "a response has no other members", response);
    requireFor(numberField(*value, "protocolVersion") == 1
            && numberField(*value, "minimumProtocolVersion") == 1
            && textField(*value, "nativeHostVersion") == "0.3.0",
        "a response names the versions of this host", response);
    const NaiveValue* const error = value->find("error");
    requireFor(booleanField(*value, "accepted") == (error == nullptr)
            && (error == nullptr || !error->text.empty()),
        "a response is either accepted or says why it is not", response);
    return *std::move(value);
}

WrittenEvent readEvent(const WrittenFile& file, double now)
{
    requireFor(
        file.name.starts_with(countInName(now)), "an event's name begins with its time", file.name);
    WrittenEvent written { .envelope = readRecord(file.contents, inboxEnvelopeRules()) };
    const auto eventData = naiveBytes(textField(written.envelope, "eventData"));
    written.event = readRecord(*eventData, eventRules());
    requireFor(numberField(written.envelope, "version") == 1
            && numberField(written.envelope, "receivedAt") == now,
        "the envelope is of version 1 and of this time", file.contents);
    return written;
}

bool isSameEvent(const NaiveValue& event, const NaiveValue& predicted)
{
    const auto isThere = [&event](const NaiveMember& member) {
        const NaiveValue* const value = event.find(member.key);
        return value != nullptr && naiveText(*value) == naiveText(member.value);
    };
    const auto isExpected = [&predicted](const NaiveMember& member) {
        return member.key == "id" || predicted.find(member.key) != nullptr;
    };
    return std::ranges::all_of(predicted.members, isThere)
        && std::ranges::all_of(event.members, isExpected);
}

void checkEvent(const WrittenFile& file, const Prediction& prediction)
{
    const auto [envelope, event] = readEvent(file, prediction.now);
    requireFor(textField(envelope, "token") == prediction.token, "the envelope holds the token",
        file.contents);
    requireFor(textField(envelope, "sessionIdentifier") == runningSession(prediction.state),
        "the envelope holds the session that runs", file.contents);
    requireFor(isSameEvent(event, *prediction.event), "the event is relayed in its normal form",
        naiveText(event));
}

void checkReadiness(std::string_view contents, const Prediction& prediction)
{
    const NaiveValue envelope = readRecord(contents, readinessEnvelopeRules());
    requireFor(
        numberField(envelope, "version") == 1 && textField(envelope, "token") == prediction.token,
        "the envelope holds the version and the token", contents);
    const NaiveValue& report = *envelope.find("readiness");
    requireFor(numberField(report, "version") == 1
            && textField(report, "browserBundleIdentifier") == "com.google.Chrome"
            && textField(report, "extensionVersion") == prediction.readiness->extensionVersion
            && textField(report, "nativeHostVersion") == "0.3.0"
            && numberField(report, "protocolVersion") == 1
            && booleanField(report, "connectionAvailable")
                == prediction.readiness->connectionAvailable
            && numberField(report, "updatedAt") == prediction.now,
        "readiness says what the rules say", contents);
}

} // namespace fuzz
