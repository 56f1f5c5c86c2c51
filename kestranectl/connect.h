#pragma once
// Plays the browser: starts the host as a browser does and talks to it.

#include "base/timestamp.h"
#include "base/uuid.h"
#include "kestranectl/console.h"

#include <optional>
#include <string>
#include <string_view>
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

/// Sends each request as one frame, as its bytes stand, and prints each answer as one line. A line
/// that is read from the descriptor `input` is sent and answered before the next one is read; empty
/// lines are passed over, as are lines that are no request, which are said to be none. Status
/// `problem` if a request is longer than the host takes (it is not sent), if an answer is missing,
/// is no JSON, is longer than the host's limit, or does not accept its request, or if the host ends
/// otherwise than with status 0. Status `usage`, and nothing is started, if one of
/// `options.requests` is no request or the extension's identifier is none.
[[nodiscard]] ExitStatus runConnect(
    const ConnectOptions& options, const Console& console, int input);

/// What is fresh in every event.
struct EventOrigin {
    base::Timestamp time;
    base::UUID identifier;
};

/// The JSON of a short form; `text` itself if it begins with "{"; none if it is neither, or no
/// UTF-8 where it goes into JSON.
[[nodiscard]] std::optional<std::string> requestText(
    std::string_view text, const EventOrigin& origin);

} // namespace kestranectl
