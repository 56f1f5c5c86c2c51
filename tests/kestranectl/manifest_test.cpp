#include "kestranectl/manifest.h"

#include "tests/support/json_object.h"

#include <gtest/gtest.h>

namespace kestranectl {
namespace {

const std::string identifier = "abcdefghijklmnopabcdefghijklmnop";
const std::string otherIdentifier(32, 'p');

const support::JsonObject sound {
    { "name", R"("com.kestrane.native_host")" },
    { "description", R"("Some host")" },
    { "path", R"("/usr/lib/a host")" },
    { "type", R"("stdio")" },
    { "allowed_origins", R"(["chrome-extension://abcdefghijklmnopabcdefghijklmnop/"])" },
};

// The complaint about the text; empty if there is none.
std::string complaint(const std::string& text)
{
    const auto manifest = decodeManifest(text);
    return manifest ? std::string() : manifest.error();
}

std::string complaintAbout(const std::string& key, const std::string& value)
{
    return complaint(sound.with(key, value).text());
}

TEST(IsExtensionIdentifier, Takes32LettersFromAToP)
{
    EXPECT_TRUE(isExtensionIdentifier(identifier));
    EXPECT_TRUE(isExtensionIdentifier(std::string(32, 'a')));
    EXPECT_TRUE(isExtensionIdentifier(std::string(32, 'p')));
}

TEST(IsExtensionIdentifier, RefusesOtherLengths)
{
    EXPECT_FALSE(isExtensionIdentifier(std::string(31, 'a')));
    EXPECT_FALSE(isExtensionIdentifier(std::string(33, 'a')));
    EXPECT_FALSE(isExtensionIdentifier(""));
}

TEST(IsExtensionIdentifier, RefusesOtherCharacters)
{
    for (const char character : { 'q', '`', 'A', '0', '/', '*', ' ' })
        EXPECT_FALSE(isExtensionIdentifier(std::string(31, 'a') + character)) << character;
}

TEST(ExtensionOrigin, EndsInASlash)
{
    EXPECT_EQ(extensionOrigin("abc"), "chrome-extension://abc/");
}

TEST(MakeManifest, HasWhatBrowsersAskFor)
{
    const Manifest manifest = makeManifest("/usr/lib/host", { identifier, otherIdentifier });
    EXPECT_EQ(manifest.name, "com.kestrane.native_host");
    EXPECT_NE(manifest.description, "");
    EXPECT_EQ(manifest.path, "/usr/lib/host");
    EXPECT_EQ(manifest.type, "stdio");
    EXPECT_EQ(manifest.allowedOrigins,
        (std::vector { extensionOrigin(identifier), extensionOrigin(otherIdentifier) }));
}

TEST(MakeManifest, NamesAnExtensionOnce)
{
    const Manifest manifest = makeManifest("/h", { identifier, otherIdentifier, identifier });
    EXPECT_EQ(manifest.allowedOrigins.size(), 2U);
}

TEST(ManifestFileName, IsTheHostsNameWithAnExtension)
{
    EXPECT_EQ(manifestFileName, std::string(nativeHostName) + ".json");
}

TEST(EncodeManifest, IsIndentedAndEndsInALineFeed)
{
    EXPECT_EQ(encode({ .name = "n",
                  .description = "d",
                  .path = "/p \"q\"\\",
                  .type = "stdio",
                  .allowedOrigins = { "a/", "b/" } }),
        "{\n"
        "  \"name\": \"n\",\n"
        "  \"description\": \"d\",\n"
        "  \"path\": \"/p \\\"q\\\"\\\\\",\n"
        "  \"type\": \"stdio\",\n"
        "  \"allowed_origins\": [\n"
        "    \"a/\",\n"
        "    \"b/\"\n"
        "  ]\n"
        "}\n");
}

TEST(EncodeManifest, IsReadBackAsItWas)
{
    const Manifest manifest
        = makeManifest("/a \"b\"\\c\u00E4\n\U0001F600", { identifier, otherIdentifier });
    EXPECT_EQ(decodeManifest(encode(manifest)), manifest);
}

TEST(DecodeManifest, ReadsEveryMember)
{
    const auto manifest = decodeManifest(sound.text());
    ASSERT_TRUE(manifest) << manifest.error();
    EXPECT_EQ(*manifest,
        (Manifest { .name = "com.kestrane.native_host",
            .description = "Some host",
            .path = "/usr/lib/a host",
            .type = "stdio",
            .allowedOrigins = { extensionOrigin(identifier) } }));
}

TEST(DecodeManifest, TakesMembersInAnyOrderAndUnknownOnes)
{
    EXPECT_EQ(complaint(sound.reversed().with("more", "[{}]").text()), "");
}

TEST(DecodeManifest, TakesAByteOrderMark)
{
    EXPECT_EQ(complaint("\xEF\xBB\xBF" + sound.text()), "");
    EXPECT_NE(complaint("\xEF\xBB" + sound.text()), "");
}

TEST(DecodeManifest, RefusesWhatIsNoJSON)
{
    for (const std::string text : { "", "{", "{} x", R"({"name": "a",})", "// c\n{}", "{'a': 1}" })
        EXPECT_TRUE(complaint(text).starts_with("It is no valid JSON (")) << text;
}

TEST(DecodeManifest, RefusesJSONThatIsNoObject)
{
    EXPECT_EQ(complaint("[]"), "It is JSON, but no object.");
}

TEST(DecodeManifest, RefusesNestingThatWouldExhaustTheStack)
{
    EXPECT_NE(complaint(std::string(16000, '[')), "");
}

TEST(DecodeManifest, RequiresEveryMember)
{
    for (const auto& [key, value] : sound.members())
        EXPECT_EQ(complaint(sound.without(key).text()), "It has no \"" + key + "\".");
}

TEST(DecodeManifest, RequiresTexts)
{
    for (const std::string key : { "name", "description", "path", "type" }) {
        EXPECT_EQ(complaintAbout(key, "1"), "Its \"" + key + "\" is no text.");
        EXPECT_EQ(complaintAbout(key, "null"), "Its \"" + key + "\" is no text.");
    }
}

TEST(DecodeManifest, RefusesNamesThatNoHostMayHave)
{
    for (const std::string name :
        { "", "Com.kestrane", "a-b", ".a", "a.", "a..b", "a b", "\u00E4" })
        EXPECT_EQ(complaintAbout("name", '"' + name + '"'),
            "Its \"name\" is \"" + name
                + "\", but names consist of lower-case letters, digits, \"_\" and single dots.");
}

TEST(DecodeManifest, RefusesTheNameOfAnotherHost)
{
    EXPECT_EQ(complaintAbout("name", "\"a_0.b\""),
        "Its \"name\" is \"a_0.b\", but the file's name asks for \"com.kestrane.native_host\".");
}

TEST(DecodeManifest, RefusesAnEmptyDescription)
{
    EXPECT_EQ(complaintAbout("description", "\"\""), "Its \"description\" is empty.");
}

TEST(DecodeManifest, RefusesAnotherType)
{
    EXPECT_EQ(
        complaintAbout("type", "\"Stdio\""), "Its \"type\" is \"Stdio\" instead of \"stdio\".");
}

TEST(DecodeManifest, RefusesAPathThatIsNotAbsolute)
{
    for (const std::string path : { "", "host", "~/host", "./host", "REPLACE_ME" })
        EXPECT_EQ(complaintAbout("path", '"' + path + '"'),
            "Its \"path\" is \"" + path
                + "\", but it must be absolute; \"~\" and variables are not replaced.");
}

TEST(DecodeManifest, RefusesAPathThatTheSystemWouldCutOff)
{
    EXPECT_EQ(
        complaintAbout("path", R"("/bin/true\u0000x")"), "Its \"path\" holds a NUL character.");
}

TEST(DecodeManifest, RefusesOriginsThatAreNoList)
{
    EXPECT_EQ(complaintAbout("allowed_origins", R"("chrome-extension://a/")"),
        "Its \"allowed_origins\" is no list.");
    EXPECT_EQ(complaintAbout("allowed_origins", "[1]"),
        "Its \"allowed_origins\" holds something that is no text.");
}

TEST(DecodeManifest, TakesAnEmptyListOfOrigins)
{
    EXPECT_EQ(complaintAbout("allowed_origins", "[]"), "");
}

TEST(DecodeManifest, RefusesOriginsThatBreakTheWholeManifest)
{
    const auto complaintAboutOrigin = [](const std::string& origin) {
        return complaintAbout("allowed_origins", "[\"chrome-extension://a/\",\"" + origin + "\"]");
    };
    EXPECT_EQ(complaintAboutOrigin("chrome-extension://abc"),
        "Its allowed origin \"chrome-extension://abc\" lacks the slash at its end.");
    EXPECT_EQ(complaintAboutOrigin("chrome-extension:///"),
        "Its allowed origin \"chrome-extension:///\" names no extension.");
    EXPECT_EQ(complaintAboutOrigin("chrome-extension://*/"),
        "Its allowed origin \"chrome-extension://*/\" holds \"*\", and browsers refuse wildcards "
        "there.");
    EXPECT_EQ(complaintAboutOrigin("https://abc/"),
        "Its allowed origin \"https://abc/\" does not begin with \"chrome-extension://\".");
    EXPECT_EQ(complaintAboutOrigin("abc"),
        "Its allowed origin \"abc\" does not begin with \"chrome-extension://\".");
}

TEST(DecodeManifest, ComplainsInTheOrderOfTheBrowser)
{
    const auto spoilt = sound.with("path", "\"x\"").with("allowed_origins", "1").with("type", "1");
    EXPECT_EQ(complaint(spoilt.with("name", "1").with("description", "1").text()),
        "Its \"name\" is no text.");
    EXPECT_EQ(complaint(spoilt.with("description", "1").text()), "Its \"description\" is no text.");
    EXPECT_EQ(complaint(spoilt.text()), "Its \"type\" is no text.");
    EXPECT_EQ(
        complaint(spoilt.with("type", "\"stdio\"").text()), "Its \"allowed_origins\" is no list.");
}

TEST(AllowedIdentifiers, AreThoseOfTheOrigins)
{
    const Manifest manifest = makeManifest("/h", { identifier, otherIdentifier });
    EXPECT_EQ(allowedIdentifiers(manifest), (std::vector { identifier, otherIdentifier }));
}

TEST(AllowedIdentifiers, LeaveOutOriginsOfAnotherForm)
{
    Manifest manifest;
    manifest.allowedOrigins = { "chrome-extension://abc/", extensionOrigin(identifier) + "page",
        "chrome-extension:/", "" };
    EXPECT_EQ(allowedIdentifiers(manifest), std::vector<std::string> {});
}

} // namespace
} // namespace kestranectl
