#pragma once
// Making the host known to browsers, and unknown again.

#include "kestranectl/browser_locations.h"
#include "kestranectl/console.h"
#include "kestranectl/host_location.h"

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
/// browser is known, every extension identifier is one and there is at least one (otherwise status
/// `usage`), the host can be named (`usableHostPath`). For the user alone, a manifest is written
/// where the browser has its profiles; only the directory of manifests is made. For the system, it
/// is also written where the directory above that of manifests is there, and for browsers that are
/// named. A manifest is replaced in one step, with permissions 0644, and only if it differs. One
/// that names another executable which is there, one that cannot be read as a manifest, and
/// anything but a regular file is left as it is without `force`; a directory is never removed.
/// Status `problem` if a manifest could not be written or was left, if a browser that was named is
/// missing, or if there is none at all.
[[nodiscard]] ExitStatus registerHost(
    const RegisterOptions& options, const Surroundings& surroundings, const Console& console);

struct UnregisterOptions {
    std::vector<std::string> browsers {}; // names; none: all
    Scope scope = Scope::user;
    bool force = false; // also manifests that cannot be read as one
    bool dryRun = false;
};

/// Removes the manifests, whichever executable they name. One that is not there is no problem; one
/// that cannot be read as a manifest is left without `force`, and a directory always is.
[[nodiscard]] ExitStatus unregisterHost(
    const UnregisterOptions& options, const Surroundings& surroundings, const Console& console);

} // namespace kestranectl
