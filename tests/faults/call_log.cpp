#include "tests/faults/call_log.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <utility>

namespace faults {

namespace {

using Lines = std::vector<std::pair<std::string, std::string>>; // process and call

// Takes the process identifier off the line that begins with one.
std::string takeProcess(std::string& line)
{
    const std::size_t end = line.find_first_not_of("0123456789");
    if (end == 0 || end == std::string::npos || line[end] != ' ')
        return {};
    std::string process = line.substr(0, end);
    line.erase(0, line.find_first_not_of(' ', end));
    return process;
}

// Calls that another process's line interrupted are put together again.
Lines readLines(const std::string& path)
{
    constexpr std::string_view unfinished = " <unfinished ...>";
    constexpr std::string_view resumed = " resumed>";
    Lines lines;
    std::map<std::string, std::string> begun;
    std::ifstream stream(path);
    for (std::string line; std::getline(stream, line);) {
        std::string process = takeProcess(line);
        if (line.ends_with(unfinished)) {
            begun[process] = line.substr(0, line.size() - unfinished.size());
            continue;
        }
        if (line.starts_with("<... "))
            line = begun.extract(process).mapped()
                + line.substr(line.find(resumed) + resumed.size());
        // Signals and the ends of processes are no calls.
        if (!line.starts_with("---") && !line.starts_with("+++"))
            lines.emplace_back(std::move(process), std::move(line));
    }
    // A process that is no longer watched never comes back.
    lines.insert(lines.end(), begun.begin(), begun.end());
    return lines;
}

Call parsed(const std::string& process, const std::string& line)
{
    Call call { .process = process };
    const std::size_t opening = line.find('(');
    const std::size_t equals = line.rfind(" = ");
    call.name = line.substr(0, opening);
    const std::size_t closing = line.rfind(')', equals);
    if (opening < closing && closing != std::string::npos)
        call.arguments = line.substr(opening + 1, closing - opening - 1);
    call.injected = line.ends_with("(INJECTED)");
    if (equals == std::string::npos)
        return call;
    call.result = std::strtol(line.c_str() + equals + 3, nullptr, 10);
    if (const std::size_t error = line.find("= -1 E", equals); error != std::string::npos) {
        const std::size_t start = error + 5;
        call.error = line.substr(start, line.find(' ', start) - start);
    }
    return call;
}

// The `index`th text in quotation marks.
std::string quotedText(std::string_view arguments)
{
    const std::size_t start = arguments.find('"');
    if (start == std::string_view::npos)
        return {};
    const std::size_t end = arguments.find('"', start + 1);
    return std::string(arguments.substr(start + 1, end - start - 1));
}

bool takesDescriptor(const Call& call)
{
    constexpr std::array<std::string_view, 7> names { "read", "write", "close", "fstat", "fchmod",
        "getdents64", "fcntl" };
    return std::ranges::find(names, call.name) != names.end()
        || (call.name == "newfstatat" && call.arguments.find("\"\"") != std::string::npos);
}

bool startsWithDescriptor(const Call& call, int number)
{
    return call.arguments.starts_with(std::to_string(number) + ',');
}

bool readsFrameLength(const Call& call)
{
    return call.name == "read" && startsWithDescriptor(call, 0) && call.arguments.ends_with(", 4");
}

// Fresh names are shortened, so that two sessions can be compared.
std::string itemFromPath(std::string path, const std::string& root)
{
    const std::string above = root.substr(0, root.rfind('/') + 1);
    if (path.starts_with(root + '/'))
        path.erase(0, root.size() + 1);
    else if (path.starts_with(above))
        path.erase(0, above.size());
    for (const std::string_view directory : { "Inbox/", "Readiness/" }) {
        if (path.starts_with(directory))
            return std::string(directory) + '*';
    }
    return path;
}

// Says of each call what it is about and what piece of work it belongs to.
class Placing {
public:
    explicit Placing(const std::string& root)
        : root_(root)
    {
    }

    void place(Call& call)
    {
        if (readsFrameLength(call) && phase_ != Phase::end) {
            phase_ = static_cast<Phase>(static_cast<int>(phase_) + 1);
            occurrences_.clear();
        }
        call.phase = phase_;
        call.item = itemOf(call);
        call.subject = subjectOf(call);
    }

private:
    std::string itemOf(const Call& call)
    {
        if (call.arguments.empty())
            return {};
        if (takesDescriptor(call)) {
            const int number = std::atoi(call.arguments.c_str());
            if (number == 0 && call.name == "read")
                return "input";
            if (number == 1 && call.name == "write")
                return "output";
            const std::string item = files_[number];
            if (call.name == "fcntl" && call.result > 0)
                files_[static_cast<int>(call.result)] = item;
            return item;
        }
        std::string item = itemFromPath(quotedText(call.arguments), root_);
        // A name in a directory that is open.
        if (std::isdigit(call.arguments.front()) != 0 && !item.empty())
            item = files_[std::atoi(call.arguments.c_str())] + '/' + item;
        if (call.name == "openat" && call.result >= 0)
            files_[static_cast<int>(call.result)] = item;
        return item;
    }

    std::string subjectOf(const Call& call)
    {
        constexpr std::array<std::pair<std::string_view, std::string_view>, 3> files { {
            { "state.json", "state" },
            { "bridge-token", "token" },
            { "preferences.json", "preferences" },
        } };
        for (const auto& [name, subject] : files) {
            if (call.item != name)
                continue;
            // Opening again what could not be opened for a signal is the same piece of work.
            if (call.name == "openat" && !std::exchange(isInterrupted_, call.error == "EINTR"))
                ++occurrences_[subject];
            return current(subject);
        }
        if (call.name == "kill")
            return current("state");
        if (call.item.find(".desktop") != std::string::npos || call.name == "clone"
            || call.name == "wait4")
            return "launch";
        for (const std::string_view directory : { "Inbox", "Readiness" }) {
            if (call.item.starts_with(directory))
                return std::string(directory);
        }
        return call.item;
    }

    std::string current(std::string_view subject)
    {
        return std::string(subject) + ' ' + std::to_string(occurrences_[subject]);
    }

    const std::string& root_;
    Phase phase_ = Phase::start;
    bool isInterrupted_ = false;
    std::map<std::string_view, int> occurrences_;
    std::map<int, std::string> files_;
};

// Randomness is for the record that is written next.
void placeRandomness(Calls& calls)
{
    std::string next;
    for (auto call = calls.rbegin(); call != calls.rend(); ++call) {
        if (call->subject == "Inbox" || call->subject == "Readiness")
            next = call->subject;
        if (call->name == "getrandom")
            call->subject = next;
    }
}

// Whatever the loader does comes before it gives back the last of what it took.
void removeLoader(Calls& calls)
{
    const auto firstRead = std::ranges::find_if(calls, readsFrameLength);
    const auto lastOfLoader = std::find_if(std::make_reverse_iterator(firstRead), calls.rend(),
        [](const Call& call) { return call.name == "munmap" || call.name == "execve"; });
    calls.erase(calls.begin(), lastOfLoader.base());
}

} // namespace

std::string Call::kind() const
{
    if (name == "openat" && arguments.find("O_CREAT") != std::string::npos)
        return name + " O_CREAT";
    if (item == "input" || item == "output")
        return name + ' ' + arguments.substr(0, 1);
    if (name == "newfstatat" && !takesDescriptor(*this))
        return name + " path";
    return name;
}

Calls readCalls(const std::string& path, const std::string& root)
{
    Calls calls;
    std::map<std::pair<std::string, std::string>, std::size_t> counts;
    for (const auto& [process, line] : readLines(path)) {
        Call call = parsed(process, line);
        call.ordinal = ++counts[{ process, call.name }];
        if (call.name != "exit_group")
            calls.push_back(std::move(call));
    }
    removeLoader(calls);
    if (calls.empty())
        return calls;
    Placing placing(root);
    const std::string host = calls.front().process;
    for (Call& call : calls) {
        if (call.process == host)
            placing.place(call);
    }
    placeRandomness(calls);
    return calls;
}

std::vector<std::string> leakedFiles(const Calls& calls)
{
    std::map<long, std::string> open;
    std::vector<std::string> leaked;
    const auto collect = [&] {
        for (const auto& [number, item] : open)
            leaked.push_back(item.empty() ? "unnamed" : item);
        open.clear();
    };
    for (const Call& call : calls) {
        if (call.process != calls.front().process)
            continue;
        if (call.name == "openat" && call.result >= 0)
            open[call.result] = call.item;
        if (call.name == "fcntl" && call.result > 0)
            open[call.result] = call.item;
        if (call.name == "close")
            open.erase(std::strtol(call.arguments.c_str(), nullptr, 10));
        if (readsFrameLength(call))
            collect();
    }
    collect();
    return leaked;
}

} // namespace faults
