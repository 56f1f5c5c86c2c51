// Strings and times as JSON.

#include "base/json_reader.h"
#include "base/json_writer.h"
#include "tests/vectors/support/text_encodings.h"
#include "tests/vectors/support/vector_file.h"

#include <gtest/gtest.h>

#include <expected>
#include <string>
#include <string_view>
#include <utility>

namespace {

using vectors::Vector;

template <typename Value> std::expected<std::string, base::JsonError> objectWith(const Value& value)
{
    base::JsonWriter writer;
    writer.member("m", value);
    return std::move(writer).finish();
}

TEST(WritingStrings, AgreesWithTheLibraryByteForByte)
{
    vectors::runVectors({ "json_encode_string.jsonl", 1645, 0 }, [](const Vector& vector) {
        const auto written = objectWith(std::string_view(vector.bytes("text")));
        return vectors::judge(written && *written == R"({"m":)" + vector.bytes("json") + "}",
            written.value_or("nothing was written"));
    });
}

std::string bitsReadBack(const std::string& object)
{
    base::Timestamp timestamp;
    base::JsonRecordReader reader;
    reader.required("m", timestamp);
    if (!base::readJson(object, reader))
        return "refused";
    return vectors::bitsOf(timestamp.secondsSince2001);
}

TEST(WritingTimes, AgreesWithTheLibraryByteForByteAndReadsBackExactly)
{
    vectors::runVectors({ "json_encode_double.jsonl", 764, 0 }, [](const Vector& vector) {
        const auto written = objectWith(base::Timestamp { vector.number("bits") });
        if (vector.isNull("date_json"))
            return vectors::judge(!written, "was written");
        if (!written || *written != R"({"m":)" + vector.text("date_json") + "}")
            return vectors::failed(written.value_or("nothing was written"));
        const std::string bits = bitsReadBack(*written);
        return vectors::judge(bits == vector.text("back"), *written + " read back as " + bits);
    });
}

} // namespace
