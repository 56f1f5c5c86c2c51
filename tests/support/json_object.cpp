#include "tests/support/json_object.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace support {

JsonObject JsonObject::with(const std::string& key, const std::string& value) const
{
    JsonObject result = *this;
    const auto member = std::ranges::find(result.members_, key, &Member::first);
    if (member != result.members_.end())
        member->second = value;
    else
        result.members_.emplace_back(key, value);
    return result;
}

JsonObject JsonObject::without(const std::string& key) const
{
    JsonObject result = *this;
    const auto count = std::erase_if(
        result.members_, [&key](const Member& member) { return member.first == key; });
    EXPECT_EQ(count, 1U) << key;
    return result;
}

JsonObject JsonObject::reversed() const
{
    JsonObject result = *this;
    std::ranges::reverse(result.members_);
    return result;
}

std::string JsonObject::text() const
{
    std::string result;
    for (const auto& [key, value] : members_) {
        result += result.empty() ? '{' : ',';
        result += '"' + key + "\":" + value;
    }
    return result.empty() ? "{}" : result + '}';
}

} // namespace support
