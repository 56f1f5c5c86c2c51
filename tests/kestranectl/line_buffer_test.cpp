#include "kestranectl/line_buffer.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>

namespace kestranectl {
namespace {

// The lines in brackets, those that are too long as "!".
std::string lines(LineBuffer& buffer)
{
    std::string text;
    while (const auto line = buffer.next())
        text += line->isTooLong ? "!" : '[' + line->text + ']';
    return text;
}

std::string linesOf(std::initializer_list<std::string_view> pieces)
{
    LineBuffer buffer;
    for (const std::string_view piece : pieces)
        buffer.add(piece);
    return lines(buffer);
}

TEST(LineBuffer, GivesLinesOnceTheyAreComplete)
{
    EXPECT_EQ(linesOf({}), "");
    EXPECT_EQ(linesOf({ "a" }), "");
    EXPECT_EQ(linesOf({ "a\n" }), "[a]");
    EXPECT_EQ(linesOf({ "a", "b", "\n" }), "[ab]");
    EXPECT_EQ(linesOf({ "a\nb\nc" }), "[a][b]");
    EXPECT_EQ(linesOf({ "\n\na\n" }), "[][][a]");
}

TEST(LineBuffer, TakesWhatFollowsTheLastLineFeedForALineAtTheEnd)
{
    LineBuffer buffer;
    buffer.add("a\nb");
    buffer.end();
    EXPECT_EQ(lines(buffer), "[a][b]");
    buffer.end();
    EXPECT_EQ(lines(buffer), "");
    buffer.add("c\n");
    buffer.end();
    EXPECT_EQ(lines(buffer), "[c]");
}

TEST(LineBuffer, GivesLinesUpToTheirLimit)
{
    const std::string longest(4096, 'a');
    EXPECT_EQ(linesOf({ longest, "\nb\n" }), '[' + longest + "][b]");
    EXPECT_EQ(linesOf({ longest, "a\nb\n" }), "![b]");
    EXPECT_EQ(linesOf({ longest, longest, longest, "\nb\n" }), "![b]");
}

TEST(LineBuffer, KnowsALineThatIsTooLongAtTheEnd)
{
    LineBuffer buffer;
    buffer.add(std::string(4097, 'a'));
    buffer.end();
    EXPECT_EQ(lines(buffer), "!");
}

} // namespace
} // namespace kestranectl
