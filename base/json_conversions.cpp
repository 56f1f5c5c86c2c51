// Conversions of single JSON values, numbers above all, and what is said of those that fail.

#include "base/json_reader.h"

#include <algorithm>
#include <array>
#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>

namespace base {

namespace {

bool hasNonZeroDigit(std::string_view number)
{
    const std::string_view significand = number.substr(0, number.find_first_of("eE"));
    return significand.find_first_of("123456789") != std::string_view::npos;
}

// The nearest double of a short number without an exponent, as time stamps are. Digits that make an
// integer up to 2^53 and a power of ten up to 10^22 are doubles exactly, so their quotient is
// rounded just once; that takes a tenth of what strtod takes.
std::optional<double> quotientOfExactNumbers(std::string_view number)
{
    static_assert(FLT_EVAL_METHOD == 0, "a quotient must not be rounded twice");
    constexpr std::uint64_t twoToThe53rd = std::uint64_t { 1 } << 53U;
    constexpr std::size_t mostDigits = 18; // of which none overflows an integer
    constexpr auto powersOfTen = [] {
        std::array<double, mostDigits + 1> powers {};
        double power = 1;
        for (double& value : powers) {
            value = power;
            power *= 10;
        }
        return powers;
    }();
    const bool isNegative = number.starts_with('-');
    number.remove_prefix(isNegative ? 1 : 0);
    if (number.size() > mostDigits)
        return std::nullopt;
    std::uint64_t digits = 0;
    std::size_t decimalPlaces = 0;
    for (std::size_t index = 0; index < number.size(); ++index) {
        const auto digit = static_cast<unsigned>(number[index] - '0');
        if (digit <= 9)
            digits = digits * 10 + digit;
        else if (number[index] == '.')
            decimalPlaces = number.size() - index - 1;
        else
            return std::nullopt;
    }
    if (digits > twoToThe53rd)
        return std::nullopt;
    const double quotient = static_cast<double>(digits) / powersOfTen[decimalPlaces];
    return isNegative ? -quotient : quotient;
}

// The nearest double. The parser's own conversion can be one unit in the last place off for 17
// digits and more, and the standard library's std::from_chars for doubles is not everywhere; strtod
// rounds correctly and, as the program never sets a locale, takes "." as decimal point.
double nearestDouble(std::string_view number)
{
    if (const auto quotient = quotientOfExactNumbers(number))
        return *quotient;
    std::array<char, 64> buffer {};
    if (number.size() < buffer.size()) {
        std::ranges::copy(number, buffer.begin());
        return std::strtod(buffer.data(), nullptr);
    }
    return std::strtod(std::string(number).c_str(), nullptr);
}

std::optional<double> toDouble(std::string_view number)
{
    const double value = nearestDouble(number);
    if (!std::isfinite(value) || (value == 0 && hasNonZeroDigit(number)))
        return std::nullopt;
    return value;
}

// Doubles skip whole numbers past 2^53; there the digits themselves are moved to where the exponent
// puts them. `number` must be less than 2^63, which bounds the exponent.
std::optional<std::int64_t> toLargeInteger(std::string_view number)
{
    const std::size_t mark = std::min(number.find_first_of("eE"), number.size());
    std::string digits(number.substr(0, mark));
    std::int64_t exponent = 0;
    if (mark < number.size()) {
        std::string_view power = number.substr(mark + 1);
        power.remove_prefix(power.starts_with('+') ? 1 : 0);
        std::from_chars(power.data(), power.data() + power.size(), exponent);
    }
    if (const std::size_t point = digits.find('.'); point != std::string::npos) {
        digits.erase(point, 1);
        exponent -= static_cast<std::int64_t>(digits.size() - point);
    }
    for (; exponent < 0 && digits.ends_with('0'); ++exponent)
        digits.pop_back();
    if (exponent < 0)
        return std::nullopt;
    digits.append(static_cast<std::size_t>(exponent), '0');
    std::int64_t integer = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), integer);
    return integer;
}

std::optional<std::int64_t> toInteger(std::string_view number)
{
    std::int64_t integer = 0;
    const auto result = std::from_chars(number.data(), number.data() + number.size(), integer);
    if (result.ptr == number.data() + number.size())
        return result.ec == std::errc {} ? std::optional(integer) : std::nullopt;
    const double value = nearestDouble(number);
    constexpr double twoToThe53rd = 9007199254740992.0;
    constexpr double twoToThe63rd = 9223372036854775808.0;
    if (std::fabs(value) >= twoToThe63rd)
        return std::nullopt;
    if (std::fabs(value) >= twoToThe53rd)
        return toLargeInteger(number);
    integer = static_cast<std::int64_t>(value);
    return static_cast<double>(integer) == value ? std::optional(integer) : std::nullopt;
}

} // namespace

std::string message(const JsonError& error)
{
    if (!error.description.empty())
        return std::string(error.description);
    switch (error.kind) {
    case JsonErrorKind::notJson:
        return "The text is not valid JSON.";
    case JsonErrorKind::keyNotFound:
    case JsonErrorKind::valueNotFound:
        return "The value of a required key is missing.";
    case JsonErrorKind::typeMismatch:
        return "A value is not of the expected type.";
    case JsonErrorKind::dataCorrupted:
        return "A value is not of the expected form.";
    case JsonErrorKind::invalidValue:
        break;
    }
    return "A value cannot be written as JSON.";
}

JsonConversion fromJson(const JsonToken& token, std::string& value)
{
    if (token.type != JsonToken::Type::string)
        return JsonConversion::typeMismatch;
    value.assign(token.text);
    return JsonConversion::converted;
}

JsonConversion fromJson(const JsonToken& token, bool& value)
{
    if (token.type != JsonToken::Type::boolean)
        return JsonConversion::typeMismatch;
    value = token.boolean;
    return JsonConversion::converted;
}

JsonConversion fromJson(const JsonToken& token, std::int64_t& value)
{
    if (token.type != JsonToken::Type::number)
        return JsonConversion::typeMismatch;
    const auto integer = toInteger(token.text);
    if (!integer)
        return JsonConversion::typeMismatch;
    value = *integer;
    return JsonConversion::converted;
}

JsonConversion fromJson(const JsonToken& token, std::int32_t& value)
{
    std::int64_t integer = 0;
    if (fromJson(token, integer) != JsonConversion::converted)
        return JsonConversion::typeMismatch;
    using Limits = std::numeric_limits<std::int32_t>;
    if (integer < Limits::min() || integer > Limits::max())
        return JsonConversion::typeMismatch;
    value = static_cast<std::int32_t>(integer);
    return JsonConversion::converted;
}

JsonConversion fromJson(const JsonToken& token, UUID& value)
{
    if (token.type != JsonToken::Type::string)
        return JsonConversion::typeMismatch;
    const auto uuid = parseUUID(token.text);
    if (!uuid)
        return JsonConversion::dataCorrupted;
    value = *uuid;
    return JsonConversion::converted;
}

JsonConversion fromJson(const JsonToken& token, Timestamp& value)
{
    if (token.type != JsonToken::Type::number)
        return JsonConversion::typeMismatch;
    const auto seconds = toDouble(token.text);
    if (!seconds)
        return JsonConversion::typeMismatch;
    value.secondsSince2001 = *seconds;
    return JsonConversion::converted;
}

} // namespace base
