#pragma once
// The form of version strings, of the extension and of the host.

#include <string_view>

namespace bridge {

/// Whether `version` is 1 to 32 characters, each ".", alone, or one that begins with a numeric
/// character (Unicode numeric type other than None, the ASCII digits among them). Characters are
/// user-perceived ones: marks count with the digit before them. No structure is required: "1.2.3",
/// "7", "..." are all valid.
[[nodiscard]] bool isValidVersionString(std::string_view version);

} // namespace bridge
