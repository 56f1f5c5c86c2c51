#pragma once
// Every state that the application can be in, as the host sees it, and what each means for the
// answers.

#include "bridge/bridge_records.h"

#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace support {

struct ApplicationStateCase {
    std::string name;
    /// What "state.json" says; none when there is no such file. The process identifier is 0 or
    /// negative where that is the point, otherwise for the test to replace by that of a process
    /// that runs or does not.
    std::optional<bridge::BrowserBridgeState> state {};
    /// How long ago the state was written, in seconds.
    double age = 0;
    bool processExists = true;

    // What responses to Chrome then say.
    bool appRunning = true;
    bool sessionRunning = true;
    bool browserFrontmost = true;
    bool trackingPaused = false;
    bool namesSession = true;
    /// Why an event of Chrome's is refused; empty when it is relayed.
    std::string_view refusal {};

    [[nodiscard]] bool relaysEvents() const { return refusal.empty(); }

    /// For GoogleTest, which prints parameters.
    friend std::ostream& operator<<(std::ostream& stream, const ApplicationStateCase& stateCase)
    {
        return stream << stateCase.name;
    }
};

[[nodiscard]] std::vector<ApplicationStateCase> allApplicationStates();

} // namespace support
