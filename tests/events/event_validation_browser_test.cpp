#include "events/supported_browsers.h"
#include "tests/events/validation_outcome.h"
#include "tests/support/utf8.h"

#include <optional>
#include <string>
#include <string_view>

namespace events {

namespace {

BrowserActivityEvent eventFrom(std::string_view browser)
{
    BrowserActivityEvent event = support::validEvent();
    event.browserBundleIdentifier = browser;
    return event;
}

BrowserActivityEvent eventNaming(std::string_view displayName)
{
    BrowserActivityEvent event = support::validEvent();
    event.browserDisplayName = displayName;
    return event;
}

} // namespace

TEST(ValidateBrowser, AcceptsEveryBrowserOfTheTableUnderItsCanonicalName)
{
    for (const SupportedBrowser browser : allSupportedBrowsers) {
        BrowserActivityEvent event = eventFrom(bundleIdentifier(browser));
        event.browserDisplayName = "something else";
        const BrowserActivityEvent result = accepted(event);
        EXPECT_EQ(result.browserBundleIdentifier, bundleIdentifier(browser));
        EXPECT_EQ(result.browserDisplayName, displayName(browser));
    }
}

TEST(ValidateBrowser, RefusesAnyOtherAndReportsTheIdentifierAsReceived)
{
    for (const std::string_view identifier :
        { "com.google.chrome", "com.google.Chrome ", " com.google.Chrome", "com.google.Chrome.beta",
            "com.example.Browser", "", "a\u00E9\"/\\" }) {
        const auto validated
            = validate(eventFrom(identifier), support::sampleTime, ValidatorSettings {});
        ASSERT_FALSE(validated) << identifier;
        EXPECT_EQ(validated.error(),
            (BrowserEventValidationError { .errorCase = Case::unsupportedBrowser,
                .browserBundleIdentifier = std::string(identifier) }));
        EXPECT_EQ(message(validated.error()),
            "The browser bundle identifier is not allowed: " + std::string(identifier));
    }
}

TEST(ValidateBrowser, AttachesNoIdentifierToOtherFailures)
{
    const auto validated = validate(eventNaming(""), support::sampleTime, ValidatorSettings {});
    ASSERT_FALSE(validated);
    EXPECT_EQ(validated.error(),
        (BrowserEventValidationError { .errorCase = Case::invalidBrowserDisplayName }));
}

TEST(ValidateDisplayName, TrimsBeforeItChecksAndStoresTheTablesName)
{
    EXPECT_EQ(accepted(eventNaming("  Chrome \n")).browserDisplayName, "Google Chrome");
    EXPECT_EQ(accepted(eventNaming("\t\r\n\u0085x\u2028")).browserDisplayName, "Google Chrome");
}

TEST(ValidateDisplayName, RefusesWhatIsEmptyAfterTrimming)
{
    for (const std::string_view name : { "", " ", "\n", " \t\r\n\u00A0\u3000\u2029 " })
        EXPECT_EQ(failureOf(eventNaming(name)), Case::invalidBrowserDisplayName);
}

TEST(ValidateDisplayName, TakesAZeroWidthSpaceForAName)
{
    EXPECT_EQ(failureOf(eventNaming("\u200B")), std::nullopt);
}

TEST(ValidateDisplayName, AcceptsUpTo128Bytes)
{
    EXPECT_EQ(failureOf(eventNaming(std::string(128, 'a'))), std::nullopt);
    EXPECT_EQ(failureOf(eventNaming(std::string(129, 'a'))), Case::invalidBrowserDisplayName);
}

TEST(ValidateDisplayName, CountsBytesOfUTF8)
{
    const std::string sixtyFourLetters = support::repeated("\u00E9", 64);
    EXPECT_EQ(failureOf(eventNaming(sixtyFourLetters)), std::nullopt);
    EXPECT_EQ(failureOf(eventNaming(sixtyFourLetters + 'a')), Case::invalidBrowserDisplayName);
    const std::string thirtyTwoPictures = support::repeated("\U0001F600", 32);
    EXPECT_EQ(failureOf(eventNaming(thirtyTwoPictures)), std::nullopt);
    EXPECT_EQ(failureOf(eventNaming(thirtyTwoPictures + 'a')), Case::invalidBrowserDisplayName);
}

TEST(ValidateDisplayName, CountsTheTrimmedNameAlone)
{
    EXPECT_EQ(failureOf(eventNaming("  " + std::string(128, 'a') + "\u3000\n")), std::nullopt);
    EXPECT_EQ(
        failureOf(eventNaming("  " + std::string(129, 'a'))), Case::invalidBrowserDisplayName);
}

TEST(ValidateDisplayName, RefusesControlCharactersAndNothingElseInside)
{
    for (char32_t scalar = 0; scalar <= 0xFFFF; ++scalar) {
        if (scalar >= 0xD800 && scalar <= 0xDFFF)
            continue;
        const bool isControl
            = scalar <= 0x1F || scalar == 0x7F || (scalar >= 0x80 && scalar <= 0x9F);
        const auto failure = failureOf(eventNaming('a' + support::utf8(scalar) + 'b'));
        ASSERT_EQ(
            failure, isControl ? std::optional(Case::invalidBrowserDisplayName) : std::nullopt)
            << std::hex << static_cast<unsigned>(scalar);
    }
}

TEST(ValidateDisplayName, LooksAtControlCharactersAfterTrimming)
{
    EXPECT_EQ(failureOf(eventNaming("a\u0085")), std::nullopt);
    EXPECT_EQ(failureOf(eventNaming("a\u0085b")), Case::invalidBrowserDisplayName);
    EXPECT_EQ(failureOf(eventNaming("a\u0084")), Case::invalidBrowserDisplayName);
    EXPECT_EQ(failureOf(eventNaming("\u007Fa")), Case::invalidBrowserDisplayName);
}

} // namespace events
