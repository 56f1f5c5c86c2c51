#pragma once
// Shows what happens in the bridge directory while it happens, without touching it.

#include "kestranectl/console.h"

#include <string>

namespace kestranectl {

struct WatchOptions {
    std::string bridgeDirectory {}; // empty: the host's own rule
    bool json = false; // one JSON object per line and change
    bool once = false; // what is there now, then end
};

/// Prints what the directory holds, then every change until SIGINT, SIGTERM or SIGHUP: events that
/// appear and are taken, commands, the application's state, preferences, readiness, the token's
/// coming and going (never its text). A record that breaks a rule is shown as such. Sleeps between
/// changes. The directory need not be there yet.
[[nodiscard]] ExitStatus runWatch(const WatchOptions& options, const Console& console);

} // namespace kestranectl
