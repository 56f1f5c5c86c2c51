// A long session, and what the host takes of the machine in each tenth of it.

#include "tests/soak/randomness.h"
#include "tests/soak/requests.h"
#include "tests/soak/settings.h"
#include "tests/soak/watched_host.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <iostream>
#include <vector>

namespace soak {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t tenths = 10;

// What one tenth of the requests took.
struct Tenth {
    std::size_t residentMemory = 0; // kB, at its end
    std::size_t peakMemory = 0; // kB, since the start
    std::size_t descriptors = 0;
    double microseconds = 0; // of the median request
};

class LongSession {
public:
    LongSession(const Settings& settings, Findings& findings)
        : settings_(settings)
        , findings_(findings)
        , random_(settings.seed)
        , directory_(settings.directory)
        , host_(settings.host, directory_.path())
    {
    }

    void run()
    {
        visitEveryState();
        std::cout << "tenth  VmRSS kB  VmHWM kB  descriptors  median us\n";
        for (std::size_t number = 0; number < tenths; ++number) {
            tenths_[number] = makeTenth();
            print(number);
        }
        findings_.require(host_.finish() == 0, "the host ended with a status that is not 0");
        judge();
    }

private:
    void visitEveryState();
    Tenth makeTenth();
    // How long the answer took.
    double makeRequest();
    void check(const Message& message, std::string_view answer);
    void tidy();
    void tidyInto(std::string_view state);
    void print(std::size_t number) const;
    void judge();

    const Settings& settings_;
    Findings& findings_;
    Random random_;
    reference::BridgeDirectory directory_;
    WatchedHost host_;
    const Known known_ { .tokens
        = { "0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef" },
        .sessions = { "6F9619FF-8B86-4D01-B42D-00CF4FC964FF" } };
    std::array<Tenth, tenths> tenths_ {};
    std::string_view state_; // the name of the reference request whose surroundings hold
    std::size_t requests_ = 0;
    std::size_t eventsExpected_ = 0;
    std::size_t events_ = 0;
    std::size_t accepted_ = 0;
};

// What the host first needs in a state that it first meets late would look like growth: in a short
// run a tenth sees one state only.
void LongSession::visitEveryState()
{
    constexpr std::size_t requestsInEach = 250;
    for (const std::string_view state :
        { "activity", "activity-20-commands", "not-frontmost", "no-application" }) {
        tidyInto(state);
        for (std::size_t index = 0; index < requestsInEach; ++index)
            static_cast<void>(makeRequest());
    }
}

Tenth LongSession::makeTenth()
{
    const std::size_t count = std::max<std::size_t>(settings_.amount / tenths, 1);
    std::vector<double> times;
    times.reserve(count);
    for (std::size_t index = 0; index < count; ++index) {
        constexpr std::size_t interval = 500;
        if (requests_++ % interval == 0)
            tidy();
        times.push_back(makeRequest());
    }
    const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
    std::ranges::nth_element(times, middle);
    return { .residentMemory = host_.memory("VmRSS"),
        .peakMemory = host_.memory("VmHWM"),
        .descriptors = host_.openDescriptors(),
        .microseconds = *middle };
}

// The application consumes what came and writes its state again: most of the time a session runs in
// this browser, now and then the user is elsewhere or the application is gone; sometimes commands
// for other browsers lie about.
void LongSession::tidy()
{
    constexpr std::array<std::string_view, 10> states { "activity", "activity", "activity",
        "activity", "activity", "activity", "activity", "activity-20-commands", "not-frontmost",
        "no-application" };
    tidyInto(random_.oneOf(states));
}

void LongSession::tidyInto(std::string_view state)
{
    events_ += directory_.consumeInbox();
    state_ = state;
    directory_.prepare(*reference::requestNamed(state_));
}

double LongSession::makeRequest()
{
    const Message message = anyRequest(random_);
    const auto start = Clock::now();
    const auto answer = host_.ask(message.frame);
    const std::chrono::duration<double, std::micro> duration = Clock::now() - start;
    if (!answer)
        throw std::runtime_error("the host went away");
    check(message, *answer);
    return duration.count();
}

void LongSession::check(const Message& message, std::string_view answer)
{
    const AnswerCheck checked = checkAnswer(answer, known_);
    findings_.addIfAny(checked.wrong, answer);
    findings_.addIfAny(wrongOutcome(message, checked), answer);
    const bool takesEvents = state_.starts_with("activity");
    if (message.outcome == Outcome::relayed)
        findings_.require(
            checked.accepted == takesEvents, "an event was relayed or refused wrongly");
    if (takesEvents && (message.outcome == Outcome::relayed || message.endsTracking))
        ++eventsExpected_;
    accepted_ += checked.accepted ? 1U : 0U;
}

void LongSession::print(std::size_t number) const
{
    const Tenth& tenth = tenths_[number];
    std::array<char, 80> line {};
    static_cast<void>(std::snprintf(line.data(), line.size(), "%5zu  %8zu  %8zu  %11zu  %9.1f",
        number + 1, tenth.residentMemory, tenth.peakMemory, tenth.descriptors, tenth.microseconds));
    std::cout << line.data() << std::endl; // seen while it goes on
}

void LongSession::judge()
{
    constexpr std::size_t twoPages = 8; // kB
    events_ += directory_.consumeInbox();
    // The end of the session leaves one event more if the application takes it.
    eventsExpected_ += state_.starts_with("activity") ? 1U : 0U;
    printRow("requests", requests_);
    printRow("accepted", accepted_);
    printRow("events", events_);
    printRow("median time, last tenth to first",
        rounded(tenths_.back().microseconds / tenths_.front().microseconds));
    findings_.require(events_ == eventsExpected_,
        "of " + std::to_string(eventsExpected_) + " events " + std::to_string(events_) + " came");
    findings_.require(tenths_.back().peakMemory <= tenths_.front().peakMemory + twoPages,
        "the host's memory grew after the first tenth");
    for (const Tenth& tenth : tenths_)
        findings_.require(tenth.descriptors == 3, "the host has other files open than its streams");
}

} // namespace

void makeManyRequests(const Settings& settings, Findings& findings)
{
    LongSession(settings, findings).run();
}

} // namespace soak
