#pragma once
// Plays the application, for those who develop the extension or the host without it.

#include "kestranectl/console.h"

#include <string>

namespace kestranectl {

struct SimulateOptions {
    std::string bridgeDirectory {}; // empty: the host's own rule
    bool sessionRunning = true;
    bool trackingPaused = false;
    std::string frontmostBrowser = "com.google.Chrome"; // empty: no browser is in front
    bool filenameLabelsEnabled = false;
    bool keepEvents = false; // show events but do not take them
    bool force = false; // also beside an application that runs
};

/// Makes the bridge directory with a token (one that is there is kept), a state that is written
/// again every few seconds, and preferences; prints what changes in the directory as `runWatch`
/// does, and takes every event that a host leaves. Reads lines from standard input: "session
/// on|off", "pause on|off", "front IDENTIFIER|none", "labels on|off", "show-pdf UUID", "set-labels
/// on|off", "quit"; one that makes no sense is answered with what would. Ends at "quit", SIGINT,
/// SIGTERM or SIGHUP, not at the end of the input; then removes what it wrote, so that hosts find
/// no application. Refuses, before anything is written, where an application runs, and ends where
/// one begins to write its state, unless `force`.
[[nodiscard]] ExitStatus runSimulate(const SimulateOptions& options, const Console& console);

} // namespace kestranectl
