// SIGKILL at random instants of a host's life, from its start to its end-of-session steps.

#include "tests/soak/randomness.h"
#include "tests/soak/record_reader.h"
#include "tests/soak/requests.h"
#include "tests/soak/settings.h"
#include "tests/soak/watched_host.h"
#include "tests/support/host_process.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <map>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

namespace soak {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::microseconds;

const std::string token = "0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef";
const std::string session = "6F9619FF-8B86-4D01-B42D-00CF4FC964FF";

// How long the parts of a host's life take when nobody disturbs it.
struct Durations {
    microseconds start { 0 }; // to the first answer
    microseconds request { 0 };
    microseconds end { 0 };
};

enum class Part : unsigned char { start, requests, end };

microseconds since(Clock::time_point start)
{
    return std::chrono::duration_cast<microseconds>(Clock::now() - start);
}

// Sleeping takes longer than a host does for a request.
void waitBusily(microseconds duration)
{
    const auto start = Clock::now();
    while (since(start) < duration) { }
}

// A directory that is open to be counted again and again, in little more than a system call.
class WatchedDirectory {
public:
    explicit WatchedDirectory(const std::string& path)
        : stream_(::opendir(path.c_str()))
    {
        if (stream_ == nullptr)
            throw std::runtime_error("no directory " + path);
    }
    WatchedDirectory(const WatchedDirectory&) = delete;
    WatchedDirectory& operator=(const WatchedDirectory&) = delete;
    ~WatchedDirectory() { ::closedir(stream_); }

    [[nodiscard]] std::size_t temporaryNames() const
    {
        std::size_t count = 0;
        ::rewinddir(stream_);
        while (const dirent* const entry = ::readdir(stream_))
            count += std::string_view(&entry->d_name[0]).ends_with(".temporary") ? 1U : 0U;
        return count;
    }

    [[nodiscard]] int number() const { return ::dirfd(stream_); }

private:
    DIR* stream_;
};

class KillRun {
public:
    KillRun(const Settings& settings, Findings& findings)
        : settings_(settings)
        , findings_(findings)
        , random_(settings.seed)
        , directory_(settings.directory)
        , reader_({ directory_.path() + "/Inbox", directory_.path() + "/Readiness" },
              { .tokens = { token }, .sessions = { session } }, Surroundings::hostsAlone, findings)
    {
        measure();
    }

    void run()
    {
        const auto start = Clock::now();
        for (std::size_t number = 1; kills_ < settings_.amount; ++number) {
            constexpr std::size_t block = 20;
            keepStateFresh();
            killOne();
            followOn();
            if (number % block == 0)
                takeStock();
        }
        takeStock();
        print(since(start));
    }

private:
    void measure();
    void waitForTheInstant(microseconds duration);
    void keepStateFresh();
    void killOne();
    void killInRequests(WatchedHost& host, const std::vector<Message>& messages);
    void tell(WatchedHost& host, const Message& message);
    void followOn();
    void takeStock();
    static std::size_t removeLeftovers(const WatchedDirectory& directory);
    void print(microseconds duration) const;
    std::vector<Message> sessionOf(std::size_t count);

    const Settings& settings_;
    Findings& findings_;
    Random random_;
    reference::BridgeDirectory directory_;
    WatchedDirectory inbox_ { directory_.path() + "/Inbox" };
    WatchedDirectory readiness_ { directory_.path() + "/Readiness" };
    std::map<const WatchedDirectory*, std::size_t> leftoversSince_; // stock was taken
    RecordReader reader_;
    Durations durations_;
    Clock::time_point stateWritten_ = Clock::now();
    std::vector<std::string> promised_; // events that were accepted since stock was taken
    std::map<Part, std::size_t> killsIn_;
    std::size_t kills_ = 0;
    std::size_t endedBefore_ = 0;
    std::size_t promises_ = 0;
    std::size_t leftovers_ = 0;
    std::size_t followers_ = 0;
};

template <typename Measure> microseconds medianOf(const Measure& measure)
{
    std::array<microseconds, 15> durations {};
    std::ranges::generate(durations, measure);
    std::ranges::nth_element(durations, durations.begin() + durations.size() / 2);
    return durations[durations.size() / 2];
}

void KillRun::measure()
{
    durations_.start = medianOf([this] {
        const auto start = Clock::now();
        WatchedHost host(settings_.host, directory_.path());
        tell(host, ping());
        return since(start);
    });
    WatchedHost host(settings_.host, directory_.path());
    durations_.request = medianOf([this, &host] {
        const Message message = activity(random_, true);
        const auto start = Clock::now();
        tell(host, message);
        return since(start);
    });
    durations_.end = medianOf([this] {
        WatchedHost ending(settings_.host, directory_.path());
        tell(ending, ping());
        const auto start = Clock::now();
        findings_.require(ending.finish() == 0, "a host ended with a status that is not 0");
        return since(start);
    });
}

// Some time in a part of a host's life that takes so long; or, because hosts spend little of it
// there, as soon as a file is being written.
void KillRun::waitForTheInstant(microseconds duration)
{
    if (random_.withChance(60)) {
        waitBusily(random_.upTo(duration * 5 / 4));
        return;
    }
    constexpr microseconds patience { 2000 };
    const auto start = Clock::now();
    const WatchedDirectory& watched = random_.withChance(50) ? inbox_ : readiness_;
    while (watched.temporaryNames() <= leftoversSince_.at(&watched) && since(start) < patience) { }
    waitBusily(random_.upTo(microseconds { 10 }));
}

void KillRun::keepStateFresh()
{
    constexpr std::chrono::seconds interval { 2 };
    if (Clock::now() - stateWritten_ < interval)
        return;
    directory_.prepare(*reference::requestNamed("activity"));
    stateWritten_ = Clock::now();
}

std::vector<Message> KillRun::sessionOf(std::size_t count)
{
    std::vector<Message> messages;
    for (std::size_t index = 0; index < count; ++index) {
        const unsigned kind = random_.below(10U);
        if (kind < 6)
            messages.push_back(activity(random_, true));
        else if (kind < 8)
            messages.push_back(ping());
        else
            messages.push_back(pauseOrResumption(true));
    }
    return messages;
}

// Every request of these sessions is accepted.
void KillRun::tell(WatchedHost& host, const Message& message)
{
    const auto answer = host.ask(message.frame);
    if (!answer) {
        findings_.add("a host went away by itself");
        return;
    }
    const AnswerCheck check
        = checkAnswer(*answer, { .tokens = { token }, .sessions = { session } });
    findings_.addIfAny(check.wrong, *answer);
    if (!check.accepted)
        findings_.add("a request was refused: " + std::string(*answer));
    else if (!message.identifier.empty())
        promised_.push_back(message.identifier);
}

// Some answers are read; then a frame or a piece of one is under way, or several at once.
void KillRun::killInRequests(WatchedHost& host, const std::vector<Message>& messages)
{
    const std::size_t answered = random_.below(messages.size());
    for (std::size_t index = 0; index < answered; ++index)
        tell(host, messages[index]);
    std::string rest;
    for (std::size_t index = answered; index < messages.size(); ++index)
        rest += messages[index].frame;
    const std::size_t whole = messages[answered].frame.size();
    const unsigned kind = random_.below(10U);
    const std::size_t sent
        = kind < 6 ? whole : (kind < 8 ? rest.size() : random_.below(rest.size()));
    host.send(std::string_view(rest).substr(0, sent));
    const auto requests = static_cast<microseconds::rep>(kind < 6 ? 1 : messages.size() - answered);
    waitForTheInstant(durations_.request * requests);
}

void KillRun::killOne()
{
    constexpr std::size_t longest = 5;
    const std::vector<Message> messages = sessionOf(1 + random_.below(longest));
    const unsigned chance = random_.below(100U);
    const Part part = chance < 15 ? Part::start : (chance < 70 ? Part::requests : Part::end);
    for (const WatchedDirectory* const directory : { &inbox_, &readiness_ })
        leftoversSince_[directory] = directory->temporaryNames();
    WatchedHost host(settings_.host, directory_.path());
    if (part == Part::start) {
        if (random_.withChance(80))
            host.send(messages.front().frame);
        waitBusily(random_.upTo(durations_.start));
    } else if (part == Part::requests) {
        killInRequests(host, messages);
    } else {
        for (const Message& message : messages)
            tell(host, message);
        host.closeInput();
        waitForTheInstant(durations_.end);
    }
    if (host.kill()) {
        ++kills_;
        ++killsIn_[part];
    } else {
        ++endedBefore_;
    }
}

// The next host finds the directory as the last one left it, and is not disturbed.
void KillRun::followOn()
{
    WatchedHost host(settings_.host, directory_.path());
    tell(host, activity(random_, true));
    tell(host, ping());
    tell(host, pauseOrResumption(true));
    findings_.require(host.openDescriptors() == 3, "a host has other files open than its streams");
    findings_.require(host.finish() == 0, "a host ended with a status that is not 0");
    const support::Descriptor file(::open(
        (directory_.path() + "/Readiness/googleChrome.readiness").c_str(), O_RDONLY | O_CLOEXEC));
    const std::string readiness = support::readToEnd(file.number());
    const ReadinessCheck check
        = checkReadinessFile(readiness, { .tokens = { token }, .sessions = { session } });
    findings_.addIfAny(check.wrong, readiness);
    findings_.require(!check.connectionAvailable, "a host that ended is still said to be there");
    ++followers_;
}

// What was accepted must have come, from killed hosts as well; what lies about may bear temporary
// names only.
void KillRun::takeStock()
{
    reader_.catchUp();
    for (const std::string& identifier : promised_)
        findings_.require(reader_.hasSeen(identifier), "an accepted event never came");
    promises_ += promised_.size();
    promised_.clear();
    leftovers_ += removeLeftovers(inbox_) + removeLeftovers(readiness_);
}

std::size_t KillRun::removeLeftovers(const WatchedDirectory& directory)
{
    std::size_t count = 0;
    for (const std::string& name : namesIn(directory.number())) {
        if (kindOfName(name) == NameKind::temporary)
            count += ::unlinkat(directory.number(), name.c_str(), 0) == 0 ? 1U : 0U;
    }
    return count;
}

void KillRun::print(microseconds duration) const
{
    const auto in = [this](Part part) {
        const auto found = killsIn_.find(part);
        return found == killsIn_.end() ? 0 : found->second;
    };
    printRow("hosts killed", kills_);
    printRow("  between start and first answer", in(Part::start));
    printRow("  in a request or between two", in(Part::requests));
    printRow("  after the input was closed", in(Part::end));
    printRow("hosts that had ended before the signal came", endedBefore_);
    printRow("temporary files that killed hosts left", leftovers_);
    printRow("sessions that followed a kill, all answered", followers_);
    printRow("accepted events, all found whole", promises_);
    printRow("event files read", reader_.eventCount());
    printRow("readiness files read", reader_.readinessCount());
    printRow("passes of the reader", reader_.passCount());
    printRow("seconds", std::to_string(duration.count() / 1000000));
}

} // namespace

void killHosts(const Settings& settings, Findings& findings)
{
    KillRun(settings, findings).run();
}

} // namespace soak
