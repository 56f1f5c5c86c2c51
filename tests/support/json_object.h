#pragma once
// JSON objects as texts, built so that a test can spoil one member of them.

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

namespace support {

/// An object's members in order: keys as they are (no escapes needed), values as JSON.
class JsonObject {
public:
    using Member = std::pair<std::string, std::string>;

    JsonObject(std::initializer_list<Member> members)
        : members_(members)
    {
    }

    [[nodiscard]] const std::vector<Member>& members() const { return members_; }

    /// The same object with this member, in its old place if there was one of that key, else at the
    /// end.
    [[nodiscard]] JsonObject with(const std::string& key, const std::string& value) const;

    /// The same object without the member of that key, which must be there.
    [[nodiscard]] JsonObject without(const std::string& key) const;

    /// The same object with its members in reverse order.
    [[nodiscard]] JsonObject reversed() const;

    /// Compact JSON.
    [[nodiscard]] std::string text() const;

private:
    std::vector<Member> members_;
};

} // namespace support
