#include "kestranectl/console.h"

#include <gtest/gtest.h>

namespace kestranectl {
namespace {

TEST(Printable, LeavesTextAsItIs)
{
    EXPECT_EQ(printable(""), "");
    EXPECT_EQ(printable("plain ~ text"), "plain ~ text");
    EXPECT_EQ(printable("\u00E4 \u2028 \uFFFD \U0001F600 \U0010FFFF"),
        "\u00E4 \u2028 \uFFFD \U0001F600 \U0010FFFF");
}

TEST(Printable, ShowsControlCharacters)
{
    EXPECT_EQ(printable("a\x1b[31m\x7f\n\t"), "a\\x1B[31m\\x7F\\x0A\\x09");
    EXPECT_EQ(printable(std::string_view("\0", 1)), "\\x00");
    EXPECT_EQ(printable("\x1f "), "\\x1F ");
    EXPECT_EQ(printable("\u0080\u009F\u00A0"), "\\xC2\\x80\\xC2\\x9F\u00A0");
}

TEST(Printable, ShowsMarksThatTurnTheDirection)
{
    EXPECT_EQ(printable("\u200D\u200E\u200F\u2010"), "\u200D\\xE2\\x80\\x8E\\xE2\\x80\\x8F\u2010");
    EXPECT_EQ(printable("\u2029\u202A\u202E\u202F"), "\u2029\\xE2\\x80\\xAA\\xE2\\x80\\xAE\u202F");
    EXPECT_EQ(printable("\u2065\u2066\u2069\u206A"), "\u2065\\xE2\\x81\\xA6\\xE2\\x81\\xA9\u206A");
}

TEST(Printable, ShowsBytesThatAreNoText)
{
    EXPECT_EQ(printable("\x80"), "\\x80");
    EXPECT_EQ(printable("\xC1\xBF"), "\\xC1\\xBF"); // overlong
    EXPECT_EQ(printable("\xE0\x9F\xBF"), "\\xE0\\x9F\\xBF"); // overlong
    EXPECT_EQ(printable("\xED\xA0\x80"), "\\xED\\xA0\\x80"); // half of a pair
    EXPECT_EQ(printable("\xF4\x90\x80\x80"), "\\xF4\\x90\\x80\\x80"); // past U+10FFFF
    EXPECT_EQ(printable("\xE2\x80"), "\\xE2\\x80"); // cut off
    EXPECT_EQ(printable("\xE2\x80z"), "\\xE2\\x80z");
}

} // namespace
} // namespace kestranectl
