#include "base/json_reader.h"

#include <boost/json/basic_parser_impl.hpp>

#include <algorithm>
#include <array>
#include <cassert>
#include <limits>
#include <span>

namespace base {

namespace {

// The application's library reads no deeper; a limit also bounds what a hostile text can cost.
constexpr std::size_t maximumDepth = 512;

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

std::size_t endOfString(std::string_view text, std::size_t start)
{
    for (std::size_t index = start + 1; index < text.size(); ++index) {
        if (text[index] == '"')
            return index + 1;
        if (text[index] == '\\')
            ++index;
    }
    return text.size();
}

// The parser counts exponents in 32 bits and refuses what does not fit. Exponents of ten digits and
// more all mean the same in a text that fits in memory, so they are cut to nine.
std::string withShortExponents(std::string_view text)
{
    constexpr std::size_t longestExponent = 9;
    const auto endOfRun = [text](std::string_view characters, std::size_t start) {
        return std::min(text.find_first_not_of(characters, start), text.size());
    };
    std::string result;
    for (std::size_t index = 0; index < text.size();) {
        const char character = text[index];
        const std::size_t end = character == '"' ? endOfString(text, index) : index + 1;
        result += text.substr(index, end - index);
        index = end;
        if (character == 'e' || character == 'E') {
            const std::size_t digits = endOfRun("+-0", index);
            const std::size_t endOfDigits = endOfRun("0123456789", digits);
            result += text.substr(index, std::min(endOfDigits, digits + longestExponent) - index);
            index = endOfDigits;
        }
    }
    return result;
}

} // namespace

void JsonRecordReader::requiredObject(std::string_view key, JsonRecordReader& nested)
{
    Field& field = add(key);
    field.nested = &nested;
    field.isRequired = true;
}

void JsonRecordReader::optionalObject(
    std::string_view key, JsonRecordReader& nested, bool& isPresent)
{
    isPresent = false;
    Field& field = add(key);
    field.nested = &nested;
    field.isPresent = &isPresent;
}

// NOLINTNEXTLINE(misc-no-recursion): as deep as the declared records are nested
std::optional<JsonError> JsonRecordReader::firstFailure() const
{
    for (std::size_t index = 0; index < fieldCount_; ++index) {
        const Field& field = fields_[index];
        const std::string_view key = field.key.view();
        switch (field.state) {
        case FieldState::absent:
            if (field.isRequired)
                return JsonError { .kind = JsonErrorKind::keyNotFound, .key = key };
            break;
        case FieldState::null:
            if (field.isRequired)
                return JsonError { .kind = JsonErrorKind::valueNotFound, .key = key };
            break;
        case FieldState::typeMismatch:
            return JsonError { .kind = JsonErrorKind::typeMismatch, .key = key };
        case FieldState::dataCorrupted:
            return JsonError { .kind = JsonErrorKind::dataCorrupted,
                .key = key,
                .description = field.description.view() };
        case FieldState::converted:
            if (field.nested != nullptr) {
                if (auto nestedFailure = field.nested->firstFailure())
                    return nestedFailure;
            }
            break;
        }
    }
    return std::nullopt;
}

JsonRecordReader::Field* JsonRecordReader::unreadField(std::string_view key)
{
    // Most records come in the order in which they are declared: the search goes on where the last
    // one ended.
    for (std::size_t searched = 0; searched < fieldCount_; ++searched) {
        Field& field = fields_[expectedField_];
        expectedField_ = expectedField_ + 1 < fieldCount_ ? expectedField_ + 1 : 0;
        if (field.key.view() == key)
            return field.state == FieldState::absent ? &field : nullptr;
    }
    return nullptr;
}

void JsonRecordReader::read(Field& field, const JsonToken& token)
{
    if (token.type == JsonToken::Type::null) {
        field.state = FieldState::null;
        return;
    }
    if (field.convert == nullptr || token.type == JsonToken::Type::container) {
        field.state = FieldState::typeMismatch;
        return;
    }
    switch (field.convert(token, field.destination)) {
    case JsonConversion::converted:
        field.state = FieldState::converted;
        break;
    case JsonConversion::typeMismatch:
        field.state = FieldState::typeMismatch;
        break;
    case JsonConversion::dataCorrupted:
        field.state = FieldState::dataCorrupted;
        break;
    }
}

// What the parser calls, token by token. Of the objects within one another only those that the
// record declares are followed; a container that is not wanted is counted through until it closes.
class JsonTextHandler {
public:
    // The payload is bounded before it gets here, so nothing in it needs a limit of its own.
    static constexpr std::size_t max_object_size = std::numeric_limits<std::size_t>::max();
    static constexpr std::size_t max_array_size = std::numeric_limits<std::size_t>::max();
    static constexpr std::size_t max_key_size = std::numeric_limits<std::size_t>::max();
    static constexpr std::size_t max_string_size = std::numeric_limits<std::size_t>::max();

    using ErrorCode = boost::json::error_code;

    explicit JsonTextHandler(JsonRecordReader& root)
        : root_(root)
    {
    }

    [[nodiscard]] bool rootIsObject() const { return rootIsObject_; }

    // Takes back what reading a text has left in `record`.
    // NOLINTNEXTLINE(misc-no-recursion): as deep as the declared records are nested
    static void startOver(JsonRecordReader& record)
    {
        for (JsonRecordReader::Field& field : std::span(record.fields_).first(record.fieldCount_)) {
            field.state = JsonRecordReader::FieldState::absent;
            if (field.isPresent != nullptr)
                *field.isPresent = false;
            if (field.nested != nullptr)
                startOver(*field.nested);
        }
    }

    bool on_document_begin(ErrorCode&) { return true; }
    bool on_document_end(ErrorCode&) { return true; }

    bool on_object_begin(ErrorCode&)
    {
        if (unwantedDepth_ > 0) {
            ++unwantedDepth_;
        } else if (openCount_ == 0) {
            rootIsObject_ = true;
            open(root_);
        } else if (field_ != nullptr && field_->nested != nullptr) {
            field_->state = JsonRecordReader::FieldState::converted;
            if (field_->isPresent != nullptr)
                *field_->isPresent = true;
            open(*field_->nested);
        } else {
            beginUnwanted();
        }
        return true;
    }

    bool on_object_end(std::size_t, ErrorCode&)
    {
        endContainer();
        return true;
    }

    bool on_array_begin(ErrorCode&)
    {
        if (unwantedDepth_ > 0)
            ++unwantedDepth_;
        else
            beginUnwanted();
        return true;
    }

    bool on_array_end(std::size_t, ErrorCode&)
    {
        endContainer();
        return true;
    }

    bool on_key_part(boost::json::string_view part, std::size_t, ErrorCode&)
    {
        if (unwantedDepth_ == 0)
            parts_.append(part.data(), part.size());
        return true;
    }

    bool on_key(boost::json::string_view part, std::size_t, ErrorCode&)
    {
        if (unwantedDepth_ == 0) {
            field_ = openReaders_[openCount_ - 1]->unreadField(whole(part));
            parts_.clear();
        }
        return true;
    }

    bool on_string_part(boost::json::string_view part, std::size_t, ErrorCode&)
    {
        keepPart(part);
        return true;
    }

    bool on_string(boost::json::string_view part, std::size_t, ErrorCode&)
    {
        return give(JsonToken::Type::string, part);
    }

    bool on_number_part(boost::json::string_view part, ErrorCode&)
    {
        keepPart(part);
        return true;
    }

    bool on_int64(std::int64_t, boost::json::string_view part, ErrorCode&)
    {
        return give(JsonToken::Type::number, part);
    }

    bool on_uint64(std::uint64_t, boost::json::string_view part, ErrorCode&)
    {
        return give(JsonToken::Type::number, part);
    }

    bool on_double(double, boost::json::string_view part, ErrorCode&)
    {
        return give(JsonToken::Type::number, part);
    }

    bool on_bool(bool value, ErrorCode&)
    {
        give({ .type = JsonToken::Type::boolean, .boolean = value });
        return true;
    }

    bool on_null(ErrorCode&)
    {
        give({ .type = JsonToken::Type::null });
        return true;
    }

    bool on_comment_part(boost::json::string_view, ErrorCode&) { return true; }
    bool on_comment(boost::json::string_view, ErrorCode&) { return true; }

private:
    // The root and one object within it are as deep as any record goes; one more leaves room for
    // the next.
    static constexpr std::size_t maximumOpenReaders = 3;

    void open(JsonRecordReader& reader)
    {
        assert(openCount_ < maximumOpenReaders);
        openReaders_[openCount_++] = &reader;
        field_ = nullptr;
    }

    void beginUnwanted()
    {
        give({ .type = JsonToken::Type::container });
        unwantedDepth_ = 1;
    }

    void endContainer()
    {
        if (unwantedDepth_ > 0)
            --unwantedDepth_;
        else
            --openCount_;
        field_ = nullptr;
    }

    [[nodiscard]] bool isWanted() const { return unwantedDepth_ == 0 && field_ != nullptr; }

    void keepPart(boost::json::string_view part)
    {
        if (isWanted())
            parts_.append(part.data(), part.size());
    }

    // The parser hands over a text in parts where it holds escapes. The view is valid until parts_
    // changes.
    std::string_view whole(boost::json::string_view lastPart)
    {
        if (parts_.empty())
            return { lastPart.data(), lastPart.size() };
        parts_.append(lastPart.data(), lastPart.size());
        return parts_;
    }

    void give(const JsonToken& token)
    {
        if (isWanted())
            JsonRecordReader::read(*field_, token);
        field_ = nullptr;
    }

    bool give(JsonToken::Type type, boost::json::string_view lastPart)
    {
        if (isWanted()) {
            give({ .type = type, .text = whole(lastPart) });
            parts_.clear();
        }
        return true;
    }

    JsonRecordReader& root_;
    std::array<JsonRecordReader*, maximumOpenReaders> openReaders_ {};
    std::size_t openCount_ = 0;
    JsonRecordReader::Field* field_ = nullptr; // the field of the key just read, if it is wanted
    std::size_t unwantedDepth_ = 0;
    std::string parts_;
    bool rootIsObject_ = false;
};

namespace {

// Whether the text, which is an object, could be taken apart; what it is not is told by `error`.
std::expected<void, JsonError> readText(
    std::string_view text, JsonRecordReader& record, boost::json::error_code& error)
{
    boost::json::parse_options options;
    options.max_depth = maximumDepth;
    boost::json::basic_parser<JsonTextHandler> parser(options, record);
    const std::size_t consumed = parser.write_some(false, text.data(), text.size(), error);
    if (error || consumed < text.size())
        return std::unexpected(JsonError { .kind = JsonErrorKind::notJson });
    if (!parser.handler().rootIsObject())
        return std::unexpected(JsonError { .kind = JsonErrorKind::typeMismatch });
    return {};
}

} // namespace

std::expected<void, JsonError> readJson(std::string_view text, JsonRecordReader& record)
{
    if (text.starts_with(byteOrderMark))
        text.remove_prefix(byteOrderMark.size());

    boost::json::error_code error;
    auto read = readText(text, record, error);
    if (error == boost::json::error::exponent_overflow) {
        JsonTextHandler::startOver(record);
        error = {};
        read = readText(withShortExponents(text), record, error);
    }
    if (!read)
        return read;
    if (const auto failure = record.firstFailure())
        return std::unexpected(*failure);
    return {};
}

} // namespace base
