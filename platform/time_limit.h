#pragma once
// A time limit for something that has to be begun again when it is interrupted.

#include <algorithm>
#include <chrono>

namespace platform {

class TimeLimit {
public:
    using Milliseconds = std::chrono::milliseconds;

    /// Runs from now.
    explicit TimeLimit(Milliseconds timeout)
        : end_(Clock::now() + timeout)
    {
    }

    /// What is left, rounded up so that nobody wakes up too early; zero when it is over.
    [[nodiscard]] Milliseconds remaining() const
    {
        const auto left = std::chrono::ceil<Milliseconds>(end_ - Clock::now());
        return std::max(left, Milliseconds::zero());
    }

private:
    using Clock = std::chrono::steady_clock;

    Clock::time_point end_;
};

} // namespace platform
