#pragma once
// JSON once more (RFC 8259), written as plainly as it can be said: a whole text becomes a tree. It
// judges the real reader, and it is what the mutator changes.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace fuzz {

struct NaiveMember;

struct NaiveValue {
    enum class Type : std::uint8_t { null, boolean, number, string, array, object };

    Type type = Type::null;
    bool boolean = false;
    std::string text {}; // a number's digits, a string's characters
    std::vector<NaiveValue> items {};
    std::vector<NaiveMember> members; // in their order, equal keys included

    /// The value of the first member of that key; null if there is none.
    [[nodiscard]] const NaiveValue* find(std::string_view key) const;

    [[nodiscard]] bool isString() const { return type == Type::string; }
};

struct NaiveMember {
    std::string key;
    NaiveValue value;
};

/// The value of a text that is JSON to the letter, no deeper than 512 arrays and objects, after one
/// byte-order mark at most; none for any other.
[[nodiscard]] std::optional<NaiveValue> parseNaively(std::string_view text);

/// The text of a string literal, quotes included; control characters, quotes and backslashes
/// escaped.
[[nodiscard]] std::string naiveLiteral(std::string_view characters);

/// Compact JSON.
[[nodiscard]] std::string naiveText(const NaiveValue& value);

} // namespace fuzz
