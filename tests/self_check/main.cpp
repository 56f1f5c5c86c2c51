// Answers questions about our JSON conversions, so that a script can compare them with conversions
// of other make.
//
// A question is one letter, the number of bytes that follow in 32 bits, and these bytes; an answer
// is a number of bytes in 32 bits and these bytes; integers and doubles are in the machine's own
// order. The questions:
//   n  the text of a JSON number: what is it as a double, and what as an integer? Two times nine
//   bytes: whether it is
//      one at all, and its value.
//   s  the text of a JSON string: what does it hold? One byte, whether it is one at all, and its
//   value. w  a string: how is it written as JSON? d  a double: how is it written as JSON?

#include "base/json_reader.h"
#include "base/json_writer.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace {

template <typename Value> std::optional<Value> memberRead(const std::string& text)
{
    Value value {};
    base::JsonRecordReader reader;
    reader.required("m", value);
    return base::readJson("{\"m\":" + text + "}", reader) ? std::optional(value) : std::nullopt;
}

template <typename Value> std::string valueWritten(const Value& value)
{
    base::JsonWriter writer;
    writer.member("m", value);
    const auto object = std::move(writer).finish();
    return object ? object->substr(5, object->size() - 6) : "";
}

template <typename Value> std::string asBytes(const std::optional<Value>& value)
{
    std::string bytes(1 + sizeof(Value), '\0');
    if (value) {
        bytes.front() = 1;
        std::memcpy(bytes.data() + 1, &*value, sizeof(Value));
    }
    return bytes;
}

std::string answer(char question, const std::string& bytes)
{
    switch (question) {
    case 'n':
        return asBytes(memberRead<base::Timestamp>(bytes))
            + asBytes(memberRead<std::int64_t>(bytes));
    case 's': {
        const auto string = memberRead<std::string>(bytes);
        return string ? '\1' + *string : std::string(1, '\0');
    }
    case 'w':
        return valueWritten(std::string_view(bytes));
    case 'd': {
        base::Timestamp timestamp;
        std::memcpy(&timestamp.secondsSince2001, bytes.data(), sizeof timestamp.secondsSince2001);
        return valueWritten(timestamp);
    }
    default:
        return {};
    }
}

} // namespace

int main()
{
    std::array<char, 5> head {};
    while (std::fread(head.data(), 1, head.size(), stdin) == head.size()) {
        std::uint32_t length = 0;
        std::memcpy(&length, head.data() + 1, sizeof length);
        std::string bytes(length, '\0');
        if (std::fread(bytes.data(), 1, length, stdin) != length)
            return 1;
        const std::string reply = answer(head.front(), bytes);
        length = static_cast<std::uint32_t>(reply.size());
        std::fwrite(&length, sizeof length, 1, stdout);
        std::fwrite(reply.data(), 1, reply.size(), stdout);
    }
    return 0;
}
