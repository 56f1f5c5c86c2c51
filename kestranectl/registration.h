#pragma once
// Making the host known to browsers, and unknown again.

#include "kestranectl/browser_locations.h"
#include "kestranectl/console.h"

#include <string>
#include <vector>

namespace kestranectl {

struct RegisterOptions {
    std::vector<std::string> browsers {}; // names; none: every one that the user has
    std::vector<std::string> extensionIdentifiers {}; // none: those that the tool was built with
    std::string hostPath {}; // empty: the host that was installed with this tool
    Scope scope = Scope::user;
    bool force = false; // also over a manifest that somebody else wrote or changed
    bool dryRun = false; // say what would be done
};

/// Writes the manifest for each browser, and says of each whether it was written, was up to date or
/// was skipped, and why. Checks, in this order and before anything is written: every name of a
/// browser is known, every extension identifier is one and there is at least one, the host is an
/// executable regular file in a place that stays (not on a mounted disk image, not in a temporary
/// directory, nor where the system has moved a downloaded application). A manifest is replaced in
/// one step, with permissions 0644, and only if it differs. One that names another host's
/// executable, or that cannot be read as a manifest, is left as it is without `force`.
[[nodiscard]] ExitStatus registerHost(
    const RegisterOptions& options, const Surroundings& surroundings, const Console& console);

struct UnregisterOptions {
    std::vector<std::string> browsers {}; // names; none: all
    Scope scope = Scope::user;
    bool force = false; // also manifests that cannot be read as one
    bool dryRun = false;
};

/// Removes the manifests. One that is not there is no problem.
[[nodiscard]] ExitStatus unregisterHost(
    const UnregisterOptions& options, const Surroundings& surroundings, const Console& console);

/// The host that was installed with this tool: in the tool's own directory, or in
/// "../libexec/kestrane" beside it. Empty if there is none in either.
[[nodiscard]] std::string installedHostPath(const std::string& toolPath);

} // namespace kestranectl
