// Event times as text, in both directions.

#include "base/timestamp.h"
#include "tests/vectors/support/text_encodings.h"
#include "tests/vectors/support/vector_file.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using vectors::Vector;

std::string bitsParsed(const std::string& text)
{
    const auto parsed = base::parseISO8601(text);
    return parsed ? vectors::bitsOf(parsed->secondsSince2001) : "refused";
}

TEST(ParsingEventTimes, AgreesWithTheLibrary)
{
    vectors::runVectors({ "iso8601_parse.jsonl", 5970, 77 }, [](const Vector& vector) {
        const bool isAccepted = vector.flag("ok") && !vector.mustBeRefused();
        const std::string bits = bitsParsed(vector.bytes("text"));
        return vectors::judge(bits == (isAccepted ? vector.text("bits") : "refused"), bits);
    });
}

// A text with a year of four digits reads back as the library reads it; longer years are written,
// but not read.
TEST(FormattingEventTimes, AgreesWithTheLibraryAndReadsBack)
{
    constexpr std::size_t lengthWithFourDigitYear = 24;
    vectors::runVectors({ "iso8601_format.jsonl", 4225, 278 }, [](const Vector& vector) {
        const std::string text = base::formatISO8601({ vector.number("bits") });
        if (text != vector.text("text"))
            return vectors::failed("written as " + text);
        const bool isRead = text.size() == lengthWithFourDigitYear;
        const std::string bits = bitsParsed(text);
        return vectors::judge(
            bits == (isRead ? vector.text("back") : "refused"), text + " read back as " + bits);
    });
}

} // namespace
