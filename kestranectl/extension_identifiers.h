#pragma once
// The extensions that this build of the tool is for.

#include <string>
#include <vector>

namespace kestranectl {

/// The identifiers of the extension in the browsers' stores (KESTRANE_EXTENSION_IDENTIFIERS of the
/// build); none in a build for development.
[[nodiscard]] const std::vector<std::string>& builtInExtensionIdentifiers();

} // namespace kestranectl
