// What a request costs: frame to answer, over pipes, reader and writer taking turns on one core.

#include "bench/modes.h"

#include <cstdio>
#include <memory>
#include <stdexcept>
#include <tuple>

#include <unistd.h>

namespace bench {

namespace {

// One program at work, with a bridge directory of its own.
class Candidate {
public:
    Candidate(const Program& program, const std::string& parent)
        : program_(program)
        , directory_(parent)
        , connection_(program.command, directory_.path())
    {
    }

    [[nodiscard]] reference::BridgeDirectory& directory() { return directory_; }

    // The time that the median request of a round takes, in microseconds. Application, commands and
    // inbox are seen to outside of the measured part.
    double round(const reference::Request& request, std::size_t count)
    {
        directory_.prepare(request);
        const std::string frame = reference::frame(request);
        std::vector<double> times;
        times.reserve(count);
        for (std::size_t index = 0; index < count; ++index) {
            const double start = microseconds();
            const auto answer = connection_.ask(frame);
            times.push_back(microseconds() - start);
            if (!answer)
                throw std::runtime_error(program_.name + " is gone");
            check(request, *answer, program_.name);
        }
        return median(std::move(times));
    }

    void warmUp(const reference::Request& request)
    {
        constexpr std::size_t enough = 50;
        std::ignore = round(request, enough);
        checkEvents(request, enough);
    }

    // Whether as many events were left as were accepted tells whether the work was done at all.
    void checkEvents(const reference::Request& request, std::size_t count, std::size_t already = 0)
    {
        const bool leavesEvents = request.name.starts_with("activity") || request.name == "pause";
        const std::size_t expected = already + (leavesEvents ? count : 0);
        if (const std::size_t events = directory_.consumeInbox(); events != expected)
            throw std::runtime_error(program_.name + " left " + std::to_string(events)
                + " events, not " + std::to_string(expected) + ", for "
                + std::string(request.name));
    }

private:
    const Program& program_;
    reference::BridgeDirectory directory_;
    reference::Connection connection_;
};

using Candidates = std::vector<std::unique_ptr<Candidate>>;

Candidates startAll(const Settings& settings)
{
    Candidates candidates;
    for (const Program& program : settings.programs)
        candidates.push_back(std::make_unique<Candidate>(program, settings.directory));
    return candidates;
}

// One series of medians for each program; who goes first changes from round to round. Where a
// process lies in memory makes it a little faster or slower for all its life, so every few rounds
// are made with new ones.
using Series = std::vector<std::vector<double>>;

Series takeTurns(const Settings& settings, const reference::Request& request)
{
    constexpr std::size_t roundsOfAProcess = 4;
    Series series(settings.programs.size());
    Candidates candidates;
    for (std::size_t round = 0; round < settings.rounds; ++round) {
        const bool isNew = round % roundsOfAProcess == 0;
        if (isNew)
            candidates = startAll(settings);
        for (std::size_t turn = 0; turn < candidates.size(); ++turn) {
            const std::size_t index = (turn + round) % candidates.size();
            Candidate& candidate = *candidates[index];
            if (isNew)
                candidate.warmUp(request);
            series[index].push_back(candidate.round(request, settings.count));
            candidate.checkEvents(request, settings.count);
        }
    }
    return series;
}

void printSeries(const Settings& settings, const std::string& label, const Series& series)
{
    std::printf("%-26s", label.c_str());
    for (std::size_t index = 0; index < series.size(); ++index)
        std::printf("  %s %7.1f us", settings.programs[index].name.c_str(), median(series[index]));
    for (std::size_t index = 1; index < series.size(); ++index) {
        const Quartiles quotient = ratio(series[0], series[index]);
        std::printf("  /%s %.3f (%.3f-%.3f)", settings.programs[index].name.c_str(),
            quotient.median, quotient.lower, quotient.upper);
    }
    std::printf("\n");
    std::fflush(stdout);
}

const reference::Request& named(const std::string& name)
{
    const reference::Request* const request = reference::requestNamed(name);
    if (request == nullptr)
        throw std::runtime_error("no such request: " + name);
    return *request;
}

} // namespace

void measureRoundTrips(const Settings& settings)
{
    pinTo(settings.core);
    std::vector<std::string> names = settings.requests;
    if (names.empty())
        names = { "activity", "activity-without-version", "activity-20-commands", "ping", "pause",
            "resume", "refused-event", "not-frontmost", "malformed" };
    for (const std::string& name : names)
        printSeries(settings, name, takeTurns(settings, named(name)));
}

void measureCommandDirectories(const Settings& settings)
{
    pinTo(settings.core);
    const reference::Request request = named("resume");
    const Series empty = takeTurns(settings, request);
    for (const std::size_t files : { 10U, 100U, 1000U, 10000U }) {
        Settings some = settings;
        some.count = std::max<std::size_t>(3, settings.count / files);
        some.rounds = std::min<std::size_t>(settings.rounds, 9);
        reference::Request crowded = request;
        crowded.foreignCommands = files;
        const Series series = takeTurns(some, crowded);
        std::printf("%5zu files: per file", files);
        for (std::size_t index = 0; index < series.size(); ++index) {
            const double surplus = median(series[index]) - median(empty[index]);
            std::printf("  %s %6.3f us", settings.programs[index].name.c_str(),
                surplus / static_cast<double>(files));
        }
        std::printf("\n");
        printSeries(settings, "", series);
    }
}

void measureInbox(const Settings& settings)
{
    pinTo(settings.core);
    const reference::Request request = named("activity");
    const Program& program = settings.programs.front();
    Candidate empty(program, settings.directory);
    Candidate full(program, settings.directory);
    // Names of one file are as good as files: the directory is what grows.
    constexpr std::size_t files = 1000000;
    const std::string inbox = full.directory().path() + "/Inbox/";
    const std::string first = full.directory().path() + "/event";
    if (::link((full.directory().path() + "/bridge-token").c_str(), first.c_str()) != 0)
        throw std::runtime_error("no link in " + settings.directory);
    for (std::size_t index = 0; index < files; ++index) {
        if (::link(first.c_str(), (inbox + std::to_string(index) + ".event").c_str()) != 0)
            throw std::runtime_error("no link in " + settings.directory);
    }
    Series series(2);
    for (std::size_t round = 0; round < settings.rounds; ++round) {
        series[0].push_back(full.round(request, settings.count));
        series[1].push_back(empty.round(request, settings.count));
    }
    const Quartiles quotient = ratio(series[0], series[1]);
    std::printf("inbox of %zu files: %.1f us, empty: %.1f us, ratio %.3f (%.3f-%.3f)\n", files,
        median(series[0]), median(series[1]), quotient.median, quotient.lower, quotient.upper);
    full.checkEvents(request, settings.rounds * settings.count, files);
    empty.checkEvents(request, settings.rounds * settings.count);
}

} // namespace bench
