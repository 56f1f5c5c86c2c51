#pragma once
// Takes an input apart from the front. Past its end there are only zeros, so every input is sound.

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace fuzz {

/// The input as characters.
[[nodiscard]] std::string_view textOf(const std::uint8_t* data, std::size_t size);

class ByteSource {
public:
    explicit ByteSource(std::string_view bytes)
        : rest_(bytes)
    {
    }

    [[nodiscard]] bool isEmpty() const { return rest_.empty(); }
    [[nodiscard]] std::string_view rest() const { return rest_; }

    [[nodiscard]] std::uint8_t byte();

    /// A number from 0 to `count` - 1, of one byte.
    [[nodiscard]] std::size_t below(std::size_t count) { return byte() % count; }

    [[nodiscard]] bool flag() { return (byte() & 1U) != 0; }

    /// Two bytes, the lower one first.
    [[nodiscard]] std::uint16_t word();

    /// The next `count` bytes, or as many as there are.
    [[nodiscard]] std::string_view take(std::size_t count);

private:
    std::string_view rest_;
};

} // namespace fuzz
