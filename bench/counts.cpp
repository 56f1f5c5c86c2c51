// Prints what can be counted and therefore repeated exactly: system calls of every kind of request,
// of start and end, and instructions from a request's frame to its answer. Ends with status 1 if
// the host exceeds a budget.
//
// Usage: counts HOST FLOOR

#include "tests/system_calls/call_trace.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <iostream>
#include <optional>
#include <string>
#include <tuple>

namespace {

using reference::Request;

constexpr std::size_t literalCallsAtEnd = 36;
constexpr long long maximumActivityInstructions = 120000;

bool budgetsAreKept = true;

std::string verdict(bool isKept)
{
    budgetsAreKept = budgetsAreKept && isKept;
    return isKept ? "" : "  EXCEEDED";
}

// Instructions of the whole process, without the kernel's.
long long instructions(const std::string& program, const Request& request, std::size_t count)
{
    reference::BridgeDirectory directory;
    const std::string output = directory.path() + "/callgrind";
    {
        reference::Connection connection(
            { "valgrind", "-q", "--tool=callgrind", "--callgrind-out-file=" + output, program },
            directory.path());
        for (std::size_t sent = 0; sent < count; ++sent) {
            directory.prepare(request);
            const auto answer = connection.ask(reference::frame(request));
            if (!answer || answer->find(request.answer) == std::string_view::npos)
                throw std::runtime_error("wrong answer to " + std::string(request.name));
        }
        // What happens at the end must be the same after few requests and after many.
        directory.prepare(request);
        std::ignore = connection.finish();
    }
    std::ifstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("totals: "))
            return std::atoll(line.c_str() + 8);
    }
    throw std::runtime_error("callgrind counted nothing");
}

// Two sessions differ by nothing but the number of their requests.
long long instructionsPerRequest(const std::string& program, const Request& request)
{
    constexpr std::size_t few = 10;
    constexpr std::size_t many = 60;
    return (instructions(program, request, many) - instructions(program, request, few))
        / static_cast<long long>(many - few);
}

void printRequest(const Request& request, const std::string& host, const std::string& floor,
    bool withInstructions)
{
    const std::size_t calls = reference::trace(host, request, 3).requests.back().size();
    const std::size_t floorCalls = reference::trace(floor, request, 3).requests.back().size();
    std::printf("%-26s %6zu %6zu %6zu%s", std::string(request.name).c_str(), calls,
        request.literalCalls, floorCalls, verdict(calls <= request.literalCalls).c_str());
    if (withInstructions) {
        const long long count = instructionsPerRequest(host, request);
        const bool isLimited = request.name == "activity";
        std::printf(" %9lld %9s%s", count, isLimited ? "120000" : "-",
            verdict(!isLimited || count < maximumActivityInstructions).c_str());
    }
    std::printf("\n");
    std::fflush(stdout);
}

} // namespace

int main(int argumentCount, char** arguments)
try {
    if (argumentCount != 3) {
        std::cerr << "Usage: counts HOST FLOOR\n";
        return 2;
    }
    const std::string host = arguments[1];
    const std::string floor = arguments[2];
    if (const std::string reason = reference::reasonNotToTrace(); !reason.empty()) {
        std::cerr << "counts: " << reason << '\n';
        return 2;
    }
    const bool withInstructions = std::system("valgrind --version >/dev/null 2>&1") == 0;
    if (!withInstructions)
        std::cerr << "counts: valgrind is not installed: instructions are left out\n";

    std::printf(
        "%-26s %6s %6s %6s %9s %9s\n", "request", "calls", "budget", "floor", "instr.", "budget");
    for (const Request& request : reference::requests())
        printRequest(request, host, floor, withInstructions);

    const Request& activity = *reference::requestNamed("activity");
    const auto trace = reference::trace(host, activity, 1);
    std::printf("%-26s %6zu %6zu%s\n", "end of session", trace.end.size(), literalCallsAtEnd,
        verdict(trace.end.size() <= literalCallsAtEnd).c_str());
    std::printf("start: %zu calls before the first read: %s\n", trace.start.size(),
        reference::summary(trace.start).c_str());
    const auto floorTrace = reference::trace(floor, activity, 1);
    std::printf("start of the floor: %zu calls: %s\n", floorTrace.start.size(),
        reference::summary(floorTrace.start).c_str());
    return budgetsAreKept ? 0 : 1;
} catch (const std::exception& failure) {
    std::cerr << "counts: " << failure.what() << '\n';
    return 2;
}
