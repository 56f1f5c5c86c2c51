#include "tests/events/validation_outcome.h"
#include "tests/support/utf8.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace events {

namespace {

BrowserActivityEvent eventOnHost(std::string_view hostname)
{
    BrowserActivityEvent event = support::validEvent();
    event.hostname = hostname;
    return event;
}

std::optional<std::string> storedHostname(std::string_view hostname)
{
    return accepted(eventOnHost(hostname)).hostname;
}

std::string encoded(std::u32string_view text)
{
    std::string bytes;
    for (const char32_t scalar : text)
        bytes += support::utf8(scalar);
    return bytes;
}

// The rule for host names, one sentence after the other, over the alphabet of the exhaustive test:
// an oracle that shares no code with what it judges. None means refused.
std::optional<std::string> hostnameByTheRule(std::u32string hostname)
{
    while (!hostname.empty() && hostname.front() == U' ')
        hostname.erase(0, 1);
    while (!hostname.empty() && hostname.back() == U' ')
        hostname.pop_back();
    std::ranges::replace(hostname, U'Z', U'z');
    std::ranges::replace(hostname, U'\u212A', U'k');
    if (!hostname.empty() && hostname.back() == U'.')
        hostname.pop_back();
    if (hostname.empty() || encoded(hostname).size() >= 254)
        return std::nullopt;
    if (hostname.find(U"://") != std::u32string::npos
        || hostname.find_first_of(U"/?#@:%") != std::u32string::npos)
        return std::nullopt;

    std::vector<std::u32string> labels(1);
    for (const char32_t scalar : hostname) {
        if (scalar == U'.')
            labels.emplace_back();
        else
            labels.back() += scalar;
    }
    for (const std::u32string& label : labels) {
        if (label.empty() || encoded(label).size() > 63)
            return std::nullopt;
        if (label.front() == U'-' || label.back() == U'-')
            return std::nullopt;
        for (const char32_t scalar : label) {
            const bool isDigit = scalar >= U'0' && scalar <= U'9';
            const bool isLetter = scalar >= U'a' && scalar <= U'z';
            if (!isDigit && !isLetter && scalar != U'-')
                return std::nullopt;
        }
    }
    return encoded(hostname);
}

// Three labels of 63 characters and one of `last`: with the dots 192 characters more than that.
std::string longHostname(std::size_t last)
{
    const std::string label = std::string(63, 'a') + '.';
    return label + label + label + std::string(last, 'b');
}

} // namespace

TEST(ValidateHostname, AgreesWithTheRuleOnAllShortTexts)
{
    constexpr std::u32string_view alphabet = U"aZ0-._ \u00E9\u212A";
    constexpr std::size_t longest = 5;
    std::vector<std::u32string> texts { {} };
    for (std::size_t index = 0; index < texts.size(); ++index) {
        const std::u32string text = texts[index];
        const auto expected = hostnameByTheRule(text);
        const auto validated
            = validate(eventOnHost(encoded(text)), support::sampleTime, ValidatorSettings {});
        ASSERT_EQ(validated.has_value(), expected.has_value()) << '"' << encoded(text) << '"';
        if (expected) {
            ASSERT_EQ(validated->hostname, expected) << '"' << encoded(text) << '"';
        } else {
            ASSERT_EQ(validated.error().errorCase, Case::invalidHostname)
                << '"' << encoded(text) << '"';
        }
        if (text.size() < longest) {
            for (const char32_t scalar : alphabet)
                texts.push_back(text + scalar);
        }
    }
    EXPECT_EQ(texts.size(), 1U + 9U + 81U + 729U + 6561U + 59049U);
}

TEST(ValidateHostname, StoresItTrimmedLowerCasedAndWithoutTheFinalDot)
{
    EXPECT_EQ(storedHostname(" WWW.Example.COM. \n"), "www.example.com");
    EXPECT_EQ(storedHostname("www.example.com"), "www.example.com");
    EXPECT_EQ(storedHostname("localhost"), "localhost");
    EXPECT_EQ(storedHostname("127.0.0.1"), "127.0.0.1");
}

TEST(ValidateHostname, RemovesOnlyOneFinalDot)
{
    EXPECT_EQ(storedHostname("example.com."), "example.com");
    EXPECT_EQ(failureOf(eventOnHost("example.com..")), Case::invalidHostname);
}

TEST(ValidateHostname, TrimsBeforeItRemovesTheDotAndNotAfter)
{
    EXPECT_EQ(storedHostname("example.com.\u2003"), "example.com");
    EXPECT_EQ(failureOf(eventOnHost("example.com .")), Case::invalidHostname);
}

TEST(ValidateHostname, RefusesWhatLeavesNothing)
{
    for (const std::string_view hostname : { "", " ", ".", " . ", ".." })
        EXPECT_EQ(failureOf(eventOnHost(hostname)), Case::invalidHostname)
            << '"' << hostname << '"';
}

TEST(ValidateHostname, RefusesPartsOfAnAddress)
{
    for (const std::string_view hostname : { "https://example.com", "://", "user@example.com",
             "example.com:443", "example.com/path", "example.com?query", "example.com#fragment",
             "ex%61mple.com", "[::1]", "example.com\\path" })
        EXPECT_EQ(failureOf(eventOnHost(hostname)), Case::invalidHostname) << hostname;
}

TEST(ValidateHostname, RefusesEmptyLabels)
{
    for (const std::string_view hostname : { ".example.com", "example..com", "...", "a..b" })
        EXPECT_EQ(failureOf(eventOnHost(hostname)), Case::invalidHostname) << hostname;
}

TEST(ValidateHostname, RefusesHyphensAtTheEndsOfLabels)
{
    for (const std::string_view hostname :
        { "-example.com", "example-.com", "example.-com", "example.com-", "-", "a.-.b" })
        EXPECT_EQ(failureOf(eventOnHost(hostname)), Case::invalidHostname) << hostname;
    EXPECT_EQ(storedHostname("ex-am--ple.c-m"), "ex-am--ple.c-m");
}

TEST(ValidateHostname, AcceptsInternationalisedNamesInTheirASCIIFormOnly)
{
    EXPECT_EQ(storedHostname("xn--bcher-kva.example"), "xn--bcher-kva.example");
    EXPECT_EQ(failureOf(eventOnHost("b\u00FCcher.example")), Case::invalidHostname);
    EXPECT_EQ(failureOf(eventOnHost("example\u3002com")), Case::invalidHostname);
    EXPECT_EQ(failureOf(eventOnHost("\uFF45xample.com")), Case::invalidHostname);
}

TEST(ValidateHostname, AllowsOnlyLettersDigitsHyphensAndDotsInside)
{
    constexpr std::string_view allowed
        = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-.";
    for (char32_t scalar = 0; scalar <= 0xFFFF; ++scalar) {
        if (scalar >= 0xD800 && scalar <= 0xDFFF)
            continue;
        const bool isAllowed = (scalar < 0x80 && allowed.contains(static_cast<char>(scalar)))
            || scalar == U'\u212A'; // The Kelvin sign is a "k" in lower case.
        const auto failure = failureOf(eventOnHost('a' + support::utf8(scalar) + 'b'));
        ASSERT_EQ(failure, isAllowed ? std::nullopt : std::optional(Case::invalidHostname))
            << std::hex << static_cast<unsigned>(scalar);
    }
}

TEST(ValidateHostname, LowerCasesTheKelvinSign)
{
    EXPECT_EQ(storedHostname("\u212Aestrane.example"), "kestrane.example");
}

TEST(ValidateHostname, AcceptsLabelsOfUpTo63Characters)
{
    for (const std::string_view rest : { "", ".com", "." }) {
        EXPECT_EQ(failureOf(eventOnHost(std::string(63, 'a') + std::string(rest))), std::nullopt);
        EXPECT_EQ(failureOf(eventOnHost(std::string(64, 'a') + std::string(rest))),
            Case::invalidHostname);
    }
    EXPECT_EQ(failureOf(eventOnHost("www." + std::string(63, 'a'))), std::nullopt);
    EXPECT_EQ(failureOf(eventOnHost("www." + std::string(64, 'a'))), Case::invalidHostname);
}

TEST(ValidateHostname, AcceptsUpTo253BytesAfterTheFinalDot)
{
    ASSERT_EQ(longHostname(61).size(), 253U);
    EXPECT_EQ(storedHostname(longHostname(61)), longHostname(61));
    EXPECT_EQ(storedHostname(longHostname(61) + '.'), longHostname(61));
    EXPECT_EQ(failureOf(eventOnHost(longHostname(62))), Case::invalidHostname);
    EXPECT_EQ(failureOf(eventOnHost(longHostname(62) + '.')), Case::invalidHostname);
}

TEST(ValidateHostname, CountsTheTrimmedAndLowerCasedName)
{
    EXPECT_EQ(storedHostname("  " + longHostname(61) + "\n"), longHostname(61));
    // Three bytes each as received, one in lower case.
    const std::string kelvins = support::repeated("\u212A", 63);
    EXPECT_EQ(
        storedHostname(kelvins + '.' + kelvins), std::string(63, 'k') + '.' + std::string(63, 'k'));
}

TEST(NormalizedHostname, GivesTheNormalFormOrNothing)
{
    EXPECT_EQ(normalizedHostname(" Example.COM. "), "example.com");
    EXPECT_EQ(normalizedHostname("exa_mple.com"), std::nullopt);
}

} // namespace events
