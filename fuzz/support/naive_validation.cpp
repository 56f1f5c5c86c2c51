#include "fuzz/support/naive_validation.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>

namespace fuzz {

namespace {

constexpr const char* badCombination
    = "The event contains fields that are not valid for its event type.";
constexpr const char* badPrivateData
    = "Kestrane does not accept hostnames or tab identifiers from private browsing.";

bool holdsControlCharacter(const Scalars& scalars)
{
    return std::ranges::any_of(scalars, isNaiveControlCharacter);
}

std::optional<std::string> displayNameOf(const std::string& browser)
{
    static const std::map<std::string, std::string> names {
        { "com.google.Chrome", "Google Chrome" },
        { "com.microsoft.edgemac", "Microsoft Edge" },
        { "com.brave.Browser", "Brave" },
        { "company.thebrowser.Browser", "Arc" },
        { "com.operasoftware.Opera", "Opera" },
        { "com.vivaldi.Vivaldi", "Vivaldi" },
        { "com.apple.Safari", "Safari" },
        { "org.mozilla.firefox", "Firefox" },
    };
    const auto found = names.find(browser);
    return found == names.end() ? std::nullopt : std::optional(found->second);
}

bool isDisplayName(const Scalars& name)
{
    const Scalars trimmed = naivelyTrimmed(name);
    const std::size_t length = naiveUTF8(trimmed).size();
    return length >= 1 && length <= 128 && !holdsControlCharacter(trimmed);
}

std::optional<std::string> normalTab(const Scalars& tab)
{
    const std::string text = naiveUTF8(naivelyTrimmed(tab));
    constexpr std::string_view allowed
        = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._:";
    if (text.empty() || text.size() > 128 || text.find_first_not_of(allowed) != std::string::npos)
        return std::nullopt;
    return text;
}

std::optional<std::string> normalPDFIdentifier(const Scalars& identifier)
{
    const std::string text = naivelyLowerCased(naiveUTF8(naivelyTrimmed(identifier)));
    return isNaiveUUID(text) ? std::optional(text) : std::nullopt;
}

std::optional<std::string> normalLabel(const Scalars& label)
{
    const Scalars trimmed = naivelyTrimmed(label);
    const std::string text = naiveUTF8(trimmed);
    const bool isPath = std::ranges::count(trimmed, U'/') + std::ranges::count(trimmed, U'\\') > 0;
    if (text.empty() || text.size() > 160 || isPath || holdsControlCharacter(trimmed))
        return std::nullopt;
    return text;
}

// The table of which fields an event of each type has.
std::string combinationRefusal(const NaiveEvent& event)
{
    const bool hostname = event.hostname.has_value();
    const bool tab = event.tab.has_value();
    const bool pdf = event.pdfIdentifier.has_value();
    const bool nothing = !hostname && !tab && !pdf;

    if (event.type == "browserWindowBlurred" || event.type == "extensionDisconnected")
        return nothing ? "" : badCombination;
    if (event.type == "tabClosed") {
        if (event.isPrivate)
            return badCombination;
        if (event.isLocalPDF)
            return !hostname && pdf && !tab ? "" : badCombination;
        return !hostname && tab && !pdf ? "" : badCombination;
    }
    if (event.isPrivate)
        return nothing ? "" : badPrivateData;
    if (event.isLocalPDF)
        return pdf && !hostname && !tab ? "" : badCombination;
    return !pdf && ((hostname && tab) || (!hostname && !tab)) ? "" : badCombination;
}

NaiveVerdict refusal(std::string text)
{
    return { .refusal = std::move(text) };
}

// Normalises what is there; false if that is not possible.
template <typename Normalize>
bool normalize(
    const std::optional<Scalars>& field, std::optional<std::string>& result, Normalize rule)
{
    if (field)
        result = rule(*field);
    return field.has_value() == result.has_value();
}

} // namespace

NaiveVerdict judgeEvent(const NaiveEvent& event)
{
    if (!std::isfinite(event.age))
        return refusal("The browser event is not valid Kestrane JSON.");
    if (event.age > 120)
        return refusal("The browser event timestamp is too old.");
    if (event.age < -30)
        return refusal("The browser event timestamp is too far in the future.");
    const auto displayName = displayNameOf(event.browser);
    if (!displayName)
        return refusal("The browser bundle identifier is not allowed: " + event.browser);
    if (!isDisplayName(event.displayName))
        return refusal("The browser display name is invalid.");

    NaiveVerdict verdict;
    NaiveNormalForm& normal = verdict.normalForm;
    normal.displayName = *displayName;
    if (!normalize(event.hostname, normal.hostname, naivelyNormalizedHostname))
        return refusal("The browser hostname is invalid.");
    if (!normalize(event.tab, normal.tab, normalTab))
        return refusal("The temporary browser tab identifier is invalid.");
    if (!normalize(event.pdfIdentifier, normal.pdfIdentifier, normalPDFIdentifier))
        return refusal("The local PDF identifier is invalid.");
    if (!normalize(event.pdfLabel, normal.pdfLabel, normalLabel))
        return refusal("The local PDF label is invalid.");
    if (event.hasLabelSource && (!event.pdfLabel || !event.isLocalPDF))
        return refusal("The local PDF label source is invalid.");
    if (event.isPrivate && (event.hostname || event.tab || event.pdfIdentifier || event.pdfLabel))
        return refusal(badPrivateData);
    verdict.refusal = combinationRefusal(event);
    return verdict;
}

} // namespace fuzz
