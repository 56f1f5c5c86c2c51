#pragma once
// Being asked to end, as something that can be waited for.

#include "platform/file_system.h"

#include <memory>

namespace platform {

/// From its making on, SIGINT, SIGTERM and SIGHUP no longer end the process: each makes
/// `descriptor` readable. One that was ignored stays so, as is usual for what runs in the
/// background. The dispositions of before come back at the end. There is one at a time.
class EndRequests {
public:
    /// Fails with the system's error.
    [[nodiscard]] static FileResult<EndRequests> make();
    EndRequests(EndRequests&& other) noexcept;
    EndRequests& operator=(EndRequests&&) = delete;
    EndRequests(const EndRequests&) = delete;
    EndRequests& operator=(const EndRequests&) = delete;
    ~EndRequests();

    /// A descriptor that can be read once the process was asked to end, and from then on.
    [[nodiscard]] int descriptor() const;

private:
    struct State;
    explicit EndRequests(std::unique_ptr<State> state);

    std::unique_ptr<State> state_;
};

} // namespace platform
