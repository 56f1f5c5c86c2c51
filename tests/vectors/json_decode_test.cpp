// Whole records out of JSON texts: which texts are refused, and every field of those that are not.

#include "tests/vectors/support/described_records.h"
#include "tests/vectors/support/vector_file.h"

#include <boost/json/serialize.hpp>
#include <gtest/gtest.h>

#include <string_view>

namespace {

using vectors::Vector;

// The version 9007199254740997.25: the library, which refuses other fractions past 2^53, cuts this
// one off. The program refuses them all (docs/platform.md).
constexpr std::string_view fractionCutByTheLibrary = "jn-04101";

vectors::Judgement judgeDecoding(const Vector& vector)
{
    const auto decoded = vectors::describedRecord(vector.text("record"), vector.bytes("text"));
    const bool isRefusedByTheProgram = vector.text("id") == fractionCutByTheLibrary;
    if (!vector.flag("ok") || vector.mustBeRefused() || isRefusedByTheProgram)
        return vectors::judge(!decoded, "was not refused");
    if (!decoded)
        return vectors::failed("was refused");
    return vectors::judge(*decoded == vector.at("value").as_object(),
        "was read as " + boost::json::serialize(*decoded));
}

TEST(DecodingRecords, AgreesWithTheLibraryOnFields)
{
    vectors::runVectors({ "json_decode.jsonl", 1333, 0 }, judgeDecoding);
}

TEST(DecodingRecords, AgreesWithTheLibraryOnNumbers)
{
    vectors::runVectors({ "json_decode_numbers.jsonl", 2086, 0 }, judgeDecoding);
}

TEST(DecodingRecords, AgreesWithTheLibraryOnText)
{
    vectors::runVectors({ "json_decode_text.jsonl", 2669, 0 }, judgeDecoding);
}

TEST(DecodingRecords, AgreesWithTheLibraryOnMutations)
{
    vectors::runVectors({ "json_decode_mutations.jsonl", 3800, 0 }, judgeDecoding);
}

} // namespace
