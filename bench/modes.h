#pragma once
// What the pump can measure. Every mode compares programs within one run, taking turns, and prints
// its table.

#include "bench/statistics.h"
#include "tests/system_calls/reference_session.h"

#include <cstddef>
#include <string>
#include <vector>

namespace bench {

/// A program under measurement; the first one is compared with each of the others.
struct Program {
    std::string name;
    std::vector<std::string> command;
};

struct Settings {
    std::vector<Program> programs;
    std::vector<std::string>
        requests; // names of reference requests; empty stands for those that a mode measures
    std::size_t rounds = 15;
    std::size_t count = 300; // requests in a round, or in all, as the mode has it
    std::string directory = "/dev/shm"; // where the bridge directories are made
    std::size_t core = 1; // the one that everything runs on
};

/// Lets this process and those that it starts run on one core alone.
void pinTo(std::size_t core);

/// Microseconds of a monotonic clock.
[[nodiscard]] double microseconds();

/// Ends the program if the answer is not the one that the request must get.
void check(const reference::Request& request, std::string_view answer, const std::string& program);

/// Ratios of the first series to the second, pair by pair.
[[nodiscard]] Quartiles ratio(const std::vector<double>& first, const std::vector<double>& second);

void measureRoundTrips(const Settings& settings);
void measureStart(const Settings& settings); // spawn to first answer
void measureMemory(const Settings& settings);
void measureIdleness(const Settings& settings);
void measureCommandDirectories(const Settings& settings);
void measureInbox(const Settings& settings);

} // namespace bench
