#include "base/json_writer.h"

#include "base/decimal_text.h"

#include <boost/json/serializer.hpp>
#include <boost/json/value.hpp>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <string>
#include <tuple>
#include <utility>

namespace base {

namespace {

// Enough for any record but an inbox envelope, so that few texts grow while they are written.
constexpr std::size_t usualTextSize = 768;

// The longest text of a double is 24 characters, that of a 64-bit integer 20.
using NumberText = std::array<char, 32>;

// The library's shortest text of a double, "-d.dddE-xx", in the application's encoder's form: plain
// from 1e-4 up to 1e16, else with an exponent of at least two digits.
std::string inUsualForm(std::string_view text)
{
    const std::size_t mark = text.find('E');
    std::string digits(text.substr(0, mark));
    int exponent = 0;
    std::ignore = std::from_chars(text.data() + mark + 1, text.data() + text.size(), exponent);
    std::size_t point = digits.find('.');
    if (point == std::string::npos)
        point = digits.size();
    else
        digits.erase(point, 1);
    const auto fractionDigits = static_cast<int>(digits.size() - point);
    if (exponent < -4 || exponent >= 16) {
        if (fractionDigits > 0)
            digits.insert(point, 1, '.');
        digits += exponent < 0 ? "e-" : "e+";
        appendDecimal(digits, std::abs(exponent), 2);
        return digits;
    }
    if (exponent < 0) {
        const auto zeros = static_cast<std::size_t>(-exponent - 1);
        return digits.insert(point - 1, "0." + std::string(zeros, '0'));
    }
    if (fractionDigits > exponent)
        return digits.insert(point + static_cast<std::size_t>(exponent), 1, '.');
    return digits.append(static_cast<std::size_t>(exponent - fractionDigits), '0');
}

// Whether a string may hold the byte as it is. It may not hold quotes, backslashes and control
// characters; "/" is allowed, but the application's own encoder escapes it.
constexpr auto isPlain = [] {
    std::array<bool, 256> plain {};
    for (std::size_t byte = 0x20; byte < plain.size(); ++byte)
        plain[byte] = byte != '"' && byte != '\\' && byte != '/';
    return plain;
}();

bool needsEscape(char character)
{
    return !isPlain[static_cast<unsigned char>(character)];
}

// What follows the backslash where one letter does.
constexpr char escapeLetter(char character)
{
    switch (character) {
    case '\b':
        return 'b';
    case '\t':
        return 't';
    case '\n':
        return 'n';
    case '\f':
        return 'f';
    case '\r':
        return 'r';
    case '"':
    case '\\':
    case '/':
        return character;
    default:
        return '\0';
    }
}

void appendEscape(std::string& text, char character)
{
    text += '\\';
    if (const char letter = escapeLetter(character); letter != '\0') {
        text += letter;
        return;
    }
    constexpr std::string_view digits = "0123456789abcdef";
    const auto byte = static_cast<unsigned char>(character);
    text += "u00";
    text += digits[byte >> 4U];
    text += digits[byte & 0xFU];
}

} // namespace

JsonWriter::JsonWriter()
{
    text_.reserve(usualTextSize);
    text_ += '{';
}

// Room for `count` more characters, which the caller fills.
char* JsonWriter::extend(std::size_t count)
{
    const std::size_t oldSize = text_.size();
    const std::size_t newSize = oldSize + count;
    // The size that the function is given may be more than was asked for (libstdc++ 12).
    text_.resize_and_overwrite(newSize, [newSize](char*, std::size_t) { return newSize; });
    return text_.data() + oldSize;
}

void JsonWriter::appendKey(std::string_view key)
{
    constexpr std::string_view quotesAndColon = "\"\":";
    const std::size_t commas = isFirstMember_ ? 0 : 1;
    isFirstMember_ = false;
    char* end = extend(commas + key.size() + quotesAndColon.size());
    if (commas > 0)
        *end++ = ',';
    *end++ = '"';
    end += key.copy(end, key.size());
    *end++ = '"';
    *end = ':';
}

void JsonWriter::appendString(std::string_view value)
{
    text_ += '"';
    const char* const end = value.data() + value.size();
    for (const char* rest = value.data();;) {
        const char* const special = std::find_if(rest, end, needsEscape);
        text_.append(rest, special);
        if (special == end)
            break;
        appendEscape(text_, *special);
        rest = special + 1;
    }
    text_ += '"';
}

void JsonWriter::member(std::string_view key, std::string_view value)
{
    appendKey(key);
    appendString(value);
}

void JsonWriter::member(std::string_view key, bool value)
{
    appendKey(key);
    text_ += value ? "true" : "false";
}

void JsonWriter::member(std::string_view key, std::int64_t value)
{
    appendKey(key);
    NumberText digits {};
    text_.append(digits.data(), std::to_chars(digits.begin(), digits.end(), value).ptr);
}

void JsonWriter::member(std::string_view key, const UUID& value)
{
    member(key, std::string_view(upperCaseText(value)));
}

void JsonWriter::member(std::string_view key, Timestamp value)
{
    if (!isFinite(value)) {
        failure_ = JsonError { .kind = JsonErrorKind::invalidValue, .key = key };
        return;
    }
    appendKey(key);
    // std::to_chars would do, but its code for doubles makes every start load the mathematical
    // library.
    const boost::json::value number(value.secondsSince2001);
    boost::json::serializer serializer;
    serializer.reset(&number);
    NumberText buffer {};
    const auto text = serializer.read(buffer.data(), buffer.size());
    text_ += inUsualForm({ text.data(), text.size() });
}

void JsonWriter::null(std::string_view key)
{
    appendKey(key);
    text_ += "null";
}

void JsonWriter::beginObject(std::string_view key)
{
    appendKey(key);
    text_ += '{';
    isFirstMember_ = true;
}

void JsonWriter::endObject()
{
    text_ += '}';
    isFirstMember_ = false;
}

std::expected<std::string, JsonError> JsonWriter::finish() &&
{
    if (failure_)
        return std::unexpected(*failure_);
    text_ += '}';
    return std::move(text_);
}

} // namespace base
