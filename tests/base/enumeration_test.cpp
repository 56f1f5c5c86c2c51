#include "base/enumeration.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace {

enum class Fruit : std::uint8_t { apple, bloodOrange, fig };

} // namespace

template <> struct base::EnumerationTexts<Fruit> {
    static constexpr std::array<std::string_view, 3> texts { "apple", "bloodOrange", "fig" };
};

namespace {

TEST(EnumerationText, IsTheOneAtTheValuesPlace)
{
    EXPECT_EQ(base::text(Fruit::apple), "apple");
    EXPECT_EQ(base::text(Fruit::bloodOrange), "bloodOrange");
    EXPECT_EQ(base::text(Fruit::fig), "fig");
}

TEST(EnumerationValues, ComeInDeclarationOrder)
{
    constexpr std::array expected { Fruit::apple, Fruit::bloodOrange, Fruit::fig };
    EXPECT_EQ(base::allValues<Fruit>(), expected);
}

TEST(EnumerationFromText, FindsEveryValueByItsText)
{
    for (const Fruit fruit : base::allValues<Fruit>())
        EXPECT_EQ(base::enumerationFromText<Fruit>(base::text(fruit)), fruit);
}

TEST(EnumerationFromText, ComparesByteByByte)
{
    using namespace std::string_view_literals;
    for (const std::string_view text :
        { ""sv, "Apple"sv, "bloodorange"sv, "appl"sv, "apples"sv, " fig"sv, "fig\0"sv, "plum"sv })
        EXPECT_EQ(base::enumerationFromText<Fruit>(text), std::nullopt) << text;
}

TEST(Enumerations, CanBeLookedUpByTheCompiler)
{
    static_assert(base::enumerationFromText<Fruit>("fig") == Fruit::fig);
    static_assert(!base::enumerationFromText<Fruit>("date"));
    static_assert(base::TextEnumeration<Fruit>);
    static_assert(!base::TextEnumeration<int>);
    SUCCEED();
}

} // namespace
