// Trimming and lower-casing.

#include "base/unicode_text.h"
#include "events/event_validation.h"
#include "tests/vectors/support/text_encodings.h"
#include "tests/vectors/support/vector_file.h"

#include <gtest/gtest.h>

#include <optional>
#include <regex>
#include <string>

namespace {

using vectors::Judgement;
using vectors::Vector;

// Every scalar value before, behind and instead of a text.
Judgement judgeTrimmedSet(const Vector& vector)
{
    const std::vector<bool> wanted = vector.scalarSet("wanted");
    std::string wrong;
    vectors::forEachScalar([&](char32_t scalar) {
        const std::string blank = vectors::utf8Of(scalar);
        const bool isTrimmed = base::trimmed(blank).empty();
        const bool isTrimmedInFront = base::trimmed(blank + "a b") == "a b";
        const bool isTrimmedBehind = base::trimmed("a b" + blank) == "a b";
        if (isTrimmed != wanted[scalar] || isTrimmedInFront != isTrimmed
            || isTrimmedBehind != isTrimmed)
            wrong += ' ' + std::to_string(scalar);
    });
    return vectors::judge(wrong.empty(), "scalar values" + wrong);
}

TEST(Trimming, AgreesWithTheLibraryButForTheZeroWidthSpace)
{
    vectors::runVectors({ "trim.jsonl", 486, 0 }, [](const Vector& vector) {
        if (vector.isTable())
            return judgeTrimmedSet(vector);
        const std::string text = vector.bytes("text");
        const std::string expected = vector.bytes(vector.has("wanted") ? "wanted" : "trimmed");
        return vectors::judge(base::trimmed(text) == expected, std::string(base::trimmed(text)));
    });
}

std::string trimmedNaively(const std::string& text)
{
    const std::u32string blanks
        = U"\t\n\v\f\r \u0085\u00A0\u1680\u2000\u2001\u2002\u2003\u2004\u2005"
          U"\u2006\u2007\u2008\u2009\u200A\u2028\u2029\u202F\u205F\u3000";
    const std::u32string scalars = vectors::scalarsOf(text);
    const std::size_t first = scalars.find_first_not_of(blanks);
    if (first == std::u32string::npos)
        return {};
    const std::size_t last = scalars.find_last_not_of(blanks);
    return vectors::utf8Of(std::u32string_view(scalars).substr(first, last - first + 1));
}

// The rule for host names over again, on text that is in lower case already.
std::optional<std::string> normalizedNaively(const std::string& lowerCaseText)
{
    static const std::regex hostname(
        "[a-z0-9]([a-z0-9-]{0,61}[a-z0-9])?(\\.[a-z0-9]([a-z0-9-]{0,61}[a-z0-9])?)*");
    std::string name = trimmedNaively(lowerCaseText);
    if (!name.empty() && name.back() == '.')
        name.pop_back();
    if (name.size() > 253 || !std::regex_match(name, hostname))
        return std::nullopt;
    return name;
}

// Every scalar value as a host name: what lower-casing leaves alone is judged as it stands. Of what
// it changes, only the capital letters and the Kelvin sign become letters that a host name may
// have.
Judgement judgeLowerCasedSet(const Vector& vector)
{
    constexpr char32_t kelvinSign = 0x212A;
    const std::vector<bool> changed = vector.scalarSet("changed");
    std::string wrong;
    vectors::forEachScalar([&](char32_t scalar) {
        std::optional<std::string> expected;
        if (scalar == kelvinSign)
            expected = "k";
        else if (scalar >= U'A' && scalar <= U'Z')
            expected = vectors::utf8Of(scalar + 32);
        else if (scalar < 0x80)
            expected = normalizedNaively(vectors::utf8Of(scalar));
        const bool mayChange = !expected || vectors::utf8Of(scalar) == *expected || changed[scalar];
        if (!mayChange || events::normalizedHostname(vectors::utf8Of(scalar)) != expected)
            wrong += ' ' + std::to_string(scalar);
    });
    return vectors::judge(wrong.empty(), "scalar values" + wrong);
}

TEST(LowerCasingHostNames, AgreesWithTheLibrary)
{
    vectors::runVectors({ "lowercase.jsonl", 1105, 0 }, [](const Vector& vector) {
        if (vector.isTable())
            return judgeLowerCasedSet(vector);
        const auto normalized = events::normalizedHostname(vector.bytes("text"));
        return vectors::judge(normalized == normalizedNaively(vector.bytes("lower")),
            normalized.value_or("was refused"));
    });
}

} // namespace
