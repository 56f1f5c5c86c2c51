// Drives programs over two pipes, hot, and tells what a request costs.
//
// Usage: pump MODE [--rounds N] [--count N] [--directory PATH] [--core N] [--request NAME]...
// NAME=COMMAND...
//
//   roundtrip  time from a request's frame to its answer       spawn     time from the start to the
//   first answer commands   time per command file of another browser        inbox     time per
//   event while the inbox is full memory     peak resident memory after COUNT requests       idle
//   system calls and wake-ups in COUNT seconds
//
// The first program is compared with each of the others. A command is split at blanks.

#include "bench/modes.h"

#include <cstdlib>
#include <ctime>
#include <exception>
#include <iostream>
#include <sstream>
#include <stdexcept>

#include <sched.h>

namespace bench {

void pinTo(std::size_t core)
{
    cpu_set_t cores;
    CPU_ZERO(&cores);
    CPU_SET(core, &cores);
    if (::sched_setaffinity(0, sizeof cores, &cores) != 0)
        std::cerr << "pump: not pinned to core " << core << '\n';
}

double microseconds()
{
    timespec time {};
    ::clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_nsec) / 1e3;
}

void check(const reference::Request& request, std::string_view answer, const std::string& program)
{
    if (answer.find(request.answer) == std::string_view::npos)
        throw std::runtime_error(
            program + " answered " + std::string(request.name) + " with " + std::string(answer));
}

Quartiles ratio(const std::vector<double>& first, const std::vector<double>& second)
{
    std::vector<double> ratios;
    for (std::size_t index = 0; index < first.size(); ++index)
        ratios.push_back(first[index] / second[index]);
    return quartiles(std::move(ratios));
}

namespace {

Program parseProgram(const std::string& argument)
{
    const std::size_t equals = argument.find('=');
    if (equals == std::string::npos)
        throw std::runtime_error("not NAME=COMMAND: " + argument);
    Program program { .name = argument.substr(0, equals) };
    std::istringstream words(argument.substr(equals + 1));
    for (std::string word; words >> word;)
        program.command.push_back(word);
    if (program.command.empty())
        throw std::runtime_error("no command: " + argument);
    return program;
}

Settings parseSettings(const std::vector<std::string>& arguments)
{
    Settings settings;
    for (std::size_t index = 0; index < arguments.size(); ++index) {
        const std::string& argument = arguments[index];
        if (!argument.starts_with("--")) {
            settings.programs.push_back(parseProgram(argument));
            continue;
        }
        if (++index == arguments.size())
            throw std::runtime_error("no value for " + argument);
        const std::string& value = arguments[index];
        if (argument == "--rounds")
            settings.rounds = std::stoul(value);
        else if (argument == "--count")
            settings.count = std::stoul(value);
        else if (argument == "--directory")
            settings.directory = value;
        else if (argument == "--core")
            settings.core = std::stoul(value);
        else if (argument == "--request" && reference::requestNamed(value) != nullptr)
            settings.requests.push_back(value);
        else
            throw std::runtime_error("unknown: " + argument + ' ' + value);
    }
    if (settings.programs.empty() || settings.rounds == 0)
        throw std::runtime_error("no program or no round");
    return settings;
}

void run(const std::string& mode, const Settings& settings)
{
    if (mode == "roundtrip")
        measureRoundTrips(settings);
    else if (mode == "spawn")
        measureStart(settings);
    else if (mode == "memory")
        measureMemory(settings);
    else if (mode == "idle")
        measureIdleness(settings);
    else if (mode == "commands")
        measureCommandDirectories(settings);
    else if (mode == "inbox")
        measureInbox(settings);
    else
        throw std::runtime_error("unknown mode: " + mode);
}

} // namespace

} // namespace bench

int main(int argumentCount, char** arguments)
try {
    const std::vector<std::string> all(arguments, arguments + argumentCount);
    if (all.size() < 3)
        throw std::runtime_error("usage: pump MODE [OPTION VALUE]... NAME=COMMAND...");
    bench::run(all[1], bench::parseSettings({ all.begin() + 2, all.end() }));
    return 0;
} catch (const std::exception& failure) {
    std::cerr << "pump: " << failure.what() << '\n';
    return 1;
}
