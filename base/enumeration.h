#pragma once
// Enumerations whose values are written and read as fixed texts.
//
// An enumeration takes part by specialising `EnumerationTexts` with one text per value, in
// declaration order; the values themselves must count up from zero. Texts are compared byte by
// byte, so letter case matters.

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

namespace base {

template <typename Enumeration> struct EnumerationTexts;

template <typename Enumeration>
concept TextEnumeration = requires { EnumerationTexts<Enumeration>::texts.size(); };

/// The fixed text of `value`.
template <TextEnumeration Enumeration> constexpr std::string_view text(Enumeration value)
{
    return EnumerationTexts<Enumeration>::texts[static_cast<std::size_t>(value)];
}

/// All values of the enumeration, in declaration order.
template <TextEnumeration Enumeration> constexpr auto allValues()
{
    std::array<Enumeration, EnumerationTexts<Enumeration>::texts.size()> values {};
    for (std::size_t index = 0; index < values.size(); ++index)
        values[index] = static_cast<Enumeration>(index);
    return values;
}

/// The value whose fixed text is exactly `text`, or none.
template <TextEnumeration Enumeration>
constexpr std::optional<Enumeration> enumerationFromText(std::string_view text)
{
    for (const Enumeration value : allValues<Enumeration>()) {
        if (base::text(value) == text)
            return value;
    }
    return std::nullopt;
}

} // namespace base
