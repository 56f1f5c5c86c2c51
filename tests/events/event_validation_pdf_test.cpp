#include "tests/events/validation_outcome.h"
#include "tests/support/utf8.h"

#include <optional>
#include <string>
#include <string_view>

namespace events {

namespace {

BrowserActivityEvent eventOfPDF(std::string_view identifier)
{
    BrowserActivityEvent event = support::validPDFEvent();
    event.pdfIdentifier = identifier;
    return event;
}

BrowserActivityEvent eventLabelled(std::optional<std::string> label,
    std::optional<BrowserPDFLabelSource> source = BrowserPDFLabelSource::manual)
{
    BrowserActivityEvent event = support::validPDFEvent();
    event.pdfLabel = std::move(label);
    event.pdfLabelSource = source;
    return event;
}

} // namespace

TEST(ValidatePDFIdentifier, StoresItTrimmedInLowerCase)
{
    for (const std::string_view identifier :
        { "9B2D6E1C-7C43-4C25-9D5E-0F6A1B2C3D4E", "9b2d6e1c-7c43-4c25-9d5e-0f6a1b2c3d4e",
            " \n9B2d6E1c-7C43-4c25-9D5e-0F6a1B2c3D4e\u00A0" })
        EXPECT_EQ(
            accepted(eventOfPDF(identifier)).pdfIdentifier, "9b2d6e1c-7c43-4c25-9d5e-0f6a1b2c3d4e");
}

TEST(ValidatePDFIdentifier, RefusesWhatIsNoUUID)
{
    for (const std::string_view identifier : { "", " ", "9b2d6e1c7c434c259d5e0f6a1b2c3d4e",
             "9b2d6e1c-7c43-4c25-9d5e-0f6a1b2c3d4g", "9b2d6e1c-7c43-4c25-9d5e-0f6a1b2c3d4",
             "9b2d6e1c-7c43-4c25-9d5e-0f6a1b2c3d4e0", "{9b2d6e1c-7c43-4c25-9d5e-0f6a1b2c3d4e}",
             "9b2d6e1-c7c43-4c25-9d5e-0f6a1b2c3d4e", "9b2d6e1c_7c43_4c25_9d5e_0f6a1b2c3d4e",
             "9b2d6e1c-7c43-4c25-9d5e- f6a1b2c3d4e", "------------------------------------",
             "abcdefghijklmnopqrstuvwxyz0123456789", "\uFF19b2d6e1c-7c43-4c25-9d5e-0f6a1b2c3d4e" })
        EXPECT_EQ(failureOf(eventOfPDF(identifier)), Case::invalidPDFIdentifier) << identifier;
}

TEST(ValidatePDFIdentifier, RefusesLongTextsOnBothSidesOfTheByteLimit)
{
    EXPECT_EQ(failureOf(eventOfPDF(std::string(64, 'a'))), Case::invalidPDFIdentifier);
    EXPECT_EQ(failureOf(eventOfPDF(std::string(65, 'a'))), Case::invalidPDFIdentifier);
    EXPECT_EQ(failureOf(eventOfPDF("9b2d6e1c-7c43-4c25-9d5e-0f6a1b2c3d4e" + std::string(29, 'a'))),
        Case::invalidPDFIdentifier);
}

TEST(ValidatePDFIdentifier, CountsTheTrimmedIdentifierAlone)
{
    const std::string blanks(100, ' ');
    EXPECT_EQ(failureOf(eventOfPDF(blanks + "9b2d6e1c-7c43-4c25-9d5e-0f6a1b2c3d4e" + blanks)),
        std::nullopt);
}

TEST(ValidatePDFLabel, StoresItTrimmed)
{
    EXPECT_EQ(accepted(eventLabelled(" \tThesis \u00E9.pdf\n")).pdfLabel, "Thesis \u00E9.pdf");
}

TEST(ValidatePDFLabel, RefusesWhatIsEmptyAfterTrimming)
{
    for (const char* const label : { "", " ", "\n\t\u2003" })
        EXPECT_EQ(failureOf(eventLabelled(label)), Case::invalidPDFLabel);
}

TEST(ValidatePDFLabel, AcceptsUpTo160Bytes)
{
    EXPECT_EQ(failureOf(eventLabelled(std::string(160, 'a'))), std::nullopt);
    EXPECT_EQ(failureOf(eventLabelled(std::string(161, 'a'))), Case::invalidPDFLabel);
    EXPECT_EQ(failureOf(eventLabelled("  " + std::string(160, 'a') + "\u3000")), std::nullopt);
}

TEST(ValidatePDFLabel, CountsBytesOfUTF8)
{
    const std::string eightyLetters = support::repeated("\u00E9", 80);
    EXPECT_EQ(failureOf(eventLabelled(eightyLetters)), std::nullopt);
    EXPECT_EQ(failureOf(eventLabelled(eightyLetters + 'a')), Case::invalidPDFLabel);
    EXPECT_EQ(failureOf(eventLabelled(support::repeated("\u20AC", 53) + 'a')), std::nullopt);
    EXPECT_EQ(
        failureOf(eventLabelled(support::repeated("\u20AC", 53) + "ab")), Case::invalidPDFLabel);
}

TEST(ValidatePDFLabel, RefusesSlashesAndControlCharactersAndNothingElseInside)
{
    for (char32_t scalar = 0; scalar <= 0xFFFF; ++scalar) {
        if (scalar >= 0xD800 && scalar <= 0xDFFF)
            continue;
        const bool isRefused = scalar <= 0x1F || (scalar >= 0x7F && scalar <= 0x9F)
            || scalar == U'/' || scalar == U'\\';
        const auto failure = failureOf(eventLabelled('a' + support::utf8(scalar) + 'b'));
        ASSERT_EQ(failure, isRefused ? std::optional(Case::invalidPDFLabel) : std::nullopt)
            << std::hex << static_cast<unsigned>(scalar);
    }
}

TEST(ValidatePDFLabel, RefusesSlashesAtTheEnds)
{
    for (const char* const label : { "/", "\\", "/a", "a/", "\\a", "a\\" })
        EXPECT_EQ(failureOf(eventLabelled(label)), Case::invalidPDFLabel) << label;
}

TEST(ValidatePDFLabel, KeepsAZeroWidthSpaceAtTheEnds)
{
    EXPECT_EQ(accepted(eventLabelled("\u200Blabel\u200B")).pdfLabel, "\u200Blabel\u200B");
}

TEST(ValidatePDFLabel, PassesWithoutSourceOnEitherResourceType)
{
    EXPECT_EQ(failureOf(eventLabelled("Thesis", std::nullopt)), std::nullopt);
    BrowserActivityEvent website = support::validEvent();
    website.pdfLabel = " Thesis ";
    EXPECT_EQ(accepted(website).pdfLabel, "Thesis");
}

TEST(ValidatePDFLabel, IsRefusedForItsContentsOnAWebsiteToo)
{
    BrowserActivityEvent website = support::validEvent();
    website.pdfLabel = "a/b";
    EXPECT_EQ(failureOf(website), Case::invalidPDFLabel);
}

TEST(ValidatePDFLabelSource, PassesWithALabelOfALocalPDF)
{
    for (const auto source : base::allValues<BrowserPDFLabelSource>())
        EXPECT_EQ(accepted(eventLabelled("Thesis", source)).pdfLabelSource, source);
}

TEST(ValidatePDFLabelSource, IsRefusedWithALabelOfAWebsite)
{
    BrowserActivityEvent website = support::validEvent();
    website.pdfLabel = "Thesis";
    for (const auto source : base::allValues<BrowserPDFLabelSource>()) {
        website.pdfLabelSource = source;
        EXPECT_EQ(failureOf(website), Case::invalidPDFLabelSource);
    }
}

TEST(ValidatePDFLabelSource, IsRefusedWithoutALabel)
{
    for (const auto source : base::allValues<BrowserPDFLabelSource>()) {
        EXPECT_EQ(failureOf(eventLabelled(std::nullopt, source)), Case::invalidPDFLabelSource);
        BrowserActivityEvent website = support::validEvent();
        website.pdfLabelSource = source;
        EXPECT_EQ(failureOf(website), Case::invalidPDFLabelSource);
    }
}

TEST(ValidatePDFLabelSource, MayBeAbsentWithTheLabel)
{
    EXPECT_EQ(failureOf(eventLabelled(std::nullopt, std::nullopt)), std::nullopt);
}

TEST(ValidateLocalFilePermission, PassesWithEachAllowedValue)
{
    BrowserActivityEvent event = support::validEvent();
    for (const auto permission :
        { BrowserLocalFilePermission::enabled, BrowserLocalFilePermission::permissionRequired,
            BrowserLocalFilePermission::unsupported }) {
        event.localFilePermission = permission;
        EXPECT_EQ(accepted(event).localFilePermission, permission);
    }
    event.localFilePermission.reset();
    EXPECT_EQ(accepted(event).localFilePermission, std::nullopt);
}

TEST(ValidateLocalFilePermission, RefusesAnyOtherValue)
{
    BrowserActivityEvent event = support::validEvent();
    event.localFilePermission = static_cast<BrowserLocalFilePermission>(3);
    EXPECT_EQ(failureOf(event), Case::invalidLocalFilePermission);
}

} // namespace events
