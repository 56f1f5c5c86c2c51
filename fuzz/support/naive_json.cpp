#include "fuzz/support/naive_json.h"

#include "fuzz/support/naive_text.h"

#include <array>
#include <utility>

namespace fuzz {

namespace {

constexpr int deepest = 512;
constexpr std::string_view digits = "0123456789";
constexpr std::string_view hexadecimal = "0123456789abcdef";

// NOLINTBEGIN(misc-no-recursion): the depth is limited
class Parser {
public:
    explicit Parser(std::string_view text)
        : rest_(text)
    {
    }

    std::optional<NaiveValue> document()
    {
        auto result = value();
        skipBlanks();
        if (!rest_.empty())
            return std::nullopt;
        return result;
    }

private:
    void skipBlanks()
    {
        while (!rest_.empty()
            && std::string_view(" \t\n\r").find(rest_.front()) != std::string_view::npos)
            rest_.remove_prefix(1);
    }

    bool skip(std::string_view expected)
    {
        if (!rest_.starts_with(expected))
            return false;
        rest_.remove_prefix(expected.size());
        return true;
    }

    bool skipAfterBlanks(std::string_view expected)
    {
        skipBlanks();
        return skip(expected);
    }

    std::optional<NaiveValue> value()
    {
        skipBlanks();
        if (skip("null"))
            return NaiveValue {};
        if (skip("true"))
            return NaiveValue { .type = NaiveValue::Type::boolean, .boolean = true };
        if (skip("false"))
            return NaiveValue { .type = NaiveValue::Type::boolean };
        if (rest_.starts_with('"'))
            return string();
        if (rest_.starts_with('[') || rest_.starts_with('{'))
            return container();
        return number();
    }

    std::optional<NaiveValue> container()
    {
        if (depth_ == deepest)
            return std::nullopt;
        ++depth_;
        auto result = rest_.front() == '[' ? array() : object();
        --depth_;
        return result;
    }

    std::optional<NaiveValue> array()
    {
        NaiveValue result { .type = NaiveValue::Type::array };
        rest_.remove_prefix(1);
        if (skipAfterBlanks("]"))
            return result;
        do {
            auto item = value();
            if (!item)
                return std::nullopt;
            result.items.push_back(*std::move(item));
        } while (skipAfterBlanks(","));
        if (!skipAfterBlanks("]"))
            return std::nullopt;
        return result;
    }

    std::optional<NaiveValue> object()
    {
        NaiveValue result { .type = NaiveValue::Type::object };
        rest_.remove_prefix(1);
        if (skipAfterBlanks("}"))
            return result;
        do {
            skipBlanks();
            auto key = string();
            if (!key || !skipAfterBlanks(":"))
                return std::nullopt;
            auto member = value();
            if (!member)
                return std::nullopt;
            result.members.push_back({ std::move(key->text), *std::move(member) });
        } while (skipAfterBlanks(","));
        if (!skipAfterBlanks("}"))
            return std::nullopt;
        return result;
    }

    bool takeDigits(std::string& text)
    {
        const std::size_t count = std::min(rest_.find_first_not_of(digits), rest_.size());
        text += rest_.substr(0, count);
        rest_.remove_prefix(count);
        return count > 0;
    }

    std::optional<NaiveValue> number()
    {
        NaiveValue result { .type = NaiveValue::Type::number };
        if (skip("-"))
            result.text = "-";
        if (skip("0"))
            result.text += '0';
        else if (!takeDigits(result.text))
            return std::nullopt;
        if (skip(".")) {
            result.text += '.';
            if (!takeDigits(result.text))
                return std::nullopt;
        }
        if (skip("e") || skip("E")) {
            result.text += 'e';
            if (skip("-"))
                result.text += '-';
            else
                static_cast<void>(skip("+"));
            if (!takeDigits(result.text))
                return std::nullopt;
        }
        return result;
    }

    std::optional<char32_t> codeUnit()
    {
        if (rest_.size() < 4)
            return std::nullopt;
        char32_t unit = 0;
        for (const char character : rest_.substr(0, 4)) {
            const std::string lower = naivelyLowerCased(std::string_view(&character, 1));
            const std::size_t digit = hexadecimal.find(lower);
            if (digit == std::string_view::npos)
                return std::nullopt;
            unit = unit * 16 + static_cast<char32_t>(digit);
        }
        rest_.remove_prefix(4);
        return unit;
    }

    // What follows "\u".
    bool takeCodePoint(std::string& text)
    {
        const auto first = codeUnit();
        if (!first || (*first >= 0xDC00 && *first <= 0xDFFF))
            return false;
        char32_t scalar = *first;
        if (scalar >= 0xD800 && scalar <= 0xDBFF) {
            if (!skip("\\u"))
                return false;
            const auto second = codeUnit();
            if (!second || *second < 0xDC00 || *second > 0xDFFF)
                return false;
            scalar = 0x10000 + (scalar - 0xD800) * 0x400 + (*second - 0xDC00);
        }
        text += naiveUTF8(std::span(&scalar, 1));
        return true;
    }

    bool takeEscape(std::string& text)
    {
        constexpr std::array<std::pair<std::string_view, char>, 8> escapes { { { "\"", '"' },
            { "\\", '\\' }, { "/", '/' }, { "b", '\b' }, { "f", '\f' }, { "n", '\n' },
            { "r", '\r' }, { "t", '\t' } } };
        if (skip("u"))
            return takeCodePoint(text);
        for (const auto& [letter, character] : escapes) {
            if (skip(letter)) {
                text += character;
                return true;
            }
        }
        return false;
    }

    // Characters up to the next quote or backslash.
    bool takeCharacters(std::string& text)
    {
        const std::string_view characters
            = rest_.substr(0, std::min(rest_.find_first_of("\"\\"), rest_.size()));
        rest_.remove_prefix(characters.size());
        bool isASCII = true;
        for (const char character : characters) {
            isASCII = isASCII && character >= 0;
            if (character >= 0 && character < ' ')
                return false;
        }
        text += characters;
        return isASCII || naiveScalars(characters);
    }

    std::optional<NaiveValue> string()
    {
        NaiveValue result { .type = NaiveValue::Type::string };
        if (!skip("\""))
            return std::nullopt;
        while (!skip("\"")) {
            const bool isSound = skip("\\") ? takeEscape(result.text) : takeCharacters(result.text);
            if (!isSound || rest_.empty())
                return std::nullopt;
        }
        return result;
    }

    std::string_view rest_;
    int depth_ = 0;
};

void append(std::string& text, const NaiveValue& value)
{
    switch (value.type) {
    case NaiveValue::Type::null:
        text += "null";
        break;
    case NaiveValue::Type::boolean:
        text += value.boolean ? "true" : "false";
        break;
    case NaiveValue::Type::number:
        text += value.text;
        break;
    case NaiveValue::Type::string:
        text += naiveLiteral(value.text);
        break;
    case NaiveValue::Type::array:
        text += '[';
        for (const NaiveValue& item : value.items) {
            if (&item != &value.items.front())
                text += ',';
            append(text, item);
        }
        text += ']';
        break;
    case NaiveValue::Type::object:
        text += '{';
        for (const NaiveMember& member : value.members) {
            if (&member != &value.members.front())
                text += ',';
            text += naiveLiteral(member.key);
            text += ':';
            append(text, member.value);
        }
        text += '}';
        break;
    }
}
// NOLINTEND(misc-no-recursion)

} // namespace

const NaiveValue* NaiveValue::find(std::string_view key) const
{
    for (const NaiveMember& member : members) {
        if (member.key == key)
            return &member.value;
    }
    return nullptr;
}

std::optional<NaiveValue> parseNaively(std::string_view text)
{
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    if (text.starts_with(byteOrderMark))
        text.remove_prefix(byteOrderMark.size());
    return Parser(text).document();
}

std::string naiveLiteral(std::string_view characters)
{
    std::string text = "\"";
    for (const char character : characters) {
        if (character == '"' || character == '\\') {
            text += '\\';
            text += character;
        } else if (character >= 0 && character < ' ') {
            text += "\\u00";
            text += hexadecimal[static_cast<std::size_t>(character) / 16];
            text += hexadecimal[static_cast<std::size_t>(character) % 16];
        } else {
            text += character;
        }
    }
    return text + '"';
}

std::string naiveText(const NaiveValue& value)
{
    std::string text;
    append(text, value);
    return text;
}

} // namespace fuzz
