#pragma once
// Which executable a manifest may name.

#include "kestranectl/browser_locations.h"

#include <expected>
#include <optional>
#include <string>

namespace kestranectl {

/// The host that was installed with this tool: in the tool's own directory, or in
/// "../libexec/kestrane" beside it. Empty if there is none in either.
[[nodiscard]] std::string installedHostPath(const std::string& toolPath);

/// Why what lies at this absolute path will not be there for long: on a mounted disk image, in a
/// temporary directory, or where the system has moved a downloaded application. None if it will.
[[nodiscard]] std::optional<std::string> whyNotLasting(
    const std::string& path, const Surroundings& surroundings);

/// The path to write into manifests for the host at `path`, empty for the one that was installed
/// with this tool: an absolute path stays as it is, links included, so that the manifest survives
/// an update behind a link. The error is a sentence that says why there can be no manifest: it is
/// no executable regular file, or lies, before or after links are resolved, in a place that does
/// not last, or its path is no UTF-8 and cannot be written as JSON.
[[nodiscard]] std::expected<std::string, std::string> usableHostPath(
    const std::string& path, const Surroundings& surroundings);

} // namespace kestranectl
