#include "kestranectl/simulation_input.h"

#include "platform/descriptor_io.h"

#include <array>
#include <string>
#include <variant>

namespace kestranectl {

namespace {

std::string helpFor(const InputLine& line)
{
    const std::string what = line.isTooLong
        ? "A line of more than " + std::to_string(LineBuffer::maximumLineBytes) + " bytes"
        : '"' + printable(line.text) + '"';
    return what + " makes no sense here. These do: " + std::string(simulationRequests) + ".\n";
}

bool isBlank(const InputLine& line)
{
    return !line.isTooLong && line.text.find_first_not_of(" \t\r") == std::string::npos;
}

} // namespace

void SimulationInput::read()
{
    constexpr std::size_t pieceSize = 4096;
    std::array<char, pieceSize> piece {};
    const auto count = platform::readSome(descriptor_.value_or(-1), piece);
    if (count && *count > 0) {
        lines_.add(std::string_view(piece.data(), *count));
        return;
    }
    lines_.end();
    descriptor_.reset();
}

SimulationInput::Then SimulationInput::obey(
    SimulatedApplication& application, const Console& console)
{
    read();
    while (const auto line = lines_.next()) {
        if (isBlank(*line))
            continue;
        const auto request = parseSimulationRequest(line->text);
        if (!request) {
            console.error(helpFor(*line));
            continue;
        }
        if (std::holds_alternative<Quit>(*request))
            return Then::end;
        if (const auto done = application.obey(*request); !done)
            console.error(printable(done.error()) + '\n');
    }
    return Then::goOn;
}

} // namespace kestranectl
