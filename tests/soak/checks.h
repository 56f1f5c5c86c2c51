#pragma once
// Whether what the host answers and leaves behind is whole, judged by rules and a reader that are
// not the host's own.

#include "fuzz/support/naive_json.h"

#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace soak {

/// What the application gave out; nothing else may appear in the host's records and answers.
struct Known {
    std::set<std::string> tokens {};
    std::set<std::string> sessions {}; // in upper case
    /// What the identifiers of the commands for the browser begin with; no command may come if it
    /// is empty.
    std::string commandPrefix {};
};

/// Of all checks: `wrong` says what is wrong and is empty if nothing is.
struct EventCheck {
    std::string wrong {};
    std::string identifier {}; // the event's
};

/// A file in the inbox, `name` being its own without the directory.
[[nodiscard]] EventCheck checkEventFile(
    std::string_view name, std::string_view contents, const Known& known);

struct ReadinessCheck {
    std::string wrong {};
    bool connectionAvailable = false;
};

[[nodiscard]] ReadinessCheck checkReadinessFile(std::string_view contents, const Known& known);

struct AnswerCheck {
    std::string wrong {};
    bool accepted = false;
    std::string error {};
    bool inSession = false; // running and not paused, with this browser in front
    bool labelsEnabled = false;
    std::string command {}; // the identifier of the one that came with it
};

[[nodiscard]] AnswerCheck checkAnswer(std::string_view payload, const Known& known);

enum class NameKind : unsigned char { event, readiness, temporary, other };

/// What a name in "Inbox" or "Readiness" says that the item is.
[[nodiscard]] NameKind kindOfName(std::string_view name);

} // namespace soak
