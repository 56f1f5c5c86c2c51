#pragma once
// Decodes JSON texts (RFC 8259) straight into records.
//
// A decoder declares the record's fields, one line each, and hands the text over; the text is read
// once, from front to back, and only the declared fields are copied. The rules are those of the
// application's library: keys match by exact text; the first of equal keys counts and later ones
// are only checked for being JSON; unknown keys are skipped; null means absent; at most 512 arrays
// and objects may lie within one another; one byte-order mark in front is skipped. Everything else
// must be JSON to the letter, also in values that no field reads.

#include "base/enumeration.h"
#include "base/timestamp.h"
#include "base/uuid.h"

#include <array>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <expected>
#include <optional>
#include <string>
#include <string_view>

namespace base {

enum class JsonErrorKind : std::uint8_t {
    notJson, // the text is no JSON at all
    keyNotFound, // a required key is missing
    valueNotFound, // a required key has the value null
    typeMismatch, // a value has another JSON type, or a number does not fit
    dataCorrupted, // a text is not of the form that its field requires
    invalidValue // a value cannot be written as JSON
};

struct JsonError {
    JsonErrorKind kind = JsonErrorKind::notJson;
    std::string_view key; // of static storage; empty where the error concerns the whole text
    std::string_view
        description; // of static storage; what the field requires, where its declaration says so

    friend bool operator==(const JsonError&, const JsonError&) = default;
};

/// The user-facing text of `error`.
[[nodiscard]] std::string message(const JsonError& error);

/// One value as it stands in the text. `text` holds a string's decoded characters or a number's
/// digits and is valid only during the conversion.
struct JsonToken {
    enum class Type : std::uint8_t { null, boolean, number, string, container };

    Type type = Type::null;
    bool boolean = false;
    std::string_view text;
};

enum class JsonConversion : std::uint8_t { converted, typeMismatch, dataCorrupted };

/// Conversions of a value that is not null. Numbers are correctly rounded. An integer may be
/// written with fraction or exponent when the nearest double is whole and in range; from 2^53 on,
/// when the number itself is whole. A double that overflows, or that is not zero but rounds to
/// zero, is refused with typeMismatch.
[[nodiscard]] JsonConversion fromJson(const JsonToken& token, std::string& value);
[[nodiscard]] JsonConversion fromJson(const JsonToken& token, bool& value);
[[nodiscard]] JsonConversion fromJson(const JsonToken& token, std::int64_t& value);
[[nodiscard]] JsonConversion fromJson(const JsonToken& token, std::int32_t& value);
[[nodiscard]] JsonConversion fromJson(const JsonToken& token, UUID& value);
/// A number of seconds since 2001.
[[nodiscard]] JsonConversion fromJson(const JsonToken& token, Timestamp& value);

template <TextEnumeration Enumeration>
[[nodiscard]] JsonConversion fromJson(const JsonToken& token, Enumeration& value)
{
    if (token.type != JsonToken::Type::string)
        return JsonConversion::typeMismatch;
    const auto found = enumerationFromText<Enumeration>(token.text);
    if (!found)
        return JsonConversion::dataCorrupted;
    value = *found;
    return JsonConversion::converted;
}

template <typename Value>
[[nodiscard]] JsonConversion fromJson(const JsonToken& token, std::optional<Value>& value)
{
    return fromJson(token, value.emplace());
}

/// The fields of one record, in the order in which their failures count. Keys and descriptions must
/// be of static storage; destinations and nested readers must outlive the reading.
// NOLINTNEXTLINE(*-member-init): see Field
class JsonRecordReader {
public:
    static constexpr std::size_t maximumFieldCount = 16;

    /// A field that must be present and not null.
    template <typename Value> void required(std::string_view key, Value& destination)
    {
        addValue(key, destination, convertTo<Value>).isRequired = true;
    }

    /// A field that may be absent or null; `destination` then keeps the value that it has.
    template <typename Value> void optional(std::string_view key, Value& destination)
    {
        addValue(key, destination, convertTo<Value>);
    }

    /// A required field with a conversion of its own: `conversion` takes the token and the
    /// destination, `description` tells what the value must be.
    template <auto conversion, typename Value>
    void requiredWith(std::string_view key, Value& destination, std::string_view description)
    {
        const auto convert = [](const JsonToken& token, void* untyped) {
            return conversion(token, *static_cast<Value*>(untyped));
        };
        Field& field = addValue(key, destination, convert);
        field.description = staticText(description);
        field.isRequired = true;
    }

    /// An object whose fields `nested` declares.
    void requiredObject(std::string_view key, JsonRecordReader& nested);

    /// The same, but the object may be absent or null; `isPresent` tells afterwards whether it was
    /// there.
    void optionalObject(std::string_view key, JsonRecordReader& nested, bool& isPresent);

    /// The failure of the first declared field that has one.
    [[nodiscard]] std::optional<JsonError> firstFailure() const;

private:
    friend class JsonTextHandler;

    enum class FieldState : std::uint8_t { absent, null, converted, typeMismatch, dataCorrupted };

    // A text of static storage. Unlike a view it can be left uninitialised.
    struct StaticText {
        const char* start;
        std::size_t size;

        [[nodiscard]] std::string_view view() const { return { start, size }; }
    };

    // Left uninitialised until it is declared: a reader is made for every record, and clearing all
    // its fields would cost as much as reading a short text.
    struct Field {
        StaticText key;
        StaticText description;
        void* destination;
        JsonConversion (*convert)(const JsonToken&, void*);
        JsonRecordReader* nested;
        bool* isPresent;
        bool isRequired;
        FieldState state;
    };

    static StaticText staticText(std::string_view text) { return { text.data(), text.size() }; }

    template <typename Value> static JsonConversion convertTo(const JsonToken& token, void* untyped)
    {
        return fromJson(token, *static_cast<Value*>(untyped));
    }

    Field& add(std::string_view key)
    {
        assert(fieldCount_ < maximumFieldCount);
        Field& field = fields_[fieldCount_++];
        field = Field { .key = staticText(key) };
        return field;
    }

    Field& addValue(
        std::string_view key, auto& destination, JsonConversion (*convert)(const JsonToken&, void*))
    {
        Field& field = add(key);
        field.destination = &destination;
        field.convert = convert;
        return field;
    }

    // The field of that key, if there is one and no value for it was met before.
    Field* unreadField(std::string_view key);

    static void read(Field& field, const JsonToken& token);

    std::array<Field, maximumFieldCount> fields_;
    std::size_t fieldCount_ = 0;
    std::size_t expectedField_ = 0;
};

/// Reads `text` into the destinations that `record` declares. Fails with notJson if `text` is not
/// one JSON value, with typeMismatch and no key if that value is no object, otherwise with the
/// failure of the first declared field that has one. After a failure the destinations hold values
/// that mean nothing.
[[nodiscard]] std::expected<void, JsonError> readJson(
    std::string_view text, JsonRecordReader& record);

} // namespace base
