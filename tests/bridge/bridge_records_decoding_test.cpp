#include "bridge/bridge_records.h"
#include "tests/support/json_object.h"
#include "tests/support/samples.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace bridge {

namespace {

using base::JsonError;
using base::JsonErrorKind;
using support::JsonObject;

const std::string tokenText = '"' + std::string(support::validToken) + '"';

const JsonObject envelopeObject {
    { "version", "1" },
    { "token", tokenText },
    { "sessionIdentifier", R"("5E551011-0000-4000-8000-00000000000A")" },
    { "receivedAt", "753422400.5" },
    { "eventData", R"("YWJj")" },
};

const JsonObject stateObject {
    { "version", "1" },
    { "appProcessIdentifier", "4711" },
    { "sessionRunning", "true" },
    { "sessionIdentifier", R"("5E551011-0000-4000-8000-00000000000A")" },
    { "browserTrackingPaused", "true" },
    { "frontmostBrowserBundleIdentifier", R"("com.google.Chrome")" },
    { "updatedAt", "753422400" },
};

const JsonObject preferencesObject {
    { "version", "1" },
    { "token", tokenText },
    { "filenameLabelsEnabled", "true" },
};

const JsonObject commandObject {
    { "id", R"("C0FFEE00-1111-4222-8333-444455556666")" },
    { "type", R"("setFilenameLabelsEnabled")" },
    { "browserBundleIdentifier", R"("com.google.Chrome")" },
    { "sessionIdentifier", R"("5E551011-0000-4000-8000-00000000000A")" },
    { "pdfIdentifier", R"("9B2D6E1C-7C43-4C25-9D5E-0F6A1B2C3D4E")" },
    { "filenameLabelsEnabled", "true" },
    { "createdAt", "753422400.25" },
};

const JsonObject commandEnvelopeObject {
    { "version", "1" },
    { "token", tokenText },
    { "command", commandObject.text() },
};

const JsonObject readinessObject {
    { "version", "1" },
    { "browserBundleIdentifier", R"("com.google.Chrome")" },
    { "extensionVersion", R"("1.2.3")" },
    { "nativeHostVersion", R"("0.3.0")" },
    { "protocolVersion", "1" },
    { "connectionAvailable", "true" },
    { "updatedAt", "753422400" },
};

const JsonObject readinessEnvelopeObject {
    { "version", "1" },
    { "token", tokenText },
    { "readiness", readinessObject.text() },
};

// One record in JSON, with all its fields present and none at its default.
struct Form {
    std::string name;
    JsonObject object;
    std::vector<std::string> optionalKeys;
    // The whole file with this text of the record in it.
    std::function<std::string(const std::string& record)> file;
    // What a decoded file is when it is written again, or the failure.
    std::function<EncodeResult(const std::string& file)> rewritten;
};

template <auto decode> EncodeResult rewritten(const std::string& file)
{
    const auto record = decode(file);
    if (!record)
        return std::unexpected(record.error());
    return encode(*record);
}

std::string itself(const std::string& record)
{
    return record;
}

const std::vector<Form> forms {
    { "BrowserBridgeEnvelope", envelopeObject, {}, itself, rewritten<decodeBrowserBridgeEnvelope> },
    { "BrowserBridgeState", stateObject,
        { "sessionIdentifier", "frontmostBrowserBundleIdentifier" }, itself,
        rewritten<decodeBrowserBridgeState> },
    { "BrowserBridgePreferencesEnvelope", preferencesObject, {}, itself,
        rewritten<decodeBrowserBridgePreferencesEnvelope> },
    { "BrowserBridgeCommandEnvelope", commandEnvelopeObject, {}, itself,
        rewritten<decodeBrowserBridgeCommandEnvelope> },
    { "BrowserBridgeCommand", commandObject,
        { "sessionIdentifier", "pdfIdentifier", "filenameLabelsEnabled" },
        [](const std::string& record) {
            return commandEnvelopeObject.with("command", record).text();
        },
        rewritten<decodeBrowserBridgeCommandEnvelope> },
    { "BrowserBridgeReadinessEnvelope", readinessEnvelopeObject, {}, itself,
        rewritten<decodeBrowserBridgeReadinessEnvelope> },
    { "BrowserBridgeReadiness", readinessObject, {},
        [](const std::string& record) {
            return readinessEnvelopeObject.with("readiness", record).text();
        },
        rewritten<decodeBrowserBridgeReadinessEnvelope> },
};

std::string rewrittenText(const Form& form, const JsonObject& object)
{
    const auto text = form.rewritten(form.file(object.text()));
    EXPECT_TRUE(text) << object.text() << ": " << message(text.error());
    return text.value_or("");
}

void expectFailure(
    const Form& form, const JsonObject& object, JsonErrorKind kind, std::string_view key)
{
    const auto text = form.rewritten(form.file(object.text()));
    ASSERT_FALSE(text) << object.text();
    EXPECT_EQ(text.error().kind, kind) << object.text();
    EXPECT_EQ(text.error().key, key) << object.text();
}

std::vector<std::string> valuesOfOtherTypes(const std::string& value)
{
    std::vector<std::string> others { "[]", "[" + value + "]" };
    if (!value.starts_with('"'))
        others.insert(
            others.end(), { R"("")", R"("1")", R"("true")", R"("2024-11-16T04:00:00Z")" });
    if (value != "true")
        others.insert(others.end(), { "true", "false" });
    if (!value.starts_with('{'))
        others.emplace_back("{}");
    const bool isNumber = value.front() >= '0' && value.front() <= '9';
    if (!isNumber)
        others.insert(others.end(), { "0", "1", "1.5" });
    return others;
}

bool isOptional(const Form& form, const std::string& key)
{
    return std::ranges::find(form.optionalKeys, key) != form.optionalKeys.end();
}

BrowserBridgeState decodedState(const JsonObject& object)
{
    const auto state = decodeBrowserBridgeState(object.text());
    EXPECT_TRUE(state) << object.text();
    return state.value_or(BrowserBridgeState {});
}

std::optional<JsonError> stateFailure(const std::string& key, const std::string& value)
{
    const auto state = decodeBrowserBridgeState(stateObject.with(key, value).text());
    return state ? std::nullopt : std::optional(state.error());
}

} // namespace

TEST(BridgeRecordDecoding, KeepsEveryField)
{
    for (const Form& form : forms)
        EXPECT_EQ(rewrittenText(form, form.object), form.file(form.object.text())) << form.name;
}

TEST(BridgeRecordDecoding, TakesKeysInAnyOrder)
{
    for (const Form& form : forms)
        EXPECT_EQ(rewrittenText(form, form.object.reversed()), form.file(form.object.text()))
            << form.name;
}

TEST(BridgeRecordDecoding, IgnoresUnknownKeys)
{
    for (const Form& form : forms) {
        const JsonObject extended
            = form.object.with("x", R"({"version":[2]})").with("Version", "7").with("", "null");
        EXPECT_EQ(rewrittenText(form, extended), form.file(form.object.text())) << form.name;
    }
}

TEST(BridgeRecordDecoding, TakesBlanksAroundEverything)
{
    const auto state = decodeBrowserBridgePreferencesEnvelope(
        " {\n\t\"version\" : 1 ,\r\n \"token\" : \"t\" , \"filenameLabelsEnabled\" : true }\n");
    ASSERT_TRUE(state);
    EXPECT_EQ(
        *state, (BrowserBridgePreferencesEnvelope { .token = "t", .filenameLabelsEnabled = true }));
}

TEST(BridgeRecordDecoding, RefusesARequiredKeyThatIsMissing)
{
    for (const Form& form : forms) {
        SCOPED_TRACE(form.name);
        for (const auto& [key, value] : form.object.members()) {
            if (!isOptional(form, key))
                expectFailure(form, form.object.without(key), JsonErrorKind::keyNotFound, key);
        }
    }
}

TEST(BridgeRecordDecoding, RefusesNullForARequiredKey)
{
    for (const Form& form : forms) {
        SCOPED_TRACE(form.name);
        for (const auto& [key, value] : form.object.members()) {
            if (!isOptional(form, key))
                expectFailure(
                    form, form.object.with(key, "null"), JsonErrorKind::valueNotFound, key);
        }
    }
}

TEST(BridgeRecordDecoding, TakesNullForAnAbsentOptional)
{
    for (const Form& form : forms) {
        for (const std::string& key : form.optionalKeys) {
            const std::string withoutKey = form.file(form.object.without(key).text());
            EXPECT_EQ(rewrittenText(form, form.object.without(key)), withoutKey)
                << form.name << key;
            EXPECT_EQ(rewrittenText(form, form.object.with(key, "null")), withoutKey)
                << form.name << key;
        }
    }
}

TEST(BridgeRecordDecoding, RefusesValuesOfOtherTypes)
{
    for (const Form& form : forms) {
        SCOPED_TRACE(form.name);
        for (const auto& [key, value] : form.object.members()) {
            for (const std::string& other : valuesOfOtherTypes(value))
                expectFailure(form, form.object.with(key, other), JsonErrorKind::typeMismatch, key);
        }
    }
}

TEST(BridgeRecordDecoding, RefusesWhatIsNoObjectOrNoJson)
{
    for (const Form& form : forms) {
        for (const char* const text : { "[]", "null", "1", "\"x\"", "", " ", "{", "{}{}", "{,}" }) {
            EXPECT_FALSE(form.rewritten(form.file(text))) << form.name << ": " << text;
        }
    }
}

TEST(BridgeRecordDecoding, TakesAnyVersion)
{
    for (const char* const version :
        { "0", "2", "-1", "9223372036854775807", "-9223372036854775808" })
        EXPECT_EQ(
            std::to_string(decodedState(stateObject.with("version", version)).version), version);
    EXPECT_EQ(decodedState(stateObject.with("version", "1.0")).version, 1);
}

TEST(BridgeRecordDecoding, RefusesIntegersWithAFractionOrOutOfRange)
{
    for (const char* const version :
        { "1.5", "9223372036854775808", "-9223372036854775809", "1e400" })
        EXPECT_TRUE(stateFailure("version", version)) << version;
}

TEST(BridgeRecordDecoding, TakesProcessIdentifiersOf32Bits)
{
    const auto identifier = [](const char* text) {
        return decodedState(stateObject.with("appProcessIdentifier", text)).appProcessIdentifier;
    };
    EXPECT_EQ(identifier("2147483647"), 2147483647);
    EXPECT_EQ(identifier("-2147483648"), -2147483647 - 1);
    EXPECT_TRUE(stateFailure("appProcessIdentifier", "2147483648"));
    EXPECT_TRUE(stateFailure("appProcessIdentifier", "-2147483649"));
    EXPECT_TRUE(stateFailure("appProcessIdentifier", "1.5"));
}

TEST(BridgeRecordDecoding, ReadsTimesAsSecondsSince2001)
{
    const auto updatedAt = [](const char* text) {
        return decodedState(stateObject.with("updatedAt", text)).updatedAt.secondsSince2001;
    };
    EXPECT_EQ(updatedAt("753422400"), 753422400.0);
    EXPECT_EQ(updatedAt("753422400.123456"), 753422400.123456);
    EXPECT_EQ(updatedAt("7.534224e8"), 753422400.0);
    EXPECT_EQ(updatedAt("-978307200"), -978307200.0);
    EXPECT_EQ(updatedAt("0"), 0.0);
}

TEST(BridgeRecordDecoding, RefusesATimeThatIsATextOrTooLarge)
{
    for (const char* const value :
        { R"("2024-11-16T04:00:00Z")", R"("753422400")", "1e400", "-1e400", "NaN" })
        EXPECT_TRUE(stateFailure("updatedAt", value)) << value;
}

TEST(BridgeRecordDecoding, ReadsIdentifiersOfEitherLetterCase)
{
    const JsonObject lower
        = stateObject.with("sessionIdentifier", R"("5e551011-0000-4000-8000-00000000000a")");
    EXPECT_EQ(decodedState(lower).sessionIdentifier, support::sessionIdentifier());
    EXPECT_EQ(decodedState(stateObject).sessionIdentifier, support::sessionIdentifier());
}

TEST(BridgeRecordDecoding, RefusesIdentifiersThatAreNoUUID)
{
    for (const char* const value : { R"("")", R"("5E551011000040008000 00000000000A")",
             R"("{5E551011-0000-4000-8000-00000000000A}")",
             R"("5E551011-0000-4000-8000-00000000000G")" }) {
        EXPECT_EQ(stateFailure("sessionIdentifier", value),
            (JsonError { .kind = JsonErrorKind::dataCorrupted, .key = "sessionIdentifier" }))
            << value;
    }
}

TEST(BridgeRecordDecoding, ReadsCommandTypesByExactText)
{
    const auto decoded = [](const char* type) {
        return decodeBrowserBridgeCommandEnvelope(
            commandEnvelopeObject.with("command", commandObject.with("type", type).text()).text());
    };
    EXPECT_EQ(decoded(R"("showLocalPDF")")->command.type, BrowserBridgeCommandType::showLocalPDF);
    EXPECT_EQ(decoded(R"("setFilenameLabelsEnabled")")->command.type,
        BrowserBridgeCommandType::setFilenameLabelsEnabled);
    for (const char* const type : { R"("showlocalpdf")", R"("ShowLocalPDF")", R"("showLocalPdf")",
             R"("SETFILENAMELABELSENABLED")", R"("openPDF")", R"("")", R"("showLocalPDF ")" }) {
        const auto command = decoded(type);
        ASSERT_FALSE(command) << type;
        EXPECT_EQ(
            command.error(), (JsonError { .kind = JsonErrorKind::dataCorrupted, .key = "type" }));
    }
}

TEST(BridgeRecordDecoding, TakesAnyOptionalFieldsWithAnyCommandType)
{
    for (const char* const type : { R"("showLocalPDF")", R"("setFilenameLabelsEnabled")" }) {
        const JsonObject bare = commandObject.with("type", type)
                                    .without("sessionIdentifier")
                                    .without("pdfIdentifier")
                                    .without("filenameLabelsEnabled");
        EXPECT_TRUE(decodeBrowserBridgeCommandEnvelope(
            commandEnvelopeObject.with("command", bare.text()).text()));
        EXPECT_TRUE(decodeBrowserBridgeCommandEnvelope(
            commandEnvelopeObject.with("command", commandObject.with("type", type).text()).text()));
    }
}

TEST(BridgeRecordDecoding, ReadsEventDataAsBase64)
{
    const auto eventData = [](const char* text) {
        return decodeBrowserBridgeEnvelope(envelopeObject.with("eventData", text).text());
    };
    EXPECT_EQ(eventData(R"("YWJj")")->eventData, "abc");
    EXPECT_EQ(eventData(R"("")")->eventData, "");
    EXPECT_EQ(eventData(R"("\/\/8=")")->eventData, "\xFF\xFF");
    EXPECT_EQ(eventData(R"("//8=")")->eventData, "\xFF\xFF");
    for (const char* const wrong :
        { R"("YWJ")", R"("YW Jj")", R"("YWJj\n")", R"("__8=")", R"("=")" }) {
        const auto envelope = eventData(wrong);
        ASSERT_FALSE(envelope) << wrong;
        EXPECT_EQ(envelope.error().kind, JsonErrorKind::dataCorrupted);
        EXPECT_EQ(envelope.error().key, "eventData");
    }
}

} // namespace bridge
