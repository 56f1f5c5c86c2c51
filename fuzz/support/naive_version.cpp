#include "fuzz/support/naive_version.h"

#include "fuzz/support/claims.h"
#include "fuzz/support/naive_json.h"
#include "fuzz/support/naive_text.h"

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

namespace fuzz {

namespace {

constexpr std::size_t scalarCount = 0x110000;

using ScalarSet = std::vector<bool>;

// A set of scalar values that stands in a file of vectors as ranges of hexadecimal numbers.
ScalarSet readSet(const std::string& fileName, std::string_view key)
{
    std::ifstream file(KESTRANE_VECTORS_DIRECTORY "/" + fileName);
    for (std::string line; std::getline(file, line);) {
        if (line.find(R"("kind":"table")") == std::string::npos)
            continue;
        const auto table = parseNaively(line);
        require(table.has_value() && table->find(key) != nullptr, "the table has that set");
        ScalarSet set(scalarCount);
        for (const NaiveValue& range : table->find(key)->items) {
            const auto bound = [&range](std::size_t index) {
                return std::strtoul(range.items.at(index).text.c_str(), nullptr, 16);
            };
            for (std::size_t scalar = bound(0); scalar <= bound(1); ++scalar)
                set[scalar] = true;
        }
        return set;
    }
    require(false, "there is a table");
    return {};
}

// How many user-perceived characters the text has: a mark joins to a number. 0 if one of them is
// none of those that a version has.
std::size_t characterCount(const Scalars& scalars)
{
    static const ScalarSet numbers = readSet("characters.jsonl", "isNumber");
    static const ScalarSet marks = readSet("graphemes.jsonl", "joins_to_letter_before");
    std::size_t count = 0;
    bool followsNumber = false;
    for (const char32_t scalar : scalars) {
        if (followsNumber && marks[scalar])
            continue;
        if (!numbers[scalar] && scalar != U'.')
            return 0;
        followsNumber = scalar != U'.';
        ++count;
    }
    return count;
}

} // namespace

bool isNaiveVersion(std::string_view text)
{
    constexpr std::size_t most = 32;
    if (text.find_first_not_of("0123456789.") == std::string_view::npos)
        return !text.empty() && text.size() <= most;
    const auto scalars = naiveScalars(text);
    const std::size_t count = scalars ? characterCount(*scalars) : 0;
    return count >= 1 && count <= most;
}

} // namespace fuzz
