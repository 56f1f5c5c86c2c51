#include "events/browser_activity_event.h"

#include "tests/support/json_object.h"
#include "tests/support/samples.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace events {

namespace {

using base::JsonErrorKind;
using support::JsonObject;

// The members in the order in which their failures count.
const JsonObject fullObject {
    { "id", R"("3F2504E0-4F89-11D3-9A0C-0305E82C3301")" },
    { "browserDisplayName", R"("Google Chrome")" },
    { "browserBundleIdentifier", R"("com.google.Chrome")" },
    { "hostname", R"("www.example.com")" },
    { "temporaryTabIdentifier", R"("tab-17")" },
    { "eventType", R"("tabNavigated")" },
    { "isPrivate", "true" },
    { "resourceType", R"("localPDF")" },
    { "pdfIdentifier", R"("9b2d6e1c-7c43-4c25-9d5e-0f6a1b2c3d4e")" },
    { "pdfLabel", R"("Thesis.pdf")" },
    { "pdfLabelSource", R"("manual")" },
    { "localFilePermission", R"("permissionRequired")" },
    { "timestamp", R"("2025-03-14T09:26:53.589Z")" },
};

const std::vector<std::string> requiredKeys { "id", "browserDisplayName", "browserBundleIdentifier",
    "eventType", "timestamp" };

const std::vector<std::string> optionalKeys { "hostname", "temporaryTabIdentifier", "isPrivate",
    "resourceType", "pdfIdentifier", "pdfLabel", "pdfLabelSource", "localFilePermission" };

JsonObject minimalObject()
{
    JsonObject object = fullObject;
    for (const std::string& key : optionalKeys)
        object = object.without(key);
    return object;
}

// The event that `object` decodes to; an empty one, and a failed test, if it does not.
BrowserActivityEvent decoded(const JsonObject& object)
{
    const auto event = decodeBrowserActivityEvent(object.text());
    EXPECT_TRUE(event) << object.text() << ": " << message(event.error());
    return event.value_or(BrowserActivityEvent {});
}

void expectFailure(const JsonObject& object, JsonErrorKind kind, std::string_view key)
{
    const auto event = decodeBrowserActivityEvent(object.text());
    ASSERT_FALSE(event) << object.text();
    EXPECT_EQ(event.error().kind, kind) << object.text();
    EXPECT_EQ(event.error().key, key) << object.text();
}

std::string jsonString(std::string_view text)
{
    return '"' + std::string(text) + '"';
}

template <typename Enumeration>
void expectExactTexts(const std::string& key, Enumeration BrowserActivityEvent::* field)
{
    for (const Enumeration value : base::allValues<Enumeration>()) {
        const std::string text(base::text(value));
        EXPECT_EQ(decoded(fullObject.with(key, jsonString(text))).*field, value) << text;

        std::string lowerCase = text;
        std::string upperCase = text;
        std::string otherFirstLetter = text;
        std::ranges::transform(text, lowerCase.begin(),
            [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
        std::ranges::transform(text, upperCase.begin(),
            [](unsigned char letter) { return static_cast<char>(std::toupper(letter)); });
        otherFirstLetter.front() = upperCase.front();
        for (const std::string& wrong :
            { lowerCase, upperCase, otherFirstLetter, text + ' ', ' ' + text }) {
            if (wrong != text)
                expectFailure(
                    fullObject.with(key, jsonString(wrong)), JsonErrorKind::dataCorrupted, key);
        }
    }
    for (const std::string_view wrong : { "", "other", "0" })
        expectFailure(fullObject.with(key, jsonString(wrong)), JsonErrorKind::dataCorrupted, key);
}

} // namespace

TEST(DecodeBrowserActivityEvent, ReadsEveryField)
{
    const BrowserActivityEvent expected { .id
        = support::uuid("3F2504E0-4F89-11D3-9A0C-0305E82C3301"),
        .browserDisplayName = "Google Chrome",
        .browserBundleIdentifier = "com.google.Chrome",
        .hostname = "www.example.com",
        .temporaryTabIdentifier = "tab-17",
        .timestamp = { 1741944413.589 - 978307200.0 },
        .eventType = BrowserActivityEventType::tabNavigated,
        .isPrivate = true,
        .resourceType = BrowserActivityResourceType::localPDF,
        .pdfIdentifier = "9b2d6e1c-7c43-4c25-9d5e-0f6a1b2c3d4e",
        .pdfLabel = "Thesis.pdf",
        .pdfLabelSource = BrowserPDFLabelSource::manual,
        .localFilePermission = BrowserLocalFilePermission::permissionRequired };
    EXPECT_EQ(decoded(fullObject), expected);
}

TEST(DecodeBrowserActivityEvent, TakesKeysInAnyOrder)
{
    EXPECT_EQ(decoded(fullObject.reversed()), decoded(fullObject));
}

TEST(DecodeBrowserActivityEvent, GivesDefaultsToWhatIsAbsent)
{
    const BrowserActivityEvent event = decoded(minimalObject());
    EXPECT_FALSE(event.isPrivate);
    EXPECT_EQ(event.resourceType, BrowserActivityResourceType::website);
    EXPECT_EQ(event.hostname, std::nullopt);
    EXPECT_EQ(event.temporaryTabIdentifier, std::nullopt);
    EXPECT_EQ(event.pdfIdentifier, std::nullopt);
    EXPECT_EQ(event.pdfLabel, std::nullopt);
    EXPECT_EQ(event.pdfLabelSource, std::nullopt);
    EXPECT_EQ(event.localFilePermission, std::nullopt);
}

TEST(DecodeBrowserActivityEvent, TakesNullForAbsent)
{
    JsonObject object = fullObject;
    for (const std::string& key : optionalKeys) {
        SCOPED_TRACE(key);
        EXPECT_EQ(decoded(fullObject.with(key, "null")), decoded(fullObject.without(key)));
        object = object.with(key, "null");
    }
    EXPECT_EQ(decoded(object), decoded(minimalObject()));
}

TEST(DecodeBrowserActivityEvent, ReadsIsPrivateNullAsFalse)
{
    EXPECT_TRUE(decoded(fullObject).isPrivate);
    EXPECT_FALSE(decoded(fullObject.with("isPrivate", "null")).isPrivate);
}

TEST(DecodeBrowserActivityEvent, RefusesARequiredKeyThatIsMissing)
{
    for (const std::string& key : requiredKeys)
        expectFailure(fullObject.without(key), JsonErrorKind::keyNotFound, key);
}

TEST(DecodeBrowserActivityEvent, RefusesNullForARequiredKey)
{
    for (const std::string& key : requiredKeys)
        expectFailure(fullObject.with(key, "null"), JsonErrorKind::valueNotFound, key);
}

TEST(DecodeBrowserActivityEvent, RefusesAValueOfAnotherType)
{
    for (const auto& [key, value] : fullObject.members()) {
        const bool isBoolean = value == "true";
        for (const char* const wrong : { "1", "0", "1.5", "[]", "{}", R"(["tabClosed"])" })
            expectFailure(fullObject.with(key, wrong), JsonErrorKind::typeMismatch, key);
        for (const char* const text : { R"("true")", R"("false")", R"("")" }) {
            if (isBoolean)
                expectFailure(fullObject.with(key, text), JsonErrorKind::typeMismatch, key);
        }
        for (const char* const boolean : { "true", "false" }) {
            if (!isBoolean)
                expectFailure(fullObject.with(key, boolean), JsonErrorKind::typeMismatch, key);
        }
    }
}

TEST(DecodeBrowserActivityEvent, MatchesKeysInTheirLetterCase)
{
    for (const std::string& key : requiredKeys) {
        std::string otherCase = key;
        otherCase.front()
            = static_cast<char>(std::toupper(static_cast<unsigned char>(otherCase.front())));
        const std::string value
            = std::ranges::find(fullObject.members(), key, &JsonObject::Member::first)->second;
        expectFailure(
            fullObject.without(key).with(otherCase, value), JsonErrorKind::keyNotFound, key);
    }
}

TEST(DecodeBrowserActivityEvent, IgnoresUnknownKeys)
{
    EXPECT_EQ(
        decoded(fullObject.with("url", R"({"path":["x"]})").with("", "null")), decoded(fullObject));
}

TEST(DecodeBrowserActivityEvent, LeavesTextsAsTheyAre)
{
    const BrowserActivityEvent event = decoded(fullObject.with("browserDisplayName", R"(" \n")")
            .with("browserBundleIdentifier", R"("")")
            .with("hostname", R"(" WWW.example.com. ")")
            .with("temporaryTabIdentifier", R"("\u0000")")
            .with("pdfIdentifier", R"("none")")
            .with("pdfLabel", R"("a\/b")"));
    EXPECT_EQ(event.browserDisplayName, " \n");
    EXPECT_EQ(event.browserBundleIdentifier, "");
    EXPECT_EQ(event.hostname, " WWW.example.com. ");
    EXPECT_EQ(event.temporaryTabIdentifier, std::string(1, '\0'));
    EXPECT_EQ(event.pdfIdentifier, "none");
    EXPECT_EQ(event.pdfLabel, "a/b");
}

TEST(DecodeBrowserActivityEvent, ReadsIdentifiersOfEitherLetterCase)
{
    const base::UUID expected = support::uuid("3F2504E0-4F89-11D3-9A0C-0305E82C3301");
    for (const char* const id :
        { R"("3f2504e0-4f89-11d3-9a0c-0305e82c3301")", R"("3F2504E0-4F89-11D3-9A0C-0305E82C3301")",
            R"("3f2504E0-4F89-11d3-9A0c-0305e82C3301")" })
        EXPECT_EQ(decoded(fullObject.with("id", id)).id, expected) << id;
}

TEST(DecodeBrowserActivityEvent, RefusesIdentifiersThatAreNoUUID)
{
    for (const char* const id : { R"("")", R"("3F2504E04F8911D39A0C0305E82C3301")",
             R"("{3F2504E0-4F89-11D3-9A0C-0305E82C3301}")",
             R"("3F2504E0-4F89-11D3-9A0C-0305E82C330")",
             R"("3F2504E0-4F89-11D3-9A0C-0305E82C33011")",
             R"("3F2504E0-4F89-11D3-9A0C-0305E82C330G")",
             R"(" 3F2504E0-4F89-11D3-9A0C-0305E82C3301")",
             R"("3F2504E-04F89-11D3-9A0C-0305E82C3301")" })
        expectFailure(fullObject.with("id", id), JsonErrorKind::dataCorrupted, "id");
}

TEST(DecodeBrowserActivityEvent, ReadsEventTypesByExactText)
{
    expectExactTexts("eventType", &BrowserActivityEvent::eventType);
}

TEST(DecodeBrowserActivityEvent, ReadsResourceTypesByExactText)
{
    expectExactTexts("resourceType", &BrowserActivityEvent::resourceType);
}

TEST(DecodeBrowserActivityEvent, ReadsLabelSourcesByExactText)
{
    EXPECT_EQ(decoded(fullObject.with("pdfLabelSource", R"("filename")")).pdfLabelSource,
        BrowserPDFLabelSource::filename);
    EXPECT_EQ(decoded(fullObject.with("pdfLabelSource", R"("manual")")).pdfLabelSource,
        BrowserPDFLabelSource::manual);
    for (const char* const wrong :
        { R"("fileName")", R"("Filename")", R"("FILENAME")", R"("Manual")", R"("")" })
        expectFailure(fullObject.with("pdfLabelSource", wrong), JsonErrorKind::dataCorrupted,
            "pdfLabelSource");
}

TEST(DecodeBrowserActivityEvent, ReadsPermissionsByExactText)
{
    const std::array<std::pair<const char*, BrowserLocalFilePermission>, 3> permissions { {
        { R"("enabled")", BrowserLocalFilePermission::enabled },
        { R"("permissionRequired")", BrowserLocalFilePermission::permissionRequired },
        { R"("unsupported")", BrowserLocalFilePermission::unsupported },
    } };
    for (const auto& [text, permission] : permissions)
        EXPECT_EQ(
            decoded(fullObject.with("localFilePermission", text)).localFilePermission, permission);
    for (const char* const wrong :
        { R"("Enabled")", R"("permissionrequired")", R"("UNSUPPORTED")", R"("disabled")", R"("")" })
        expectFailure(fullObject.with("localFilePermission", wrong), JsonErrorKind::dataCorrupted,
            "localFilePermission");
}

TEST(DecodeBrowserActivityEvent, RefusesTimeStampsOfAnotherForm)
{
    for (const char* const wrong : { R"("")", R"("2025-03-14T09:26:53Z")",
             R"("2025-03-14 09:26:53.589Z")", R"("2025-03-14T09:26:53.589")",
             R"("2025-03-14T09:26:53,589Z")", R"("2025-03-14t09:26:53.589Z")",
             R"("2025-03-14T09:26:53.589z")", R"("20250314T092653.589Z")",
             R"("2025-02-29T09:26:53.589Z")", R"("2025-03-14T24:00:00.000Z")",
             R"("2025-03-14T09:26:60.000Z")", R"(" 2025-03-14T09:26:53.589Z")",
             R"("2025-03-14T09:26:53.589Z ")", R"("1741944413.589")" }) {
        const auto event = decodeBrowserActivityEvent(fullObject.with("timestamp", wrong).text());
        ASSERT_FALSE(event) << wrong;
        EXPECT_EQ(event.error(),
            (base::JsonError { .kind = JsonErrorKind::dataCorrupted,
                .key = "timestamp",
                .description = "timestamp must be an ISO-8601 string" }))
            << wrong;
    }
}

TEST(DecodeBrowserActivityEvent, RefusesATimeStampThatIsNoStringAsATypeError)
{
    for (const char* const wrong : { "763637213.589", "true", "[]", "{}" })
        expectFailure(
            fullObject.with("timestamp", wrong), JsonErrorKind::typeMismatch, "timestamp");
}

TEST(DecodeBrowserActivityEvent, ReportsTheFirstFailureInTheOrderOfReading)
{
    const auto& members = fullObject.members();
    for (std::size_t first = 0; first < members.size(); ++first) {
        for (std::size_t second = first + 1; second < members.size(); ++second) {
            const std::string& key = members[first].first;
            SCOPED_TRACE(key + " before " + members[second].first);
            const JsonObject broken = fullObject.with(key, "[]").with(members[second].first, "[]");
            expectFailure(broken, JsonErrorKind::typeMismatch, key);
            expectFailure(broken.reversed(), JsonErrorKind::typeMismatch, key);
        }
    }
}

TEST(DecodeBrowserActivityEvent, ReadsTheTimeStampLast)
{
    const JsonObject noTime = fullObject.with("timestamp", R"("yesterday")");
    expectFailure(noTime.with("localFilePermission", R"("maybe")"), JsonErrorKind::dataCorrupted,
        "localFilePermission");
    expectFailure(noTime.without("eventType"), JsonErrorKind::keyNotFound, "eventType");
    expectFailure(fullObject.without("timestamp").with("localFilePermission", "1"),
        JsonErrorKind::typeMismatch, "localFilePermission");
}

TEST(DecodeBrowserActivityEvent, RefusesWhatIsNoObject)
{
    for (const char* const text : { "[]", "null", "1", "\"event\"" }) {
        const auto event = decodeBrowserActivityEvent(text);
        ASSERT_FALSE(event) << text;
        EXPECT_EQ(event.error().kind, JsonErrorKind::typeMismatch) << text;
    }
    for (const char* const text : { "", "{", "{}x", "{'id':1}" }) {
        const auto event = decodeBrowserActivityEvent(text);
        ASSERT_FALSE(event) << text;
        EXPECT_EQ(event.error().kind, JsonErrorKind::notJson) << text;
    }
}

} // namespace events
