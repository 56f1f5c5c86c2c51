#include "kestranectl/line_reader.h"

#include "platform/descriptor_io.h"

#include <algorithm>
#include <array>

namespace kestranectl {

LineReader::LineReader(int descriptor, std::size_t maximumBytes)
    : descriptor_(descriptor)
    , maximumBytes_(maximumBytes)
{
}

std::optional<std::string> LineReader::next()
{
    std::string line;
    bool isBegun = !read_.empty();
    while (!takeInto(line)) {
        std::array<char, 4096> piece {};
        const auto count = platform::readSome(descriptor_, piece);
        if (!count || *count == 0)
            return isBegun ? std::optional(line) : std::nullopt;
        isBegun = true;
        read_.assign(piece.data(), *count);
    }
    return line;
}

bool LineReader::takeInto(std::string& line)
{
    const std::size_t size = std::min(read_.find('\n'), read_.size());
    line.append(read_, 0, std::min(size, maximumBytes_ + 1 - line.size()));
    const bool isWhole = size < read_.size();
    read_.erase(0, isWhole ? size + 1 : size);
    return isWhole;
}

} // namespace kestranectl
