// kestrane_soak kill|hostile|requests AMOUNT HOST DIRECTORY [SEED]: one of the long runs, on a
// bridge directory made in DIRECTORY. The status is 0 if nothing went wrong.

#include "tests/soak/settings.h"

#include <charconv>
#include <csignal>
#include <exception>
#include <iostream>
#include <limits>
#include <random>
#include <span>
#include <string_view>
#include <tuple>

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using Run = void (*)(const soak::Settings&, soak::Findings&);

Run runNamed(std::string_view name)
{
    if (name == "kill")
        return soak::killHosts;
    if (name == "hostile")
        return soak::surviveAttacks;
    return name == "requests" ? soak::makeManyRequests : nullptr;
}

template <typename Number> bool readNumber(std::string_view text, Number& number)
{
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size();
}

// Hosts write nothing to standard error; whatever comes is kept for the end.
int keepStandardError()
{
    const int file = ::memfd_create("standard error", MFD_CLOEXEC);
    ::dup2(file, STDERR_FILENO);
    return file;
}

void reportStandardError(int file, soak::Findings& findings)
{
    std::string text(500, '\0');
    const ssize_t count = ::pread(file, text.data(), text.size(), 0);
    if (count > 0)
        findings.add("standard error: " + text.substr(0, static_cast<std::size_t>(count)));
}

int run(Run run, const soak::Settings& settings)
{
    std::signal(SIGPIPE, SIG_IGN);
    ::umask(022);
    // Hosts would inherit what this process was started with.
    ::close_range(STDERR_FILENO + 1, std::numeric_limits<unsigned>::max(), 0);
    const int standardError = keepStandardError();
    soak::Findings findings;
    soak::printRow("seed", std::to_string(settings.seed));
    try {
        run(settings, findings);
    } catch (const std::exception& error) {
        findings.add(error.what());
    }
    reportStandardError(standardError, findings);
    findings.print();
    soak::printRow("violations", findings.count());
    return findings.count() == 0 ? 0 : 1;
}

} // namespace

int main(int count, char** arguments)
{
    const std::span all(arguments, static_cast<std::size_t>(count));
    soak::Settings settings { .seed = std::random_device()() };
    const Run chosen = all.size() < 2 ? nullptr : runNamed(all[1]);
    if (chosen == nullptr || all.size() < 5 || all.size() > 6
        || !readNumber(all[2], settings.amount)
        || (all.size() == 6 && !readNumber(all[5], settings.seed))) {
        std::cerr << "Usage: kestrane_soak kill|hostile|requests AMOUNT HOST DIRECTORY [SEED]\n";
        return 2;
    }
    settings.host = all[3];
    settings.directory = all[4];
    return run(chosen, settings);
}
