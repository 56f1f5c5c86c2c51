#include "fuzz/support/script.h"

#include "fuzz/support/byte_source.h"

#include <algorithm>

namespace fuzz {

namespace {

constexpr std::string_view letters = "rletspckwgifax";
constexpr std::size_t longestPayload = 0xFFFF;

// Letters that mean nothing mean something all the same.
StepKind kindOf(char letter)
{
    const std::size_t found = letters.find(letter);
    const std::size_t index = found == std::string_view::npos
        ? static_cast<std::uint8_t>(letter) % letters.size()
        : found;
    return static_cast<StepKind>(letters[index]);
}

} // namespace

Script readScript(std::string_view input)
{
    Script script;
    ByteSource source(input);
    while (!source.isEmpty()) {
        const StepKind kind = kindOf(static_cast<char>(source.byte()));
        const std::size_t length = source.word();
        script.push_back({ kind, std::string(source.take(length)) });
    }
    return script;
}

std::string writeScript(const Script& script)
{
    std::string input;
    for (const Step& step : script) {
        const std::size_t length = std::min(step.payload.size(), longestPayload);
        input += static_cast<char>(step.kind);
        input += static_cast<char>(length % 256);
        input += static_cast<char>(length / 256);
        input += step.payload.substr(0, length);
    }
    return input;
}

} // namespace fuzz
