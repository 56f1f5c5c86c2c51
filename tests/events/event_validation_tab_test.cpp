#include "tests/events/validation_outcome.h"
#include "tests/support/utf8.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace events {

namespace {

BrowserActivityEvent eventOfTab(std::string_view identifier)
{
    BrowserActivityEvent event = support::validEvent();
    event.temporaryTabIdentifier = identifier;
    return event;
}

std::optional<std::string> storedTab(std::string_view identifier)
{
    return accepted(eventOfTab(identifier)).temporaryTabIdentifier;
}

// Unicode space separators, tab, line feed to carriage return, next line, line and paragraph
// separator.
constexpr std::array<char32_t, 25> trimmedCharacters { 0x09, 0x0A, 0x0B, 0x0C, 0x0D, 0x20, 0x85,
    0xA0, 0x1680, 0x2000, 0x2001, 0x2002, 0x2003, 0x2004, 0x2005, 0x2006, 0x2007, 0x2008, 0x2009,
    0x200A, 0x2028, 0x2029, 0x202F, 0x205F, 0x3000 };

bool isAllowed(char32_t scalar)
{
    constexpr std::u32string_view allowed
        = U"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._:";
    return allowed.find(scalar) != std::u32string_view::npos;
}

// Calls `check` with every scalar value of the basic plane and some beyond it.
template <typename Check> void forEachScalar(Check check)
{
    for (char32_t scalar = 0; scalar <= 0xFFFF; ++scalar) {
        if (scalar < 0xD800 || scalar > 0xDFFF)
            check(scalar);
    }
    for (const char32_t scalar : { U'\U00010000', U'\U0001D7D8', U'\U000E0020', U'\U0010FFFF' })
        check(scalar);
}

} // namespace

TEST(ValidateTabIdentifier, KeepsTheLetterCase)
{
    EXPECT_EQ(storedTab("Tab:17.a_B-c"), "Tab:17.a_B-c");
}

TEST(ValidateTabIdentifier, StoresItTrimmed)
{
    EXPECT_EQ(storedTab(" \t tab-17\r\n"), "tab-17");
}

TEST(ValidateTabIdentifier, RefusesWhatIsEmptyAfterTrimming)
{
    for (const std::string_view identifier : { "", " ", "\n\u2003" })
        EXPECT_EQ(failureOf(eventOfTab(identifier)), Case::invalidTemporaryTabIdentifier);
}

TEST(ValidateTabIdentifier, AcceptsUpTo128Bytes)
{
    EXPECT_EQ(failureOf(eventOfTab(std::string(128, 'x'))), std::nullopt);
    EXPECT_EQ(failureOf(eventOfTab(std::string(129, 'x'))), Case::invalidTemporaryTabIdentifier);
    EXPECT_EQ(failureOf(eventOfTab(" " + std::string(128, 'x') + "\u3000")), std::nullopt);
}

TEST(ValidateTabIdentifier, AllowsOnlyItsAlphabetInside)
{
    forEachScalar([](char32_t scalar) {
        const auto failure = failureOf(eventOfTab('a' + support::utf8(scalar) + 'b'));
        ASSERT_EQ(failure,
            isAllowed(scalar) ? std::nullopt : std::optional(Case::invalidTemporaryTabIdentifier))
            << std::hex << static_cast<unsigned>(scalar);
    });
}

TEST(ValidateTabIdentifier, TrimsWhiteSpaceAndNewlinesAndNothingElse)
{
    forEachScalar([](char32_t scalar) {
        const bool isTrimmed
            = std::ranges::find(trimmedCharacters, scalar) != trimmedCharacters.end();
        const std::string text = support::utf8(scalar);
        for (const std::string& identifier : { text + "tab", "tab" + text, text + "tab" + text }) {
            const auto failure = failureOf(eventOfTab(identifier));
            ASSERT_EQ(!failure, isTrimmed || isAllowed(scalar))
                << std::hex << static_cast<unsigned>(scalar);
            if (isTrimmed) {
                ASSERT_EQ(storedTab(identifier), "tab")
                    << std::hex << static_cast<unsigned>(scalar);
            }
        }
    });
}

TEST(ValidateTabIdentifier, DoesNotTrimAZeroWidthSpace)
{
    EXPECT_EQ(failureOf(eventOfTab("tab\u200B")), Case::invalidTemporaryTabIdentifier);
}

TEST(ValidateTabIdentifier, TrimsAnyNumberOfCharactersOfAnyLength)
{
    std::string everyOne;
    for (const char32_t scalar : trimmedCharacters)
        everyOne += support::utf8(scalar);
    EXPECT_EQ(storedTab(everyOne + everyOne + "tab" + everyOne + everyOne), "tab");
    EXPECT_EQ(failureOf(eventOfTab(everyOne)), Case::invalidTemporaryTabIdentifier);
}

} // namespace events
