#pragma once
// The extensions that this build of the tool is for.

#include <string>
#include <vector>

namespace kestranectl {

/// The identifiers of the extension in the browsers' stores (KESTRANE_EXTENSION_IDENTIFIERS of the
/// build); none in a build for development.
[[nodiscard]] const std::vector<std::string>& builtInExtensionIdentifiers();

/// The extension that hosts are told to be started by, unless the user names one: the first one of
/// the build, else 32 times "a", which no store gives to an extension. Hosts do not look at it.
[[nodiscard]] std::string usualExtensionIdentifier();

} // namespace kestranectl
