// User-perceived characters: their properties, where they begin, and the two rules that are made of
// them (version strings and tokens). The program never takes a text apart into characters; these
// vectors show that what it does instead comes to the same.

#include "base/unicode_text.h"
#include "bridge/bridge_store.h"
#include "bridge/version_string.h"
#include "tests/support/temporary_directory.h"
#include "tests/vectors/support/text_encodings.h"
#include "tests/vectors/support/vector_file.h"

#include <boost/json/array.hpp>
#include <gtest/gtest.h>

#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace {

using vectors::Judgement;
using vectors::Vector;

// The scalar values for which `property` is not what `expected` says, as text for a remark.
template <typename Property>
std::string differences(const std::vector<bool>& expected, Property property)
{
    std::string wrong;
    vectors::forEachScalar([&](char32_t scalar) {
        if (property(scalar) != expected[scalar])
            wrong += ' ' + std::to_string(scalar);
    });
    return wrong;
}

// Sixty-three digits and one character more.
bool isTokenEnd(const std::string& character, const bridge::BrowserBridgeStore& store)
{
    support::writeFile(store.rootURL + "/bridge-token", std::string(63, 'a') + character);
    return store.readToken(platform::localFileSystem()).has_value();
}

std::u32string scalarsListed(const std::string& text)
{
    std::u32string scalars;
    std::istringstream words(text);
    for (std::string word; words >> word;)
        scalars += static_cast<char32_t>(std::stoul(word, nullptr, 16));
    return scalars;
}

Judgement judgeSets(const Vector& vector)
{
    std::vector<bool> period(0x110000);
    period[U'.'] = true;
    if (vector.scalarSet("equalsPeriod") != period)
        return vectors::failed("the period is not alone");
    const std::string wrong = differences(vector.scalarSet("isNumber"), base::isNumericCharacter)
        + differences(vector.scalarSet("isHexDigit"), base::isHexadecimalDigit);
    return vectors::judge(wrong.empty(), "scalar values" + wrong);
}

Judgement judgeCharacters(const Vector& vector, const bridge::BrowserBridgeStore& store)
{
    const boost::json::array& characters = vector.at("characters").as_array();
    bool isVersion = !characters.empty() && characters.size() <= 32;
    for (const boost::json::value& character : characters) {
        const auto flag = [&character](const char* key) { return character.at(key).as_bool(); };
        const std::u32string scalars
            = scalarsListed(std::string(character.at("scalars").as_string()));
        isVersion = isVersion && (flag("isNumber") || flag("isPeriod"));
        if (base::isNumericCharacter(scalars.front()) != flag("isNumber"))
            return vectors::failed("a character's number");
        if (scalars.size() == 1 && base::isHexadecimalDigit(scalars.front()) != flag("isHexDigit"))
            return vectors::failed("a character's hexadecimal digit");
        if (isTokenEnd(vectors::utf8Of(scalars), store) != flag("isHexDigit"))
            return vectors::failed("a token with one of the characters");
    }
    return vectors::judge(
        bridge::isValidVersionString(vector.bytes("text")) == isVersion, "as a version string");
}

TEST(CharacterProperties, AgreeWithTheLibrary)
{
    const support::TemporaryDirectory directory;
    const bridge::BrowserBridgeStore store { directory.path() };
    vectors::runVectors({ "characters.jsonl", 918, 0 }, [&store](const Vector& vector) {
        return vector.isTable() ? judgeSets(vector) : judgeCharacters(vector, store);
    });
}

// The characters of a text as they were observed.
std::vector<std::u32string> clustersOf(const Vector& vector)
{
    std::u32string rest = vectors::scalarsOf(vector.bytes("text"));
    std::vector<std::u32string> clusters;
    for (const boost::json::value& length : vector.at("lengths").as_array()) {
        clusters.push_back(rest.substr(0, length.to_number<std::size_t>()));
        rest.erase(0, clusters.back().size());
    }
    EXPECT_TRUE(rest.empty()) << vector.text("id");
    return clusters;
}

class ClusterJudge {
public:
    Judgement operator()(const Vector& vector)
    {
        if (!vector.isTable())
            return judgeClusters(vector);
        partsFromMarks_ = vector.scalarSet("no_mark_joins_after");
        const std::string wrong
            = differences(vector.scalarSet("joins_to_letter_before"), base::extendsCharacterBefore);
        return vectors::judge(wrong.empty(), "scalar values" + wrong);
    }

private:
    [[nodiscard]] Judgement judgeClusters(const Vector& vector) const
    {
        const auto clusters = clustersOf(vector);
        std::optional<char32_t> before;
        bool isVersion = !clusters.empty() && clusters.size() <= 32;
        for (const std::u32string& cluster : clusters) {
            bool beginsCluster = true;
            for (const char32_t scalar : cluster) {
                if (before && !agrees(*before, scalar, beginsCluster))
                    return vectors::failed(
                        "scalar value " + std::to_string(std::uint32_t { scalar }));
                before = scalar;
                beginsCluster = false;
            }
            isVersion = isVersion && (base::isNumericCharacter(cluster.front()) || cluster == U".");
        }
        return vectors::judge(
            bridge::isValidVersionString(vector.bytes("text")) == isVersion, "as a version string");
    }

    // A mark never begins a character but behind a control; behind a number nothing else continues
    // one.
    [[nodiscard]] bool agrees(char32_t before, char32_t scalar, bool beginsCluster) const
    {
        const bool extends = base::extendsCharacterBefore(scalar);
        if (base::isNumericCharacter(before))
            return beginsCluster != extends;
        return !(beginsCluster && extends) || partsFromMarks_.at(before);
    }

    std::vector<bool> partsFromMarks_;
};

TEST(CharacterBoundaries, AgreeWithTheLibraryWhereTheProgramNeedsThem)
{
    vectors::runVectors({ "graphemes.jsonl", 2584, 0 }, ClusterJudge());
}

TEST(VersionStrings, AgreeWithTheLibrary)
{
    vectors::runVectors({ "version_string.jsonl", 869, 0 }, [](const Vector& vector) {
        const bool isValid = bridge::isValidVersionString(vector.bytes("text"));
        return vectors::judge(isValid == vector.flag("valid"), isValid ? "valid" : "refused");
    });
}

} // namespace
