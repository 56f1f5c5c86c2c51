#include "tests/faults/consequences.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <optional>
#include <stdexcept>

namespace faults {

namespace {

constexpr std::string_view ownCommand = "10-own.command";
constexpr std::size_t lengthBytes = sizeof(std::uint32_t);

bool isNothingDone(const Error& error)
{
    return error.name.empty();
}

std::string reasonOf(const Error& error)
{
    // A write that writes nothing is a failure without a reason.
    return std::strerror(isNothingDone(error) ? EIO : error.number);
}

bool isMadeAgain(const Fault& fault)
{
    constexpr std::array<std::string_view, 6> names { "openat", "read", "write", "getdents64",
        "getrandom", "wait4" };
    const bool isRepeated
        = std::ranges::find(names, std::string_view(fault.call.name)) != names.end();
    const bool concernsPipe = fault.call.item == "input" || fault.call.item == "output";
    return (isRepeated && fault.error.number == EINTR)
        || (concernsPipe && fault.error.number == EAGAIN);
}

// Whether the directory is made sure of with this call.
bool isFirstOfItsWork(const Call& call, Calls::const_iterator begin, Calls::const_iterator position)
{
    return call.name == "chmod" && std::none_of(begin, position, [&call](const Call& earlier) {
        return earlier.name == call.name && earlier.phase == call.phase
            && earlier.subject == call.subject;
    });
}

Calls::const_iterator positionOf(const Fault& fault, const Calls& calls)
{
    const auto position = std::ranges::find_if(calls, [&fault](const Call& call) {
        return call.name == fault.call.name && call.ordinal == fault.call.ordinal;
    });
    if (position == calls.end() || position == calls.begin() || position + 1 == calls.end())
        throw std::invalid_argument("no call of this session");
    return position;
}

// The directory is nearly always there, so the host begins with the last step of making sure of it,
// and takes all the steps only when that fails. In these, something that is missing is taken for a
// missing directory above, and the step is taken again.
bool isMadeGoodByTheNextStep(const Fault& fault, const Calls& calls)
{
    const auto position = positionOf(fault, calls);
    const bool isChmod = fault.call.name == "chmod";
    if (isChmod && fault.times == 1 && isFirstOfItsWork(fault.call, calls.begin(), position))
        return true;
    if (fault.error.number != ENOENT)
        return false;
    return fault.call.name == "mkdir" || (isChmod && std::prev(position)->name == "mkdir")
        || (fault.times > 1 && std::next(position)->name == "mkdir");
}

bool isWithoutConsequence(const Fault& fault, const Calls& calls)
{
    constexpr std::array<std::string_view, 6> names { "close", "brk", "mmap", "munmap",
        "rt_sigaction", "wait4" };
    const Call& call = fault.call;
    return call.phase == Phase::start
        || std::ranges::find(names, std::string_view(call.name)) != names.end()
        || isMadeAgain(fault) || isMadeGoodByTheNextStep(fault, calls)
        || (call.name == "kill" && fault.error.number == EPERM)
        || (call.name == "unlinkat" && call.subject == "Readiness")
        || (isNothingDone(fault.error) && call.result == 0 && call.error.empty());
}

// The record has its final name before its permissions are set for the last time.
bool comesAfterTheRename(const Fault& fault, const Calls& calls)
{
    const auto rename = std::ranges::find_if(calls, [&fault](const Call& call) {
        return call.phase == fault.call.phase && call.subject == fault.call.subject
            && call.name == "rename";
    });
    return rename < positionOf(fault, calls);
}

class Losing {
public:
    Losing(const Kind& kind, const Fault& fault, const Calls& calls)
        : kind_(kind)
        , fault_(fault)
        , calls_(calls)
        , moments_(momentsWithoutFault(kind))
    {
    }

    std::vector<Moment> result()
    {
        if (isWithoutConsequence(fault_, calls_))
            return moments_;
        if (fault_.call.phase == Phase::end)
            loseAtEnd();
        else if (fault_.call.subject.starts_with("Commands/"))
            loseCommandFile();
        else if (const auto loss = lossOf(fault_.call.subject))
            lose(*loss);
        return moments_;
    }

private:
    [[nodiscard]] std::optional<Loss> lossOf(std::string_view subject) const
    {
        const auto work = std::ranges::find(kind_.works, subject, &Work::subject);
        return work != kind_.works.end() ? std::optional(work->loss) : std::nullopt;
    }

    Moment& first() { return moments_.front(); }
    Moment& second() { return moments_[1]; }
    Moment& last() { return moments_.back(); }

    [[nodiscard]] bool recordIsThere() const { return comesAfterTheRename(fault_, calls_); }

    void refuse(const std::string& error)
    {
        first().answer["accepted"] = false;
        first().answer["error"] = error;
    }

    void dropFirstEvent()
    {
        for (Moment& moment : moments_)
            std::erase(moment.events, kind_.events.empty() ? "" : kind_.events.front());
    }

    // The same event may come again at the end.
    void dropDisconnectEvent()
    {
        for (Moment& moment : moments_)
            moment.events.erase(moment.events.begin());
    }

    void removeLabel()
    {
        for (Moment& moment : moments_) {
            std::string& event = moment.events.front();
            event.erase(event.rfind(' '));
        }
    }

    void removeFlags()
    {
        for (const char* const flag :
            { "appRunning", "sessionRunning", "browserFrontmost", "trackingPaused" })
            first().answer[flag] = false;
        first().answer["sessionIdentifier"] = nullptr;
    }

    void keepCommands()
    {
        if (!first().answer.contains("command"))
            return;
        second().answer["command"] = first().answer["command"];
        first().answer.erase("command");
        first().commands.insert(first().commands.begin(), std::string(ownCommand));
        if (kind_.name == "many_commands") {
            for (const char* const name : { "30-broken", "40-odd", "50-odd" })
                first().commands.push_back(name + std::string(".command"));
        }
    }

    void lose(Loss loss)
    {
        switch (loss) {
        case Loss::readiness:
            if (!recordIsThere())
                first().readiness = second().readiness = "";
            return;
        case Loss::application:
            refuse("Kestrane is not running.");
            return dropFirstEvent();
        case Loss::token:
            refuse("Kestrane is not running or its browser bridge is not ready.");
            return dropFirstEvent();
        case Loss::event:
            refuse(reasonOf(fault_.error));
            return recordIsThere() ? void() : dropFirstEvent();
        case Loss::disconnection:
            return recordIsThere() ? void() : dropDisconnectEvent();
        case Loss::flags:
            return removeFlags();
        case Loss::label:
            return removeLabel();
        case Loss::labelPreference:
            first().answer["filenameLabelsEnabled"] = false;
            return;
        case Loss::commands:
            return keepCommands();
        }
    }

    void loseCommandFile()
    {
        const std::string name = fault_.call.subject.substr(sizeof "Commands");
        const bool isRemoval = fault_.call.name == "unlinkat";
        if (name == ownCommand && isRemoval) {
            second().answer["command"] = first().answer["command"];
            first().commands.insert(first().commands.begin(), name);
        } else if (name == ownCommand) {
            first().answer.erase("command");
        } else if (name == "20-foreign.command") {
            for (Moment& moment : moments_)
                std::erase(moment.commands, name);
        } else if (name == "30-broken.command" && isRemoval) {
            first().commands.push_back(name);
        }
    }

    void loseAtEnd()
    {
        if (recordIsThere())
            return;
        constexpr std::array<std::string_view, 3> ofReadiness { "state 1", "token 1", "Readiness" };
        if (std::ranges::find(ofReadiness, std::string_view(fault_.call.subject))
            != ofReadiness.end())
            last().readiness = second().readiness;
        else
            last().events.pop_back();
    }

    const Kind& kind_;
    const Fault& fault_;
    const Calls& calls_;
    std::vector<Moment> moments_;
};

std::size_t frameSize(std::string_view output)
{
    std::uint32_t length = 0;
    if (output.size() < sizeof length)
        throw std::length_error("no frame");
    std::memcpy(&length, output.data(), sizeof length);
    return sizeof length + length;
}

// The end of a session that was cut short.
Moment endAfter(const Kind& kind, bool requestWasRead)
{
    Moment moment;
    if (!requestWasRead) {
        if (kind.answer.contains("command"))
            moment.commands.emplace_back(ownCommand);
        return moment;
    }
    moment = momentsWithoutFault(kind).front();
    moment.answer = {};
    if (kind.remembersBrowser)
        moment.events.emplace_back(eventOfDisconnection);
    if (!kind.version.empty())
        moment.readiness = "gone " + kind.version;
    return moment;
}

} // namespace

std::string Fault::injection() const
{
    std::string text = call.name;
    text += isNothingDone(error) ? ":retval=0" : ":error=" + std::string(error.name);
    text += ":when=" + std::to_string(call.ordinal);
    if (times > 1)
        text += ".." + std::to_string(call.ordinal + times - 1);
    return text;
}

std::string Fault::description() const
{
    return call.name + '(' + call.arguments + ") for " + call.subject + ", inject=" + injection();
}

std::vector<Fault> faultsOf(const Calls& calls)
{
    std::vector<Fault> faults;
    for (auto position = calls.begin(); position != calls.end(); ++position) {
        const Call& call = *position;
        const auto errors = errorsOf(call.kind());
        if (!errors)
            throw std::out_of_range("no errors are known for " + call.kind());
        for (const Error& error : *errors) {
            faults.push_back({ .call = call, .error = error });
            // Once is made good; twice in a row is a failure.
            if (isFirstOfItsWork(call, calls.begin(), position))
                faults.push_back({ .call = call, .error = error, .times = 2 });
        }
    }
    return faults;
}

bool breaksConnection(const Fault& fault)
{
    return (fault.call.item == "input" || fault.call.item == "output") && !isMadeAgain(fault);
}

std::vector<Moment> momentsWithFault(const Kind& kind, const Fault& fault, const Calls& calls)
{
    return Losing(kind, fault, calls).result();
}

BrokenEnd endWithFault(const Kind& kind, const Fault& fault, const std::string& wholeOutput)
{
    // An error where the end would have been is the end, too.
    if (fault.call.phase == Phase::end)
        return { .output = wholeOutput, .end = momentsWithoutFault(kind).back() };
    const std::size_t firstFrame = frameSize(wholeOutput);
    const bool isFirst = fault.call.phase == Phase::request;
    if (fault.call.item == "input") {
        return { .output = isFirst ? "" : wholeOutput.substr(0, firstFrame),
            .end = endAfter(kind, !isFirst) };
    }
    // The answer is lost, or cut after its length; everything else goes on.
    const bool isLength = fault.call.arguments.ends_with(" 4");
    const std::size_t start = (isFirst ? 0 : firstFrame) + (isLength ? 0 : lengthBytes);
    const std::size_t end = isFirst ? firstFrame : wholeOutput.size();
    std::string output = wholeOutput;
    output.erase(start, end - start);
    return { .output = output, .end = momentsWithoutFault(kind).back() };
}

} // namespace faults
