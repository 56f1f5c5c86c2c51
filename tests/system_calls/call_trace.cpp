#include "tests/system_calls/call_trace.h"

#include <cstdlib>
#include <fstream>
#include <map>
#include <stdexcept>
#include <string_view>

namespace reference {

namespace {

// With strings shortened to nothing, strace shows the read of a frame's length so, and nothing else
// alike.
bool readsLength(std::string_view line)
{
    return line.starts_with("read(0, \"\"..., 4)") || line.starts_with("read(0, \"\", 4)");
}

bool endsInput(std::string_view line)
{
    return line.starts_with("read(0, \"\", ");
}

std::string callName(std::string_view line)
{
    return std::string(line.substr(0, line.find('(')));
}

CallTrace parsed(const std::string& path)
{
    CallTrace result;
    Calls* part = &result.start;
    std::ifstream lines(path);
    for (std::string line; std::getline(lines, line);) {
        // Signals and the end of the process are no calls.
        if (line.starts_with("---") || line.starts_with("+++") || line.starts_with("exit_group("))
            continue;
        if (endsInput(line)) {
            part = &result.end;
            continue;
        }
        if (readsLength(line))
            part = &result.requests.emplace_back();
        part->push_back(callName(line));
    }
    return result;
}

} // namespace

std::string reasonNotToTrace()
{
    if (std::system("strace -V >/dev/null 2>&1") != 0)
        return "strace is not installed";
    if (std::system("strace -qq -o /dev/null true >/dev/null 2>&1") != 0)
        return "strace may not trace processes here";
    return {};
}

CallTrace trace(const std::string& program, const Request& request, std::size_t count)
{
    BridgeDirectory directory;
    const std::string output = directory.path() + "/trace";
    {
        Connection connection(
            { "strace", "-qq", "-s", "0", "-e", "signal=none", "-o", output, program },
            directory.path());
        for (std::size_t sent = 0; sent < count; ++sent) {
            directory.prepare(request);
            const auto answer = connection.ask(frame(request));
            if (!answer || answer->find(request.answer) == std::string_view::npos)
                throw std::runtime_error("wrong answer to " + std::string(request.name) + ": "
                    + std::string(answer.value_or("none")));
        }
        directory.prepare(request);
        if (const int status = connection.finish(); status != 0)
            throw std::runtime_error("the program ended with status " + std::to_string(status));
    }
    return parsed(output);
}

std::string summary(const Calls& calls)
{
    std::map<std::string, int> counts;
    for (const std::string& call : calls)
        ++counts[call];
    std::string text;
    for (const auto& [name, count] : counts)
        text += (text.empty() ? "" : ", ") + name + ' ' + std::to_string(count);
    return text;
}

} // namespace reference
