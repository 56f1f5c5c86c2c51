#pragma once
// Writes records as compact JSON (RFC 8259) in the form of the application's library: no blanks,
// "/" in strings as
// "\/", control characters as \b, \t, \n, \f, \r or \u and four lower-case digits, everything else
// as it is.

#include "base/enumeration.h"
#include "base/json_reader.h"
#include "base/timestamp.h"
#include "base/uuid.h"

#include <cstddef>
#include <cstdint>
#include <expected>
#include <optional>
#include <string>
#include <string_view>

namespace base {

/// Builds one object, member by member, in the order of the calls. Keys must need no escapes; texts
/// must be UTF-8.
class JsonWriter {
public:
    JsonWriter();

    void member(std::string_view key, std::string_view value);
    void member(std::string_view key, const char* value) { member(key, std::string_view(value)); }
    void member(std::string_view key, bool value);
    void member(std::string_view key, std::int64_t value);
    void member(std::string_view key, std::int32_t value) { member(key, std::int64_t { value }); }
    /// As upper-case text.
    void member(std::string_view key, const UUID& value);
    /// As a number of seconds since 2001, with as many digits as reading it back exactly takes,
    /// without an exponent from 0.0001 up to 1e16. A value that is not finite makes `finish` fail.
    void member(std::string_view key, Timestamp value);

    template <TextEnumeration Enumeration> void member(std::string_view key, Enumeration value)
    {
        member(key, text(value));
    }

    /// Leaves the member out when there is no value.
    template <typename Value> void member(std::string_view key, const std::optional<Value>& value)
    {
        if (value)
            member(key, *value);
    }

    void null(std::string_view key);

    void beginObject(std::string_view key);
    void endObject();

    /// The text of the whole object. Fails with invalidValue, naming the key, if a member could not
    /// be written.
    [[nodiscard]] std::expected<std::string, JsonError> finish() &&;

private:
    char* extend(std::size_t count);
    void appendKey(std::string_view key);
    void appendString(std::string_view value);

    std::string text_;
    std::optional<JsonError> failure_;
    bool isFirstMember_ = true;
};

} // namespace base
