// Version strings, judged by the tables of the application's platform.

#include "bridge/version_string.h"
#include "fuzz/support/byte_source.h"
#include "fuzz/support/claims.h"
#include "fuzz/support/naive_json.h"
#include "fuzz/support/naive_text.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>

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
        const auto table = fuzz::parseNaively(line);
        fuzz::require(table.has_value() && table->find(key) != nullptr, "the table has that set");
        ScalarSet set(scalarCount);
        for (const fuzz::NaiveValue& range : table->find(key)->items) {
            const auto bound = [&range](std::size_t index) {
                return std::strtoul(range.items.at(index).text.c_str(), nullptr, 16);
            };
            for (std::size_t scalar = bound(0); scalar <= bound(1); ++scalar)
                set[scalar] = true;
        }
        return set;
    }
    fuzz::require(false, "there is a table");
    return {};
}

// User-perceived characters, as far as they can be those of a version: a mark joins to a number.
std::vector<fuzz::Scalars> characters(const fuzz::Scalars& scalars)
{
    static const ScalarSet numbers = readSet("characters.jsonl", "isNumber");
    static const ScalarSet marks = readSet("graphemes.jsonl", "joins_to_letter_before");
    std::vector<fuzz::Scalars> result;
    for (const char32_t scalar : scalars) {
        if (!result.empty() && numbers[result.back().front()] && marks[scalar])
            result.back().push_back(scalar);
        else if (numbers[scalar] || scalar == U'.')
            result.push_back({ scalar });
        else
            return {};
    }
    return result;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view text = fuzz::textOf(data, size);
    const auto scalars = fuzz::naiveScalars(text);
    const std::size_t length = scalars ? characters(*scalars).size() : 0;
    fuzz::requireFor(bridge::isValidVersionString(text) == (length >= 1 && length <= 32),
        "versions are 1 to 32 numbers and full stops", text);
    return 0;
}
