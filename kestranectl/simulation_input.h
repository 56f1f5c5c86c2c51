#pragma once
// What is typed while the application is played.

#include "kestranectl/line_buffer.h"
#include "kestranectl/simulated_application.h"

#include <cstdint>
#include <optional>

namespace kestranectl {

class SimulationInput {
public:
    explicit SimulationInput(int descriptor)
        : descriptor_(descriptor)
    {
    }

    enum class Then : std::uint8_t { goOn, end };

    /// What is to be waited for; none once the input has ended or cannot be read, so that nobody is
    /// woken up by that again and again.
    [[nodiscard]] std::optional<int> descriptor() const { return descriptor_; }

    /// Reads what is there and has `application` do it. Lines that make no sense, and requests that
    /// fail, are answered on standard error. Yields `end` at "quit"; what follows it is dropped.
    [[nodiscard]] Then obey(SimulatedApplication& application, const Console& console);

private:
    void read();

    std::optional<int> descriptor_;
    LineBuffer lines_ {};
};

} // namespace kestranectl
