#pragma once
// Lines from a descriptor, each as soon as it is there.

#include <cstddef>
#include <optional>
#include <string>

namespace kestranectl {

class LineReader {
public:
    /// Of a line that is longer than `maximumBytes`, one byte more than that is kept, so that it is
    /// seen to be too long, and the rest is dropped.
    LineReader(int descriptor, std::size_t maximumBytes);

    /// The next line without its line feed; waits until it is there. The last one may lack the line
    /// feed. None at the end and after a read error.
    [[nodiscard]] std::optional<std::string> next();

private:
    // Takes what is left of a line, up to the line feed or the end of what was read.
    bool takeInto(std::string& line);

    int descriptor_;
    std::size_t maximumBytes_;
    std::string read_; // and not yet taken
};

} // namespace kestranectl
