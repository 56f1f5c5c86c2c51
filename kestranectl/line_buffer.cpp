#include "kestranectl/line_buffer.h"

#include <utility>

namespace kestranectl {

void LineBuffer::add(std::string_view bytes)
{
    while (!bytes.empty()) {
        const std::size_t lineFeed = bytes.find('\n');
        extendLine(bytes.substr(0, lineFeed));
        if (lineFeed == std::string_view::npos)
            return;
        finishLine();
        bytes.remove_prefix(lineFeed + 1);
    }
}

void LineBuffer::end()
{
    if (current_ != InputLine {})
        finishLine();
}

std::optional<InputLine> LineBuffer::next()
{
    if (lines_.empty())
        return std::nullopt;
    InputLine line = std::move(lines_.front());
    lines_.pop_front();
    return line;
}

void LineBuffer::extendLine(std::string_view bytes)
{
    if (current_.isTooLong)
        return;
    if (bytes.size() > maximumLineBytes - current_.text.size())
        current_ = { .isTooLong = true };
    else
        current_.text += bytes;
}

void LineBuffer::finishLine()
{
    lines_.push_back(std::exchange(current_, {}));
}

} // namespace kestranectl
