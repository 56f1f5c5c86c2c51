// What is told of two looks at the bridge directory, and in which words.

#include "kestranectl/bridge_changes.h"
#include "tests/support/samples.h"

#include <gtest/gtest.h>

namespace kestranectl {
namespace {

using support::sampleTime;

BridgeSnapshot snapshot(std::map<BridgeSnapshot::Key, BridgeItem> items)
{
    return { .items = std::move(items) };
}

// "+", "~" and "-" with the names, in order.
std::string changes(const BridgeSnapshot& before, const BridgeSnapshot& after)
{
    constexpr std::string_view signs = "+~-";
    std::string text;
    for (const BridgeChange& change : changesBetween(before, after))
        text += signs[static_cast<std::size_t>(change.kind)] + change.key.second + ' ';
    return text;
}

BridgeSnapshot::Key event(const std::string& name)
{
    return { BridgeSubject::event, name };
}

BridgeItem saying(const std::string& value, bool counts = true)
{
    return { .fields = { { .key = "key", .value = value, .counts = counts } } };
}

TEST(ChangesBetween, AreNoneWhereNothingIsDifferent)
{
    EXPECT_EQ(changes({}, {}), "");
    const auto same = snapshot({ { event("1"), saying("a") }, { event("2"), {} } });
    EXPECT_EQ(changes(same, same), "");
}

TEST(ChangesBetween, TellWhatCameWentAndSaysSomethingElse)
{
    const auto before = snapshot({ { event("1"), {} }, { event("2"), saying("a") },
        { event("3"), saying("a") }, { event("5"), {} } });
    const auto after = snapshot({ { event("0"), {} }, { event("2"), saying("b") },
        { event("3"), saying("a") }, { event("4"), {} }, { event("6"), {} } });
    EXPECT_EQ(changes(before, after), "+0 -1 ~2 +4 -5 +6 ");
    EXPECT_EQ(changes(after, before), "-0 +1 ~2 -4 +5 -6 ");
    EXPECT_EQ(changes({}, before), "+1 +2 +3 +5 ");
    EXPECT_EQ(changes(before, {}), "-1 -2 -3 -5 ");
}

TEST(ChangesBetween, GoBySubjectBeforeName)
{
    EXPECT_EQ(
        changes({},
            snapshot({ { { BridgeSubject::event, "a" }, {} },
                { { BridgeSubject::command, "b" }, {} }, { { BridgeSubject::state, "c" }, {} },
                { { BridgeSubject::directory, "d" }, {} } })),
        "+d +c +b +a ");
}

TEST(SaysTheSame, LooksAtWhatCountsAlone)
{
    EXPECT_TRUE(saysTheSame(saying("a"), saying("a")));
    EXPECT_FALSE(saysTheSame(saying("a"), saying("b")));
    EXPECT_TRUE(saysTheSame(saying("a", false), saying("b", false)));
    EXPECT_FALSE(saysTheSame(saying("a"), {}));
    EXPECT_TRUE(saysTheSame(saying("a", false), {}));
    EXPECT_FALSE(saysTheSame({ .problem = "a" }, { .problem = "b" }));
    EXPECT_FALSE(saysTheSame({ .secret = "a" }, { .secret = "b" }));
}

BridgeChange sample(ChangeKind kind)
{
    return { .kind = kind,
        .key = { BridgeSubject::command, "1.command" },
        .item = { .fields = { { .key = "type", .value = "showLocalPDF" },
                      { .key = "enabled", .value = true }, { .key = "number", .value = -7 } },
            .problem = "no good",
            .secret = "hush" } };
}

TEST(TextLine, NamesTimeSubjectKindAndFields)
{
    EXPECT_EQ(textLine(sample(ChangeKind::appeared), sampleTime),
        "2025-03-14T09:26:53.000Z  command  appeared  name=1.command type=showLocalPDF "
        "enabled=true number=-7 problem=\"no good\"\n");
    EXPECT_EQ(
        textLine({ .kind = ChangeKind::changed, .key = { BridgeSubject::token, "t" } }, sampleTime),
        "2025-03-14T09:26:53.000Z  token  changed  name=t\n");
}

TEST(TextLine, TellsOnlyTheNameOfWhatIsGone)
{
    EXPECT_EQ(textLine(sample(ChangeKind::gone), sampleTime),
        "2025-03-14T09:26:53.000Z  command  gone  name=1.command\n");
}

std::string shown(const std::string& value)
{
    const std::string line = textLine({ .key = event("n"), .item = saying(value) }, sampleTime);
    return line.substr(line.find("key="));
}

TEST(TextLine, PutsValuesWithBlanksInQuotationMarks)
{
    EXPECT_EQ(shown("a.b-c/d"), "key=a.b-c/d\n");
    EXPECT_EQ(shown(""), "key=\"\"\n");
    EXPECT_EQ(shown("a b"), "key=\"a b\"\n");
    EXPECT_EQ(shown("a\"b"), "key=\"a\\\"b\"\n");
}

TEST(TextLine, ShowsNothingToWhichATerminalListens)
{
    EXPECT_EQ(shown("a\x1b[2Jb\n"), "key=a\\x1B[2Jb\\x0A\n");
    EXPECT_EQ(textLine({ .key = event("\x1b.event") }, sampleTime),
        "2025-03-14T09:26:53.000Z  event  appeared  name=\\x1B.event\n");
}

TEST(JSONLine, IsOneObject)
{
    EXPECT_EQ(jsonLine(sample(ChangeKind::appeared), sampleTime),
        R"({"time":"2025-03-14T09:26:53.000Z","subject":"command","change":"appeared",)"
        R"("name":"1.command","type":"showLocalPDF","enabled":true,"number":-7,)"
        R"("problem":"no good"})"
        "\n");
    EXPECT_EQ(jsonLine(sample(ChangeKind::gone), sampleTime),
        R"({"time":"2025-03-14T09:26:53.000Z","subject":"command","change":"gone",)"
        R"("name":"1.command"})"
        "\n");
}

TEST(JSONLine, IsTextWhateverAFileIsCalled)
{
    EXPECT_EQ(jsonLine({ .key = event("\xFF\x1b"), .item = saying("\u202Ea\"") }, sampleTime),
        R"({"time":"2025-03-14T09:26:53.000Z","subject":"event","change":"appeared",)"
        R"("name":"\\xFF\\x1B","key":"\\xE2\\x80\\xAEa\""})"
        "\n");
}

} // namespace
} // namespace kestranectl
