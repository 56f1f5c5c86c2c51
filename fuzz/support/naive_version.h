#pragma once
// Version strings once more, by the tables of the application's platform.

#include <string_view>

namespace fuzz {

/// Whether `text` is 1 to 32 user-perceived characters, each a number or a full stop.
[[nodiscard]] bool isNaiveVersion(std::string_view text);

} // namespace fuzz
