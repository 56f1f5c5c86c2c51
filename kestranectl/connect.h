#pragma once
// Plays the browser: starts the host as a browser does and talks to it.

#include "kestranectl/console.h"

#include <string>
#include <vector>

namespace kestranectl {

struct ConnectOptions {
    std::string hostPath {}; // empty: the host that was installed with this tool
    std::string
        extensionIdentifier {}; // empty: the first one that the tool was built with, else 32 "a"
    std::string bridgeDirectory {}; // empty: the host's own rule
    double timeout = 10; // seconds to wait for each answer
    /// JSON texts, or short forms: "ping", "open", "diagnostics", "pause", "resume",
    /// "active" and "activity=HOST". None: one per line of standard input, to its end.
    std::vector<std::string> requests {};
};

/// Sends each request as one frame, as its bytes stand, and prints each answer as one line. Status
/// `problem` if an answer is missing, is no JSON, or does not accept its request, or if the host
/// ends otherwise than with status 0.
[[nodiscard]] ExitStatus runConnect(const ConnectOptions& options, const Console& console);

/// The JSON of a short form with the current time; `text` itself if it begins with "{"; empty if it
/// is neither.
[[nodiscard]] std::string requestText(const std::string& text);

} // namespace kestranectl
