#pragma once
// Middle values: machines are noisy, and means believe everything.

#include <algorithm>
#include <cstddef>
#include <vector>

namespace bench {

struct Quartiles {
    double lower = 0;
    double median = 0;
    double upper = 0;
};

/// `values` must not be empty.
[[nodiscard]] inline Quartiles quartiles(std::vector<double> values)
{
    std::ranges::sort(values);
    const auto at = [&values](double share) {
        const double position = share * static_cast<double>(values.size() - 1);
        const auto index = static_cast<std::size_t>(position);
        const std::size_t next = std::min(index + 1, values.size() - 1);
        return values[index]
            + (position - static_cast<double>(index)) * (values[next] - values[index]);
    };
    return { .lower = at(0.25), .median = at(0.5), .upper = at(0.75) };
}

[[nodiscard]] inline double median(std::vector<double> values)
{
    return quartiles(std::move(values)).median;
}

} // namespace bench
