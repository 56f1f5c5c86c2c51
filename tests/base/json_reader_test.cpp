// Which values get into which fields, and which failure is told.

#include "base/json_reader.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace {

enum class Colour : std::uint8_t { red, green };

} // namespace

template <> struct base::EnumerationTexts<Colour> {
    static constexpr std::array<std::string_view, 2> texts { "red", "green" };
};

namespace {

using base::JsonError;
using base::JsonErrorKind;

// The failure of reading the required member "m" of that type, if there is one.
template <typename Value> std::optional<JsonError> failureOf(std::string_view text)
{
    Value value {};
    base::JsonRecordReader reader;
    reader.required("m", value);
    const auto read = base::readJson(text, reader);
    return read ? std::nullopt : std::optional(read.error());
}

template <typename Value> std::optional<JsonErrorKind> failureKindOf(std::string_view value)
{
    const auto failure = failureOf<Value>("{\"m\":" + std::string(value) + "}");
    return failure ? std::optional(failure->kind) : std::nullopt;
}

JsonError error(JsonErrorKind kind, std::string_view key)
{
    return { .kind = kind, .key = key };
}

TEST(ReadJson, ReadsEveryTypeOfField)
{
    std::string text;
    bool flag = false;
    std::int64_t large = 0;
    std::int32_t small = 0;
    base::UUID uuid;
    base::Timestamp time;
    Colour colour = Colour::red;
    base::JsonRecordReader reader;
    reader.required("text", text);
    reader.required("flag", flag);
    reader.required("large", large);
    reader.required("small", small);
    reader.required("uuid", uuid);
    reader.required("time", time);
    reader.required("colour", colour);
    ASSERT_TRUE(base::readJson(
        R"({"colour":"green","time":1.5,"uuid":"00000000-0000-0000-0000-0000000000Ff","small":-7,)"
        R"("large":5000000000,"flag":true,"text":"a\n\u00e9"})",
        reader));
    EXPECT_EQ(text, "a\n\u00E9");
    EXPECT_TRUE(flag);
    EXPECT_EQ(large, 5000000000);
    EXPECT_EQ(small, -7);
    EXPECT_EQ(uuid.bytes.back(), 0xFF);
    EXPECT_EQ(time.secondsSince2001, 1.5);
    EXPECT_EQ(colour, Colour::green);
}

TEST(ReadJson, RefusesWhatIsNoJsonWithoutNamingAKey)
{
    for (const std::string_view text : { "", "{", R"({"m":)", R"({"m":1)", "m", R"({"m" 1})" })
        EXPECT_EQ(failureOf<std::int64_t>(text), error(JsonErrorKind::notJson, "")) << text;
}

TEST(ReadJson, RefusesWhatIsNoObjectWithoutNamingAKey)
{
    for (const std::string_view text : { "null", "true", "1", R"("m")", "[]", R"([{"m":1}])" })
        EXPECT_EQ(failureOf<std::int64_t>(text), error(JsonErrorKind::typeMismatch, "")) << text;
}

TEST(ReadJson, NamesTheKeyThatIsMissing)
{
    for (const std::string_view text :
        { "{}", R"({"M":1})", R"({"m ":1})", R"({"":1})", R"({"mm":1})" })
        EXPECT_EQ(failureOf<std::int64_t>(text), error(JsonErrorKind::keyNotFound, "m")) << text;
}

TEST(ReadJson, NamesTheKeyWhoseValueIsNull)
{
    EXPECT_EQ(failureOf<std::string>(R"({"m":null})"), error(JsonErrorKind::valueNotFound, "m"));
}

TEST(ReadJson, RefusesValuesOfOtherTypes)
{
    constexpr auto mismatch = JsonErrorKind::typeMismatch;
    for (const std::string_view value : { "1", "true", "[]", "{}", R"(["a"])", R"({"m":"a"})" })
        EXPECT_EQ(failureKindOf<std::string>(value), mismatch) << value;
    for (const std::string_view value : { "1", "0", R"("true")", "[]", "{}", "[true]" })
        EXPECT_EQ(failureKindOf<bool>(value), mismatch) << value;
    for (const std::string_view value : { R"("1")", "true", "[]", "{}", "[1]" }) {
        EXPECT_EQ(failureKindOf<std::int64_t>(value), mismatch) << value;
        EXPECT_EQ(failureKindOf<std::int32_t>(value), mismatch) << value;
        EXPECT_EQ(failureKindOf<base::Timestamp>(value), mismatch) << value;
    }
    for (const std::string_view value : { "1", "false", "[]", "{}" }) {
        EXPECT_EQ(failureKindOf<base::UUID>(value), mismatch) << value;
        EXPECT_EQ(failureKindOf<Colour>(value), mismatch) << value;
    }
}

TEST(ReadJson, RefusesTextsThatAreNotOfTheFieldsForm)
{
    EXPECT_EQ(failureOf<Colour>(R"({"m":"Red"})"), error(JsonErrorKind::dataCorrupted, "m"));
    EXPECT_EQ(failureOf<Colour>(R"({"m":""})"), error(JsonErrorKind::dataCorrupted, "m"));
    EXPECT_EQ(failureOf<base::UUID>(R"({"m":"0"})"), error(JsonErrorKind::dataCorrupted, "m"));
}

TEST(ReadJson, TellsTheFirstDeclaredFailureWhateverTheOrderInTheText)
{
    for (const std::string_view text : { R"({"a":1,"b":"1","c":true,"d":null})",
             R"({"d":null,"c":true,"b":"1","a":1})", R"({"c":true,"a":1,"b":"1"})" }) {
        std::int64_t number = 0;
        std::string string;
        base::JsonRecordReader reader;
        reader.required("a", number);
        reader.required("b", number);
        reader.required("c", string);
        reader.required("d", string);
        EXPECT_EQ(base::readJson(text, reader).error(), error(JsonErrorKind::typeMismatch, "b"))
            << text;
    }
}

TEST(ReadJson, RefusesASyntaxErrorBeforeAnyFieldsFailure)
{
    EXPECT_EQ(failureOf<std::int64_t>(R"({"m":"wrong type","x":})")->kind, JsonErrorKind::notJson);
    EXPECT_EQ(failureOf<std::int64_t>(R"({"m":1} x)")->kind, JsonErrorKind::notJson);
}

TEST(ReadJson, MatchesKeysByTheirCharactersNotBySpelling)
{
    EXPECT_EQ(failureOf<std::int64_t>(R"({"\u006d":1})"), std::nullopt);
    EXPECT_EQ(failureOf<std::int64_t>(R"({"m\u0000":1})")->kind, JsonErrorKind::keyNotFound);
}

std::int64_t numberRead(std::string_view text)
{
    std::int64_t value = 0;
    base::JsonRecordReader reader;
    reader.required("m", value);
    EXPECT_TRUE(base::readJson(text, reader)) << text;
    return value;
}

TEST(ReadJson, TakesTheFirstOfEqualKeys)
{
    EXPECT_EQ(numberRead(R"({"m":1,"m":2})"), 1);
    EXPECT_EQ(numberRead(R"({"m":1,"\u006d":2})"), 1);
    EXPECT_EQ(numberRead(R"({"m":1,"m":"two"})"), 1);
    EXPECT_EQ(numberRead(R"({"m":1,"m":null})"), 1);
    EXPECT_EQ(numberRead(R"({"m":1,"m":{"m":2}})"), 1);
    EXPECT_EQ(failureOf<std::int64_t>(R"({"m":null,"m":1})")->kind, JsonErrorKind::valueNotFound);
    EXPECT_EQ(failureOf<std::int64_t>(R"({"m":[],"m":1})")->kind, JsonErrorKind::typeMismatch);
}

TEST(ReadJson, SkipsUnknownKeysWithAllThatTheyHold)
{
    EXPECT_EQ(numberRead(R"({"x":{"m":2},"y":[{"m":3},[4,{"m":5}]],"m":1})"), 1);
    EXPECT_EQ(numberRead(R"({"x":"m","m":1,"y":null})"), 1);
    EXPECT_EQ(failureOf<std::int64_t>(R"({"x":{"m":2}})")->kind, JsonErrorKind::keyNotFound);
}

TEST(ReadJson, ReadsOnAfterAContainerWhereAValueWasWanted)
{
    std::int64_t first = 0;
    std::int64_t second = 0;
    base::JsonRecordReader reader;
    reader.optional("first", first);
    reader.required("second", second);
    const auto read = base::readJson(R"({"first":[1,{"second":2}],"second":3})", reader);
    EXPECT_EQ(read.error(), error(JsonErrorKind::typeMismatch, "first"));
    EXPECT_EQ(second, 3);
}

TEST(OptionalFields, MayBeAbsentOrNull)
{
    for (const std::string_view text : { "{}", R"({"m":null})", R"({"x":1})" }) {
        std::optional<std::string> none;
        std::int64_t kept = 42;
        base::JsonRecordReader reader;
        reader.optional("m", none);
        reader.optional("m2", kept);
        EXPECT_TRUE(base::readJson(text, reader)) << text;
        EXPECT_EQ(none, std::nullopt) << text;
        EXPECT_EQ(kept, 42) << text;
    }
}

TEST(OptionalFields, AreReadWhenTheyAreThere)
{
    std::optional<std::string> text;
    std::optional<bool> flag;
    base::JsonRecordReader reader;
    reader.optional("text", text);
    reader.optional("flag", flag);
    EXPECT_TRUE(base::readJson(R"({"text":"","flag":false})", reader));
    EXPECT_EQ(text, "");
    EXPECT_EQ(flag, false);
}

TEST(OptionalFields, FailTheRecordWhenTheyAreOfAnotherType)
{
    std::optional<std::string> text;
    base::JsonRecordReader reader;
    reader.optional("m", text);
    EXPECT_EQ(
        base::readJson(R"({"m":1})", reader).error(), error(JsonErrorKind::typeMismatch, "m"));
}

base::JsonConversion evenFromJson(const base::JsonToken& token, std::int64_t& value)
{
    const auto conversion = base::fromJson(token, value);
    if (conversion != base::JsonConversion::converted)
        return conversion;
    return value % 2 == 0 ? conversion : base::JsonConversion::dataCorrupted;
}

std::optional<JsonError> failureOfEven(std::string_view text)
{
    std::int64_t value = 0;
    base::JsonRecordReader reader;
    reader.requiredWith<evenFromJson>("m", value, "m must be even");
    const auto read = base::readJson(text, reader);
    return read ? std::nullopt : std::optional(read.error());
}

TEST(RequiredWith, DescribesWhatTheValueMustBe)
{
    EXPECT_EQ(failureOfEven(R"({"m":2})"), std::nullopt);
    const auto failure = failureOfEven(R"({"m":3})");
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->kind, JsonErrorKind::dataCorrupted);
    EXPECT_EQ(failure->key, "m");
    EXPECT_EQ(base::message(*failure), "m must be even");
}

TEST(RequiredWith, LeavesOtherFailuresUndescribed)
{
    EXPECT_EQ(failureOfEven("{}"), error(JsonErrorKind::keyNotFound, "m"));
    EXPECT_EQ(failureOfEven(R"({"m":null})"), error(JsonErrorKind::valueNotFound, "m"));
    EXPECT_EQ(failureOfEven(R"({"m":"2"})"), error(JsonErrorKind::typeMismatch, "m"));
}

// A record with one within it, and a field on either side of that.
struct Nesting {
    std::int64_t before = 0;
    std::int64_t inner = 0;
    std::int64_t after = 0;
    bool isPresent = true;
};

enum class Presence { required, optional };

std::optional<JsonError> readNesting(std::string_view text, Presence presence, Nesting& nesting)
{
    base::JsonRecordReader inner;
    inner.required("value", nesting.inner);
    base::JsonRecordReader outer;
    outer.optional("value", nesting.before);
    if (presence == Presence::required)
        outer.requiredObject("object", inner);
    else
        outer.optionalObject("object", inner, nesting.isPresent);
    outer.optional("after", nesting.after);
    const auto read = base::readJson(text, outer);
    return read ? std::nullopt : std::optional(read.error());
}

TEST(NestedObjects, AreReadIntoTheirOwnFields)
{
    Nesting nesting;
    EXPECT_EQ(readNesting(R"({"value":1,"object":{"value":2,"after":9},"after":3})",
                  Presence::required, nesting),
        std::nullopt);
    EXPECT_EQ(nesting.before, 1);
    EXPECT_EQ(nesting.inner, 2);
    EXPECT_EQ(nesting.after, 3);
}

TEST(NestedObjects, AreReadOnceOnly)
{
    Nesting nesting;
    EXPECT_EQ(readNesting(R"({"object":{"value":2},"object":{"value":5},"object":1})",
                  Presence::required, nesting),
        std::nullopt);
    EXPECT_EQ(nesting.inner, 2);
}

TEST(NestedObjects, FailWhereTheyStandAmongTheFields)
{
    Nesting nesting;
    EXPECT_EQ(readNesting(R"({"after":"x","object":{}})", Presence::required, nesting),
        error(JsonErrorKind::keyNotFound, "value"));
    EXPECT_EQ(readNesting(R"({"value":"x","object":{}})", Presence::required, nesting),
        error(JsonErrorKind::typeMismatch, "value"));
    EXPECT_EQ(readNesting(R"({"object":{"value":null}})", Presence::optional, nesting),
        error(JsonErrorKind::valueNotFound, "value"));
}

TEST(NestedObjects, MustBeThereWhereTheyAreRequired)
{
    Nesting nesting;
    EXPECT_EQ(readNesting("{}", Presence::required, nesting),
        error(JsonErrorKind::keyNotFound, "object"));
    EXPECT_EQ(readNesting(R"({"object":null})", Presence::required, nesting),
        error(JsonErrorKind::valueNotFound, "object"));
}

TEST(NestedObjects, MayBeAbsentOrNullWhereTheyAreOptional)
{
    for (const std::string_view text : { "{}", R"({"object":null})" }) {
        Nesting nesting;
        EXPECT_EQ(readNesting(text, Presence::optional, nesting), std::nullopt) << text;
        EXPECT_FALSE(nesting.isPresent) << text;
    }
    Nesting nesting;
    EXPECT_EQ(readNesting(R"({"object":{"value":2}})", Presence::optional, nesting), std::nullopt);
    EXPECT_TRUE(nesting.isPresent);
    EXPECT_EQ(nesting.inner, 2);
}

TEST(NestedObjects, MustBeObjects)
{
    for (const std::string_view value : { "1", R"("x")", "true", "[]", R"([{"value":2}])" }) {
        Nesting nesting;
        const std::string text = "{\"object\":" + std::string(value) + "}";
        const JsonError expected = error(JsonErrorKind::typeMismatch, "object");
        EXPECT_EQ(readNesting(text, Presence::required, nesting), expected) << text;
        EXPECT_EQ(readNesting(text, Presence::optional, nesting), expected) << text;
    }
}

TEST(JsonErrorMessages, TellTheKindButNotTheKey)
{
    EXPECT_EQ(base::message({ .kind = JsonErrorKind::notJson }), "The text is not valid JSON.");
    EXPECT_EQ(base::message(error(JsonErrorKind::keyNotFound, "k")),
        "The value of a required key is missing.");
    EXPECT_EQ(base::message(error(JsonErrorKind::valueNotFound, "k")),
        "The value of a required key is missing.");
    EXPECT_EQ(base::message(error(JsonErrorKind::typeMismatch, "k")),
        "A value is not of the expected type.");
    EXPECT_EQ(base::message(error(JsonErrorKind::dataCorrupted, "k")),
        "A value is not of the expected form.");
    EXPECT_EQ(base::message(error(JsonErrorKind::invalidValue, "k")),
        "A value cannot be written as JSON.");
}

} // namespace
