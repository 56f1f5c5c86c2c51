#pragma once
// Random choices that a seed repeats.

#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <random>
#include <string>

namespace soak {

class Random {
public:
    explicit Random(std::uint64_t seed)
        : engine_(seed)
    {
    }

    /// 0 to `limit` - 1.
    template <typename Number> [[nodiscard]] Number below(Number limit)
    {
        return static_cast<Number>(engine_() % static_cast<std::uint64_t>(limit));
    }

    [[nodiscard]] bool withChance(unsigned percent) { return below(100U) < percent; }

    template <typename Choices> [[nodiscard]] const auto& oneOf(const Choices& choices)
    {
        return choices[below(choices.size())];
    }

    [[nodiscard]] std::chrono::microseconds upTo(std::chrono::microseconds limit)
    {
        return std::chrono::microseconds(below(limit.count() + 1));
    }

    [[nodiscard]] std::string uuid()
    {
        std::array<char, 40> text {};
        static_cast<void>(std::snprintf(text.data(), text.size(), "%08X-%04X-4%03X-A%03X-%08X%04X",
            below(0xFFFFFFFFU), below(0xFFFFU), below(0xFFFU), below(0xFFFU), below(0xFFFFFFFFU),
            below(0xFFFFU)));
        return text.data();
    }

private:
    std::mt19937_64 engine_;
};

} // namespace soak
