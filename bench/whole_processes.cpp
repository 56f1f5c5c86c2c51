// What a process costs: its start, its memory, its rest.

#include "bench/modes.h"
#include "tests/system_calls/call_trace.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <thread>
#include <tuple>

#include <sys/resource.h>
#include <sys/wait.h>

namespace bench {

namespace {

std::string statusOf(pid_t process, std::string_view key)
{
    std::ifstream lines("/proc/" + std::to_string(process) + "/status");
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(key))
            return line.substr(key.size());
    }
    throw std::runtime_error("no such process any more");
}

long kilobytesAtPeak(pid_t process)
{
    return std::stol(statusOf(process, "VmHWM:"));
}

struct Start {
    double time = 0; // from spawn to the first answer, in microseconds
    double pageFaults = 0; // until the end, all of them without reading from a disk
};

Start startOnce(const Program& program, const reference::Request& request,
    reference::BridgeDirectory& directory, bool isEcho)
{
    directory.prepare(request);
    const std::string frame = reference::frame(request);
    rusage before {};
    ::getrusage(RUSAGE_CHILDREN, &before);
    Start result;
    {
        const double start = microseconds();
        reference::Connection connection(program.command, directory.path());
        const auto answer = connection.ask(frame);
        result.time = microseconds() - start;
        if (!answer)
            throw std::runtime_error(program.name + " gave no answer");
        if (!isEcho)
            check(request, *answer, program.name);
    }
    rusage after {};
    ::getrusage(RUSAGE_CHILDREN, &after);
    result.pageFaults = static_cast<double>(after.ru_minflt - before.ru_minflt);
    return result;
}

// Waits in pieces, so that what the application does all the time can go on.
void wait(std::size_t seconds)
{
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
}

} // namespace

// A program with "echo" in its name sends the request back instead of an answer.
void measureStart(const Settings& settings)
{
    pinTo(settings.core);
    std::vector<std::string> names = settings.requests;
    if (names.empty())
        names = { "ping", "resume", "malformed" };
    reference::BridgeDirectory directory(settings.directory);
    for (const std::string& name : names) {
        const reference::Request& request = *reference::requestNamed(name);
        std::vector<std::vector<double>> times(settings.programs.size());
        std::vector<std::vector<double>> faults(settings.programs.size());
        for (std::size_t round = 0; round < settings.count; ++round) {
            for (std::size_t turn = 0; turn < settings.programs.size(); ++turn) {
                const std::size_t index = (turn + round) % settings.programs.size();
                const Program& program = settings.programs[index];
                const bool isEcho = program.name.find("echo") != std::string::npos;
                const Start start = startOnce(program, request, directory, isEcho);
                times[index].push_back(start.time);
                faults[index].push_back(start.pageFaults);
            }
            std::ignore = directory.consumeInbox();
        }
        std::printf("first answer, %-12s", name.c_str());
        for (std::size_t index = 0; index < times.size(); ++index)
            std::printf("  %s %.0f us (%.0f faults)", settings.programs[index].name.c_str(),
                median(times[index]), median(faults[index]));
        for (std::size_t index = 1; index < times.size(); ++index) {
            const Quartiles quotient = ratio(times[0], times[index]);
            std::printf("  /%s %.3f (%.3f-%.3f)", settings.programs[index].name.c_str(),
                quotient.median, quotient.lower, quotient.upper);
        }
        std::printf("\n");
        std::fflush(stdout);
    }
}

void measureMemory(const Settings& settings)
{
    const std::array names { "activity", "ping", "pause", "refused-event", "malformed",
        "activity-20-commands" };
    for (const Program& program : settings.programs) {
        reference::BridgeDirectory directory(settings.directory);
        reference::Connection connection(program.command, directory.path());
        std::size_t sent = 0;
        long early = 0;
        while (sent < settings.count) {
            for (const char* const name : names) {
                const reference::Request& request = *reference::requestNamed(name);
                directory.prepare(request);
                const std::string frame = reference::frame(request);
                for (std::size_t index = 0; index < 200; ++index, ++sent)
                    check(request, connection.ask(frame).value_or("nothing"), program.name);
                std::ignore = directory.consumeInbox();
            }
            if (early == 0)
                early = kilobytesAtPeak(connection.processIdentifier());
        }
        std::printf(
            "%s: peak resident memory %ld kB after the first %zu requests, %ld kB after %zu\n",
            program.name.c_str(), early, names.size() * 200,
            kilobytesAtPeak(connection.processIdentifier()), sent);
        std::fflush(stdout);
    }
}

void measureIdleness(const Settings& settings)
{
    const reference::Request& request = *reference::requestNamed("activity");
    for (const Program& program : settings.programs) {
        reference::BridgeDirectory directory(settings.directory);
        directory.prepare(request);
        reference::Connection connection(program.command, directory.path());
        check(request, connection.ask(reference::frame(request)).value_or("nothing"), program.name);
        const std::string trace = directory.path() + "/trace";
        reference::Connection watched(
            { "strace", "-qq", "-o", trace, program.command.front() }, directory.path());
        check(request, watched.ask(reference::frame(request)).value_or("nothing"), program.name);

        constexpr std::size_t settlingSeconds = 1;
        wait(settlingSeconds);
        const auto lines = [&trace] {
            std::ifstream file(trace);
            std::size_t count = 0;
            for (std::string line; std::getline(file, line);)
                ++count;
            return count;
        };
        const std::size_t callsBefore = lines();
        const long wakeUpsBefore
            = std::stol(statusOf(connection.processIdentifier(), "voluntary_ctxt_switches:"));
        wait(settings.count);
        const long wakeUps
            = std::stol(statusOf(connection.processIdentifier(), "voluntary_ctxt_switches:"))
            - wakeUpsBefore;
        std::printf("%s: in %zu idle seconds %zu system calls, %ld wake-ups\n",
            program.name.c_str(), settings.count, lines() - callsBefore, wakeUps);
    }
}

} // namespace bench
