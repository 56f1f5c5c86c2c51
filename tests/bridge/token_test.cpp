#include "tests/bridge/bridge_directory.h"
#include "tests/support/as_other_user.h"
#include "tests/support/utf8.h"

#include <optional>
#include <string>
#include <string_view>

namespace bridge {

namespace {

using support::repeated;

std::optional<std::string> readToken(const BridgeDirectory& bridge)
{
    const auto token = bridge.store.readToken(bridge.fileSystem);
    if (!token) {
        EXPECT_EQ(token.error(), BrowserBridgeStoreError::tokenUnavailable);
        return std::nullopt;
    }
    return *token;
}

// The token that is read from a file with these contents.
std::optional<std::string> tokenFrom(std::string_view contents)
{
    const BridgeDirectory bridge;
    support::writeToken(bridge.path(), contents);
    return readToken(bridge);
}

} // namespace

TEST(ReadToken, YieldsSixtyFourHexadecimalDigitsAsTheyStand)
{
    for (const std::string& token :
        { repeated("0123456789abcdef", 4), repeated("0123456789ABCDEF", 4), std::string(64, '0'),
            std::string(64, 'f'), std::string(64, 'F'), std::string(support::validToken) })
        EXPECT_EQ(tokenFrom(token), token);
}

TEST(ReadToken, RefusesAnyOtherNumberOfDigits)
{
    for (const std::size_t count : { 0U, 1U, 32U, 63U, 65U, 128U, 129U, 1000U })
        EXPECT_EQ(tokenFrom(std::string(count, 'a')), std::nullopt) << count;
}

TEST(ReadToken, IsNotTrimmed)
{
    const std::string digits(64, 'a');
    const std::string fewerDigits(63, 'a');
    for (const char* const blank : { "\n", "\r\n", " ", "\t", "\u00A0" }) {
        EXPECT_EQ(tokenFrom(digits + blank), std::nullopt);
        EXPECT_EQ(tokenFrom(blank + digits), std::nullopt);
        EXPECT_EQ(tokenFrom(fewerDigits + blank), std::nullopt);
    }
}

TEST(ReadToken, RefusesOneCharacterThatIsNoHexadecimalDigit)
{
    const std::string digits(63, 'a');
    for (const std::string& wrong : { std::string("g"), std::string("G"), std::string("/"),
             std::string(":"), std::string("@"), std::string("`"), std::string(1, '\0'),
             std::string("x"), std::string("-"), std::string("\u00B2"), std::string("\u0660"),
             std::string("\U0001D7CE"), std::string("\u00E9") }) {
        EXPECT_EQ(tokenFrom(digits + wrong), std::nullopt) << wrong;
        EXPECT_EQ(tokenFrom(wrong + digits), std::nullopt) << wrong;
    }
}

TEST(ReadToken, TakesFullWidthDigits)
{
    for (const std::u32string_view digits : { U"\uFF10\uFF19", U"\uFF21\uFF26", U"\uFF41\uFF46" }) {
        for (const char32_t digit : digits) {
            const std::string token = std::string(63, '0') + support::utf8(digit);
            EXPECT_EQ(tokenFrom(token), token) << std::hex << static_cast<unsigned>(digit);
        }
    }
    constexpr std::u32string_view others = U"\uFF0F\uFF1A\uFF20\uFF27\uFF40\uFF47";
    for (const char32_t other : others) {
        EXPECT_EQ(tokenFrom(std::string(63, '0') + support::utf8(other)), std::nullopt)
            << std::hex << static_cast<unsigned>(other);
    }
}

TEST(ReadToken, TakesAtMost32FullWidthDigitsForTheirBytes)
{
    const std::string token = repeated("\uFF11", 32) + std::string(32, 'a');
    ASSERT_EQ(token.size(), 128U);
    EXPECT_EQ(tokenFrom(token), token);
    EXPECT_EQ(tokenFrom(repeated("\uFF11", 33) + std::string(31, 'a')), std::nullopt);
}

TEST(ReadToken, RefusesMarksThatJoinToADigit)
{
    EXPECT_EQ(tokenFrom(std::string(64, 'a') + "\u0301"), std::nullopt);
    EXPECT_EQ(tokenFrom(std::string(63, 'a') + "\u0301"), std::nullopt);
    EXPECT_EQ(tokenFrom(std::string(64, 'a') + "\u200D"), std::nullopt);
}

TEST(ReadToken, RefusesAByteOrderMark)
{
    EXPECT_EQ(tokenFrom("\uFEFF" + std::string(64, 'a')), std::nullopt);
}

TEST(ReadToken, RefusesBytesThatAreNoUTF8)
{
    const std::string digits(63, 'a');
    for (const char* const bytes : { "\x80", "\xFF", "\xC0\xB0", "\xEF\xBC", "\xED\xA0\x80" })
        EXPECT_EQ(tokenFrom(digits + bytes), std::nullopt);
}

TEST(ReadToken, FailsWhenThereIsNoFile)
{
    const BridgeDirectory bridge;
    EXPECT_EQ(readToken(bridge), std::nullopt);
}

TEST(ReadToken, FailsWhenThereIsNoBridgeDirectory)
{
    const BridgeDirectory bridge;
    const BrowserBridgeStore store { bridge / "missing" };
    EXPECT_FALSE(store.readToken(bridge.fileSystem));
    EXPECT_FALSE(support::exists(bridge / "missing"));
}

TEST(ReadToken, FailsForADirectory)
{
    const BridgeDirectory bridge;
    support::makeDirectory(bridge / "bridge-token");
    EXPECT_EQ(readToken(bridge), std::nullopt);
}

TEST(ReadToken, FailsForALinkToAValidToken)
{
    const BridgeDirectory bridge;
    support::writeFile(bridge / "elsewhere", support::validToken);
    support::makeSymbolicLink("elsewhere", bridge / "bridge-token");
    EXPECT_EQ(readToken(bridge), std::nullopt);
}

TEST(ReadToken, FailsForAFIFOWithoutWaiting)
{
    const BridgeDirectory bridge;
    support::makeFIFO(bridge / "bridge-token");
    EXPECT_EQ(readToken(bridge), std::nullopt);
}

TEST(ReadToken, DropsTheErrorOfTheFileSystem)
{
    for (const int code : everydayErrors) {
        BridgeDirectory bridge;
        support::writeToken(bridge.path());
        bridge.fileSystem.failOperation(support::FileOperation::openForReading, code);
        EXPECT_EQ(readToken(bridge), std::nullopt) << code;
    }
}

TEST(ReadToken, FailsForAFileThatMayNotBeRead)
{
    support::asOrdinaryUser([] {
        const BridgeDirectory bridge;
        support::writeToken(bridge.path());
        EXPECT_EQ(readToken(bridge), support::validToken);
        support::setPermissions(bridge / "bridge-token", 0);
        EXPECT_EQ(readToken(bridge), std::nullopt);
    });
}

TEST(ReadToken, TakesUpAReplacedToken)
{
    const BridgeDirectory bridge;
    support::writeToken(bridge.path());
    EXPECT_EQ(readToken(bridge), support::validToken);
    support::writeToken(bridge.path(), support::otherToken);
    EXPECT_EQ(readToken(bridge), support::otherToken);
}

TEST(ReadToken, LeavesTheFileAsItIs)
{
    const BridgeDirectory bridge;
    support::writeToken(bridge.path(), "not a token");
    support::setPermissions(bridge / "bridge-token", 0644);
    EXPECT_EQ(readToken(bridge), std::nullopt);
    EXPECT_EQ(support::readFile(bridge / "bridge-token"), "not a token");
    EXPECT_EQ(support::permissionsOf(bridge / "bridge-token"), 0644U);
    EXPECT_EQ(support::namesIn(bridge.path()), (std::vector<std::string> { "bridge-token" }));
}

} // namespace bridge
