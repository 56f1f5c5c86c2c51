// Eight hosts on one directory, with an application and an attacker at work in it all the time.

#include "tests/soak/attack_site.h"
#include "tests/soak/randomness.h"
#include "tests/soak/record_reader.h"
#include "tests/soak/requests.h"
#include "tests/soak/settings.h"
#include "tests/soak/watched_host.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <thread>
#include <tuple>
#include <vector>

#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace soak {

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr unsigned hosts = 8;

// Memory that all processes of the attack see.
class SharedStage {
public:
    SharedStage()
        : memory_(::mmap(
              nullptr, sizeof(Stage), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))
    {
        if (memory_ == MAP_FAILED)
            throw std::bad_alloc();
        stage_ = new (memory_) Stage; // NOLINT(cppcoreguidelines-owning-memory): of the mapping
    }
    SharedStage(const SharedStage&) = delete;
    SharedStage& operator=(const SharedStage&) = delete;
    ~SharedStage() { ::munmap(memory_, sizeof(Stage)); }

    [[nodiscard]] Stage& operator*() const { return *stage_; }

private:
    void* memory_;
    Stage* stage_ = nullptr;
};

// A process that takes part, and ends with this one.
pid_t startProcess(const std::function<void()>& part)
{
    const pid_t parent = ::getpid();
    const pid_t process = ::fork();
    if (process != 0)
        return process;
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    int status = ::getppid() == parent ? 0 : 1;
    try {
        if (status == 0)
            part();
    } catch (const std::exception& error) {
        std::ignore = ::write(STDERR_FILENO, error.what(), std::strlen(error.what()));
        status = 1;
    }
    ::_exit(status);
}

// What all hosts did.
class Tally {
public:
    void answer(const AnswerCheck& check, double milliseconds)
    {
        const std::scoped_lock lock(mutex_);
        ++answers_[check.accepted ? "accepted" : check.error];
        commands_ += check.command.empty() ? 0U : 1U;
        slowest_ = std::max(slowest_, milliseconds);
    }

    void sessionEnded(std::size_t peakMemory)
    {
        const std::scoped_lock lock(mutex_);
        ++sessions_;
        peakMemory_ = std::max(peakMemory_, peakMemory);
    }

    void print() const;

    /// What must have happened if the run is to say anything.
    void requireVariety(Findings& findings) const;

private:
    mutable std::mutex mutex_;
    std::map<std::string, std::size_t> answers_;
    std::size_t commands_ = 0;
    std::size_t sessions_ = 0;
    std::size_t peakMemory_ = 0;
    double slowest_ = 0;
};

void Tally::print() const
{
    std::size_t all = 0;
    for (const auto& [text, count] : answers_)
        all += count;
    printRow("sessions", sessions_);
    printRow("answers", all);
    for (const auto& [text, count] : answers_)
        printRow("  " + text, count);
    printRow("commands that were handed on", commands_);
    printRow("slowest answer, ms", rounded(slowest_));
    printRow("peak memory of a host, kB", peakMemory_);
}

void Tally::requireVariety(Findings& findings) const
{
    const auto happened = [this](const char* answer) { return answers_.contains(answer); };
    findings.require(happened("accepted") && commands_ > 0, "nothing was ever accepted");
    findings.require(happened("Kestrane is not running.")
            && happened("No Kestrane session is currently running.")
            && happened("The reporting browser is not the frontmost application."),
        "the application's state never changed");
}

// The texts of the system's errors.
bool isSystemText(const std::string& text)
{
    constexpr int lastError = 133;
    for (int error = 1; error <= lastError; ++error) {
        if (text == std::strerror(error)) // NOLINT(concurrency-mt-unsafe): of known numbers
            return true;
    }
    return false;
}

// One host after the other until the end.
class Driver {
public:
    Driver(const Settings& settings, const AttackSite& site, unsigned number, Tally& tally,
        Findings& findings)
        : settings_(settings)
        , site_(site)
        , random_(settings.seed * 1000 + number)
        , tally_(tally)
        , findings_(findings)
    {
    }

    void drive(const Stage& stage)
    {
        try {
            while (!stage.isOver)
                driveSession(stage);
        } catch (const std::exception& error) {
            findings_.add(error.what());
        }
    }

private:
    void driveSession(const Stage& stage);
    bool makeRequest(WatchedHost& host);
    void judge(const Message& message, std::string_view payload, const AnswerCheck& answer);

    const Settings& settings_;
    const AttackSite& site_;
    Random random_;
    Tally& tally_;
    Findings& findings_;
    const Known known_ = whatTheApplicationGivesOut();
};

void Driver::driveSession(const Stage& stage)
{
    WatchedHost host(settings_.host, site_.bridge());
    const std::size_t requests = 1 + random_.below(3000U);
    if (!makeRequest(host))
        return;
    const std::size_t descriptors = host.openDescriptors();
    findings_.require(descriptors == 3, "a host has other files open than its streams");
    for (std::size_t number = 1; number < requests && !stage.isOver; ++number) {
        constexpr std::size_t interval = 100;
        if (!makeRequest(host))
            return;
        if (number % interval == 0)
            findings_.require(host.openDescriptors() == descriptors, "a host leaks descriptors");
    }
    findings_.require(host.openDescriptors() == descriptors, "a host leaks descriptors");
    const std::size_t peakMemory = host.memory("VmHWM");
    const int status = host.finish();
    if (status != 0)
        findings_.add("a host ended with status " + std::to_string(status));
    tally_.sessionEnded(peakMemory);
}

// False when the host is gone, which is wrong.
bool Driver::makeRequest(WatchedHost& host)
{
    constexpr double second = 1000; // ms
    const Message message = anyRequest(random_);
    const auto waitedBefore = host.waitingTime();
    const auto start = Clock::now();
    const auto answer = host.ask(message.frame);
    const double milliseconds = Milliseconds(Clock::now() - start).count();
    if (!answer) {
        findings_.add("a host went away by itself");
        return false;
    }
    // What it waited for a processor is not its fault.
    if (milliseconds > second
        && milliseconds - Milliseconds(host.waitingTime() - waitedBefore).count() > second)
        findings_.add("an answer took " + rounded(milliseconds) + " ms");
    const AnswerCheck check = checkAnswer(*answer, known_);
    if (check.wrong.empty()) {
        judge(message, *answer, check);
        tally_.answer(check, milliseconds);
    } else {
        findings_.addIfAny(check.wrong, *answer);
    }
    return true;
}

void Driver::judge(const Message& message, std::string_view payload, const AnswerCheck& answer)
{
    findings_.addIfAny(wrongOutcome(message, answer), payload);
    // The application allows them nowhere; the file elsewhere does.
    findings_.require(!answer.labelsEnabled, "the preferences are not the application's");
    if (message.outcome == Outcome::relayed && !answer.accepted && !isReasonOfState(answer.error)
        && !isSystemText(answer.error))
        findings_.add("an event was refused for no reason: " + answer.error);
}

class Attack {
public:
    Attack(const Settings& settings, Findings& findings)
        : settings_(settings)
        , findings_(findings)
        , site_(settings.directory)
    {
    }

    void run();

private:
    void watch();
    void endProcess(pid_t process);

    const Settings& settings_;
    Findings& findings_;
    AttackSite site_;
    SharedStage stage_;
    Tally tally_;
};

void Attack::run()
{
    const pid_t self = ::getpid();
    // Processes before threads.
    const pid_t application
        = startProcess([this, self] { beApplication(site_, *stage_, self, settings_.seed + 1); });
    const pid_t attacker = startProcess([this] { beAttacker(site_, *stage_, settings_.seed + 2); });
    {
        const RecordReader reader(
            { site_.bridge() + "/Inbox", site_.bridge() + "/Readiness", site_.landing() },
            whatTheApplicationGivesOut(), Surroundings::underAttack, findings_);
        watch();
        printRow("event files read", reader.eventCount());
        printRow("readiness files read", reader.readinessCount());
        findings_.require(
            reader.eventCount() > 0 && reader.readinessCount() > 0, "no record was ever read");
    }
    endProcess(application);
    endProcess(attacker);
    site_.inspectCanaries(findings_);
    printRow("files that the application wrote", (*stage_).writes);
    printRow("attacks", (*stage_).attacks);
    printRow("reading through a link would be seen", site_.showsReading() ? "yes" : "in answers");
    tally_.print();
    tally_.requireVariety(findings_);
}

// Lets the hosts work, with sound canaries, until the time is over.
void Attack::watch()
{
    std::vector<std::unique_ptr<Driver>> drivers;
    std::vector<std::thread> threads;
    for (unsigned number = 0; number < hosts; ++number) {
        drivers.push_back(std::make_unique<Driver>(settings_, site_, number, tally_, findings_));
        threads.emplace_back([this, driver = drivers.back().get()] { driver->drive(*stage_); });
    }
    constexpr std::chrono::milliseconds interval { 500 };
    const auto end = Clock::now() + std::chrono::seconds(settings_.amount);
    for (unsigned round = 1; Clock::now() < end; ++round) {
        constexpr unsigned roundsOfSoundState = 8;
        std::this_thread::sleep_for(interval);
        site_.inspectCanaries(findings_);
        if (round % roundsOfSoundState == 0)
            site_.renewCanaries();
    }
    (*stage_).isOver = true;
    for (std::thread& thread : threads)
        thread.join();
}

void Attack::endProcess(pid_t process)
{
    int status = -1;
    ::waitpid(process, &status, 0);
    findings_.require(status == 0, "the application or the attacker failed");
}

} // namespace

void surviveAttacks(const Settings& settings, Findings& findings)
{
    Attack(settings, findings).run();
}

} // namespace soak
