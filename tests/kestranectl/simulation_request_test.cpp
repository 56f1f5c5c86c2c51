#include "kestranectl/simulation_request.h"
#include "tests/support/samples.h"

#include <gtest/gtest.h>

#include <string>

namespace kestranectl {
namespace {

// What was understood, in words of the test's own.
struct Describe {
    std::string operator()(const SetSession& request) const
    {
        return "session " + flag(request.isRunning);
    }
    std::string operator()(const SetPause& request) const
    {
        return "pause " + flag(request.isPaused);
    }
    std::string operator()(const SetFrontmostBrowser& request) const
    {
        return "front <" + request.identifier + '>';
    }
    std::string operator()(const SetLabels& request) const
    {
        return "labels " + flag(request.areEnabled);
    }
    std::string operator()(const ShowPDF& request) const
    {
        return "show " + base::upperCaseText(request.identifier);
    }
    std::string operator()(const SendLabels& request) const
    {
        return "send " + flag(request.areEnabled);
    }
    std::string operator()(const Quit& /*request*/) const { return "end"; }

    static std::string flag(bool value) { return value ? "1" : "0"; }
};

std::string understood(std::string_view line)
{
    const auto request = parseSimulationRequest(line);
    return request ? std::visit(Describe {}, *request) : "nothing";
}

TEST(ParseSimulationRequest, UnderstandsEveryRequest)
{
    EXPECT_EQ(understood("session on"), "session 1");
    EXPECT_EQ(understood("session off"), "session 0");
    EXPECT_EQ(understood("pause on"), "pause 1");
    EXPECT_EQ(understood("pause off"), "pause 0");
    EXPECT_EQ(understood("front com.google.Chrome"), "front <com.google.Chrome>");
    EXPECT_EQ(understood("front none"), "front <>");
    EXPECT_EQ(understood("labels on"), "labels 1");
    EXPECT_EQ(understood("labels off"), "labels 0");
    EXPECT_EQ(understood("show-pdf 9b2d6e1c-7c43-4c25-9d5e-0f6a1b2c3d4e"),
        "show 9B2D6E1C-7C43-4C25-9D5E-0F6A1B2C3D4E");
    EXPECT_EQ(understood("set-labels on"), "send 1");
    EXPECT_EQ(understood("set-labels off"), "send 0");
    EXPECT_EQ(understood("quit"), "end");
}

TEST(ParseSimulationRequest, PassesOverBlanks)
{
    EXPECT_EQ(understood("  session \t on \r"), "session 1");
    EXPECT_EQ(understood(" quit "), "end");
}

TEST(ParseSimulationRequest, UnderstandsNothingElse)
{
    for (const char* const line :
        { "", " ", "session", "session maybe", "session on now", "session On", "SESSION on",
            "sessionon", "front", "front a b", "front \x1b", "front \xFF", "labels", "labels 1",
            "show-pdf", "show-pdf 1", "show-pdf 9b2d6e1c-7c43-4c25-9d5e-0f6a1b2c3d4e9",
            "set-labels", "set-labels x", "quit now", "exit", "on", "pause", "pause 0" })
        EXPECT_EQ(understood(line), "nothing") << line;
}

TEST(IsUsableIdentifier, TakesUpTo255BytesOfText)
{
    EXPECT_FALSE(isUsableIdentifier(""));
    EXPECT_TRUE(isUsableIdentifier("a"));
    EXPECT_TRUE(isUsableIdentifier(std::string(255, 'a')));
    EXPECT_FALSE(isUsableIdentifier(std::string(256, 'a')));
    EXPECT_TRUE(isUsableIdentifier("b\u00FCro"));
    EXPECT_FALSE(isUsableIdentifier("a\nb"));
    EXPECT_FALSE(isUsableIdentifier("a\x80"));
}

} // namespace
} // namespace kestranectl
