#include "kestranectl/line_reader.h"
#include "tests/support/host_process.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <unistd.h>

namespace kestranectl {
namespace {

using Texts = std::vector<std::string>;

constexpr std::size_t limit = 10;

void put(const support::Pipe& pipe, std::string_view bytes)
{
    ASSERT_EQ(::write(pipe.writeEnd.number(), bytes.data(), bytes.size()),
        static_cast<ssize_t>(bytes.size()));
}

Texts linesOf(std::string_view bytes)
{
    support::Pipe pipe;
    put(pipe, bytes);
    pipe.writeEnd.close();
    LineReader reader(pipe.readEnd.number(), limit);
    Texts lines;
    while (auto line = reader.next())
        lines.push_back(*line);
    EXPECT_EQ(reader.next(), std::nullopt);
    return lines;
}

TEST(LineReader, SplitsAtLineFeeds)
{
    EXPECT_EQ(linesOf(""), Texts {});
    EXPECT_EQ(linesOf("\n"), Texts { "" });
    EXPECT_EQ(linesOf("a\n\nbc\r\n"), (Texts { "a", "", "bc\r" }));
}

TEST(LineReader, TakesALastLineWithoutLineFeed)
{
    EXPECT_EQ(linesOf("a\nb"), (Texts { "a", "b" }));
}

TEST(LineReader, CutsLinesThatAreTooLong)
{
    EXPECT_EQ(linesOf("0123456789\n0123456789a\n0123456789ab\nc"),
        (Texts { "0123456789", "0123456789a", "0123456789a", "c" }));
    EXPECT_EQ(linesOf(std::string(30000, 'x') + "\ny\n" + std::string(30000, 'z')),
        (Texts { std::string(limit + 1, 'x'), "y", std::string(limit + 1, 'z') }));
}

TEST(LineReader, YieldsALineAsSoonAsItIsThere)
{
    const support::Pipe pipe;
    LineReader reader(pipe.readEnd.number(), limit);
    put(pipe, "first\nsec");
    EXPECT_EQ(reader.next(), "first");
    put(pipe, "ond\n");
    EXPECT_EQ(reader.next(), "second");
}

TEST(LineReader, YieldsNothingWhereNothingCanBeRead)
{
    EXPECT_EQ(LineReader(-1, limit).next(), std::nullopt);
}

} // namespace
} // namespace kestranectl
