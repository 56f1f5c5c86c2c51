#pragma once
// The sessions whose calls are made to fail, and what each piece of their work is good for.

#include "tests/faults/errors_of_calls.h"
#include "tests/faults/traced_session.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace faults {

/// What the extension and the application miss when a piece of work fails.
enum class Loss : std::uint8_t {
    readiness, // no record that the connection is there
    application, // refused: the application seems not to run
    token, // refused: the bridge is not ready
    event, // refused with the system's reason
    disconnection, // an event of the host's own that nobody waits for
    flags, // the answer knows nothing of the application
    label, // the event goes without the name of the file
    labelPreference, // the answer says that such names are not wanted
    commands, // none is looked for, all stay
};

struct Work {
    std::string_view subject; // as in Call
    Loss loss;
};

struct Kind {
    std::string_view name;
    Conversation conversation;
    std::vector<Work> works; // of the request; what is not listed can fail without consequence
    object answer; // to the request, without a fault
    std::vector<std::string> events; // after it
    std::vector<std::string> commands; // the names left when it has been answered
    std::string version; // of the extension, where the request makes the host remember it
    bool remembersBrowser = false;
    bool needsPauses = false; // what the application left is another thing for the next request
};

/// All of them, by name.
[[nodiscard]] std::span<const Kind> kinds();
[[nodiscard]] const Kind& kindNamed(std::string_view name);

/// What a session of that kind comes to without a fault.
[[nodiscard]] std::vector<Moment> momentsWithoutFault(const Kind& kind);

} // namespace faults
