#include "platform/child_process.h"

#include "platform/program_start.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <tuple>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

namespace platform {

namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

// A descriptor that is closed when this goes.
class Descriptor {
public:
    explicit Descriptor(int number)
        : number_(number)
    {
    }
    Descriptor(Descriptor&& other) noexcept
        : number_(std::exchange(other.number_, -1))
    {
    }
    Descriptor& operator=(Descriptor&&) = delete;
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor()
    {
        if (number_ >= 0)
            ::close(number_);
    }

    [[nodiscard]] int number() const { return number_; }
    [[nodiscard]] int release() { return std::exchange(number_, -1); }

private:
    int number_;
};

struct Pipe {
    Descriptor readEnd;
    Descriptor writeEnd;
};

std::unexpected<FileError> failure(int code)
{
    return std::unexpected(FileError { code });
}

// The same open file above the standard streams, closed in programs that are started. Where a
// standard stream of this process was closed, a pipe would take its place, here and on the way to
// the program.
FileResult<Descriptor> movedUp(const Descriptor& descriptor)
{
    const int moved = ::fcntl(descriptor.number(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    if (moved < 0)
        return failure(errno);
    return Descriptor(moved);
}

FileResult<Pipe> makePipe()
{
    std::array<int, 2> ends { -1, -1 };
    if (::pipe(ends.data()) != 0)
        return failure(errno);
    const Descriptor lowReadEnd(ends[0]);
    const Descriptor lowWriteEnd(ends[1]);
    auto readEnd = movedUp(lowReadEnd);
    if (!readEnd)
        return std::unexpected(readEnd.error());
    auto writeEnd = movedUp(lowWriteEnd);
    if (!writeEnd)
        return std::unexpected(writeEnd.error());
    return Pipe { std::move(*readEnd), std::move(*writeEnd) };
}

bool setNotToBlock(const Descriptor& descriptor)
{
    const int flags = ::fcntl(descriptor.number(), F_GETFL);
    return flags >= 0 && ::fcntl(descriptor.number(), F_SETFL, flags | O_NONBLOCK) == 0;
}

Clock::time_point deadlineAfter(milliseconds timeout)
{
    return Clock::now() + timeout;
}

// What is left until then, in the form of poll(2), rounded up so that waiting for it is enough.
int remaining(Clock::time_point deadline)
{
    const auto left = std::chrono::ceil<milliseconds>(deadline - Clock::now());
    return static_cast<int>(std::clamp<milliseconds::rep>(left.count(), 0, INT_MAX));
}

// Waits until the descriptor can be used or the call would tell why not: 0, or ETIMEDOUT.
int waitUntilUsable(int descriptor, short awaitedEvent, Clock::time_point deadline)
{
    for (;;) {
        pollfd waiting { .fd = descriptor, .events = awaitedEvent, .revents = 0 };
        const int limit = remaining(deadline);
        const int ready = ::poll(&waiting, 1, limit);
        if (ready > 0)
            return 0;
        if (ready < 0 && errno != EINTR)
            return errno;
        if (limit == 0)
            return ETIMEDOUT;
    }
}

// Whether a call that failed is worth making again, after waiting where it must be: 0, or the error
// to give up with.
int awaitAnotherTry(int error, int descriptor, short awaitedEvent, Clock::time_point deadline)
{
    if (error == EINTR)
        return 0;
    return error == EAGAIN ? waitUntilUsable(descriptor, awaitedEvent, deadline) : error;
}

FileResult<std::size_t> readUntil(
    int descriptor, std::span<char> buffer, Clock::time_point deadline)
{
    for (;;) {
        const ssize_t count = ::read(descriptor, buffer.data(), buffer.size());
        if (count >= 0)
            return static_cast<std::size_t>(count);
        if (const int error = awaitAnotherTry(errno, descriptor, POLLIN, deadline); error != 0)
            return failure(error);
    }
}

// Reads and drops what comes; false at the end of the output, true if the pause ends before.
bool dropOutput(int descriptor, Clock::time_point pauseEnd)
{
    std::array<char, 4096> dropped {};
    FileResult<std::size_t> count = 0;
    do
        count = readUntil(descriptor, dropped, pauseEnd);
    while (count && *count > 0 && Clock::now() < pauseEnd);
    return count ? *count > 0 : count.error().code == ETIMEDOUT;
}

std::optional<ProcessEnd> endOf(int status)
{
    if (WIFEXITED(status))
        return ProcessEnd { .status = WEXITSTATUS(status) };
    if (WIFSIGNALED(status))
        return ProcessEnd { .signal = WTERMSIG(status) };
    return std::nullopt;
}

// The program's end if it has ended.
FileResult<std::optional<ProcessEnd>> seenEnd(pid_t identifier, int options)
{
    int status = 0;
    pid_t ended = -1;
    do
        ended = ::waitpid(identifier, &status, options);
    while (ended < 0 && errno == EINTR);
    if (ended < 0)
        return failure(errno);
    return ended == 0 ? std::nullopt : endOf(status);
}

} // namespace

FileResult<ChildProcess> ChildProcess::start(const ChildProcessOptions& options)
{
    auto input = makePipe();
    if (!input)
        return std::unexpected(input.error());
    auto output = makePipe();
    if (!output)
        return std::unexpected(output.error());
    // A process that was started with this signal ignored would never learn how its programs end.
    std::ignore = std::signal(SIGCHLD, SIG_DFL); // Fails for no signal that may be caught.
    // The program's ends stay as they are: the two ends of a pipe are different open files.
    if (!setNotToBlock(input->writeEnd) || !setNotToBlock(output->readEnd))
        return failure(errno);
    const auto identifier
        = startProgram(options, input->readEnd.number(), output->writeEnd.number());
    if (!identifier)
        return std::unexpected(identifier.error());
    return ChildProcess(*identifier, input->writeEnd.release(), output->readEnd.release());
}

ChildProcess::ChildProcess(int identifier, int input, int output)
    : identifier_(identifier)
    , input_(input)
    , output_(output)
{
}

ChildProcess::ChildProcess(ChildProcess&& other) noexcept
    : identifier_(std::exchange(other.identifier_, -1))
    , input_(std::exchange(other.input_, -1))
    , output_(std::exchange(other.output_, -1))
    , end_(other.end_)
{
}

ChildProcess::~ChildProcess()
{
    if (identifier_ < 0)
        return;
    closeInput();
    ::close(output_);
    if (end_)
        return;
    ::kill(identifier_, SIGKILL);
    std::ignore = seenEnd(identifier_, 0); // Nobody asks for the end any more.
}

FileResult<void> ChildProcess::write(std::string_view bytes, milliseconds timeout) const
{
    const auto deadline = deadlineAfter(timeout);
    while (!bytes.empty()) {
        const ssize_t count = ::write(input_, bytes.data(), bytes.size());
        if (count >= 0)
            bytes.remove_prefix(static_cast<std::size_t>(count));
        else if (const int error = awaitAnotherTry(errno, input_, POLLOUT, deadline); error != 0)
            return failure(error);
    }
    return {};
}

FileResult<std::size_t> ChildProcess::read(std::span<char> buffer, milliseconds timeout) const
{
    return readUntil(output_, buffer, deadlineAfter(timeout));
}

void ChildProcess::closeInput()
{
    if (input_ >= 0)
        ::close(std::exchange(input_, -1));
}

FileResult<ProcessEnd> ChildProcess::wait(milliseconds timeout)
{
    // The end of the output awakens at once, and the program's end mostly comes with it. Only where
    // it does not, because the program closes its output early or somebody else holds it, is looked
    // again after pauses that grow.
    constexpr milliseconds longestPause(50);
    const auto deadline = deadlineAfter(timeout);
    bool outputIsOpen = true;
    for (milliseconds pause(1); !end_; pause = std::min(2 * pause, longestPause)) {
        const bool timeIsOver = Clock::now() >= deadline;
        const auto end = seenEnd(identifier_, WNOHANG);
        if (!end)
            return std::unexpected(end.error());
        end_ = *end;
        if (end_)
            break;
        if (timeIsOver)
            return failure(ETIMEDOUT);
        const auto pauseEnd = std::min(deadline, deadlineAfter(pause));
        if (outputIsOpen)
            outputIsOpen = dropOutput(output_, pauseEnd);
        else
            ::poll(nullptr, 0, remaining(pauseEnd));
    }
    return *end_;
}

} // namespace platform
