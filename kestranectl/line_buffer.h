#pragma once
// Lines out of pieces of input, in bounded memory.

#include <cstddef>
#include <deque>
#include <optional>
#include <string>
#include <string_view>

namespace kestranectl {

struct InputLine {
    std::string text {}; // without its line feed; empty if it is too long
    bool isTooLong = false; // more bytes than `LineBuffer::maximumLineBytes`

    friend bool operator==(const InputLine&, const InputLine&) = default;
};

class LineBuffer {
public:
    /// Of a line, its line feed not counted.
    static constexpr std::size_t maximumLineBytes = 4096;

    void add(std::string_view bytes);

    /// What follows the last line feed is a line, too.
    void end();

    /// The next line that is complete, if there is one.
    [[nodiscard]] std::optional<InputLine> next();

private:
    void extendLine(std::string_view bytes);
    void finishLine();

    InputLine current_ {};
    std::deque<InputLine> lines_ {};
};

} // namespace kestranectl
