#pragma once
// What the played application can be told, line by line.

#include "base/uuid.h"

#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace kestranectl {

// Changes of the state. A session that begins has a new identifier.
struct SetSession {
    bool isRunning = false;
};
struct SetPause {
    bool isPaused = false;
};
struct SetFrontmostBrowser {
    std::string identifier {}; // empty: none
};

/// A change of the preferences.
struct SetLabels {
    bool areEnabled = false;
};

// Commands for the extension in the frontmost browser.
struct ShowPDF {
    base::UUID identifier {};
};
struct SendLabels {
    bool areEnabled = false;
};

/// The end.
struct Quit { };

using SimulationRequest
    = std::variant<SetSession, SetPause, SetFrontmostBrowser, SetLabels, ShowPDF, SendLabels, Quit>;

/// What can be said, for people.
inline constexpr std::string_view simulationRequests
    = "session on|off, pause on|off, front IDENTIFIER|none, labels on|off, show-pdf UUID, "
      "set-labels on|off, quit";

/// Reads a line; words are separated by blanks. None if it makes no sense.
[[nodiscard]] std::optional<SimulationRequest> parseSimulationRequest(std::string_view line);

/// Whether `text` can stand for a browser in the state: 1 to 255 bytes of text without control
/// characters, so that the state stays below its limit.
[[nodiscard]] bool isUsableIdentifier(std::string_view text);

} // namespace kestranectl
