#pragma once
// A manifest as a file in a browser's directory.

#include "kestranectl/browser_locations.h"
#include "kestranectl/manifest.h"
#include "platform/file_system.h"

#include <expected>
#include <string>
#include <string_view>

namespace kestranectl {

/// Where the browser looks for the host's manifest; empty where that is not known.
[[nodiscard]] std::string manifestPath(
    const BrowserLocation& browser, Scope scope, const Surroundings& surroundings);

/// The text of the regular file at `path`, at most `maximumManifestBytes` bytes. The error is what
/// keeps it from being read, without the path.
[[nodiscard]] std::expected<std::string, std::string> readManifestText(const std::string& path);

/// Makes or replaces the file at `path` in one step, with permissions 0644: everybody whom the
/// browser's directory lets in may read it. After a failure the file is as it was.
[[nodiscard]] platform::FileResult<void> replaceManifest(
    const std::string& path, std::string_view text);

} // namespace kestranectl
