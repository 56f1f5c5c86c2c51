#include "kestranectl/simulation_request.h"

#include "base/unicode_text.h"

#include <vector>

namespace kestranectl {

namespace {

std::vector<std::string_view> wordsOf(std::string_view line)
{
    constexpr std::string_view blanks = " \t\r";
    std::vector<std::string_view> words;
    for (;;) {
        const std::size_t start = line.find_first_not_of(blanks);
        if (start == std::string_view::npos)
            return words;
        line.remove_prefix(start);
        const std::string_view word = line.substr(0, line.find_first_of(blanks));
        words.push_back(word);
        line.remove_prefix(word.size());
    }
}

template <typename Request> std::optional<SimulationRequest> switchRequest(std::string_view word)
{
    if (word == "on")
        return Request { true };
    if (word == "off")
        return Request { false };
    return std::nullopt;
}

std::optional<SimulationRequest> frontRequest(std::string_view word)
{
    if (word == "none")
        return SetFrontmostBrowser {};
    if (!isUsableIdentifier(word))
        return std::nullopt;
    return SetFrontmostBrowser { std::string(word) };
}

std::optional<SimulationRequest> pdfRequest(std::string_view word)
{
    const auto identifier = base::parseUUID(word);
    if (!identifier)
        return std::nullopt;
    return ShowPDF { *identifier };
}

} // namespace

std::optional<SimulationRequest> parseSimulationRequest(std::string_view line)
{
    const auto words = wordsOf(line);
    if (words.size() == 1 && words[0] == "quit")
        return Quit {};
    if (words.size() != 2)
        return std::nullopt;
    if (words[0] == "session")
        return switchRequest<SetSession>(words[1]);
    if (words[0] == "pause")
        return switchRequest<SetPause>(words[1]);
    if (words[0] == "front")
        return frontRequest(words[1]);
    if (words[0] == "labels")
        return switchRequest<SetLabels>(words[1]);
    if (words[0] == "show-pdf")
        return pdfRequest(words[1]);
    if (words[0] == "set-labels")
        return switchRequest<SendLabels>(words[1]);
    return std::nullopt;
}

bool isUsableIdentifier(std::string_view text)
{
    constexpr std::size_t maximumBytes = 255;
    return !text.empty() && text.size() <= maximumBytes
        && base::allScalars(
            text, [](char32_t scalar) { return !base::isControlCharacter(scalar); });
}

} // namespace kestranectl
