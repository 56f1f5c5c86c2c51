#include "platform/end_requests.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <tuple>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace platform {

namespace {

constexpr std::array signalsToEnd { SIGINT, SIGTERM, SIGHUP };

constexpr int noDescriptor = -1;

// A signal handler gets nothing but the signal's number.
// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables)
std::atomic<int> descriptorForHandler { noDescriptor };
static_assert(std::atomic<int>::is_always_lock_free, "signal handlers cannot wait");

// Only what a signal handler may do; whatever was interrupted finds its `errno` unchanged.
void noteRequest(int /*signal*/)
{
    const int error = errno;
    // A pipe that is full says already what this would say.
    std::ignore = ::write(descriptorForHandler, "", 1);
    errno = error;
}

struct sigaction noteRequestAction()
{
    struct sigaction action {};
    // The system's own structure, in which two kinds of handlers share their place.
    action.sa_handler = noteRequest; // NOLINT(cppcoreguidelines-pro-type-union-access)
    std::ignore = sigemptyset(&action.sa_mask); // a macro on macOS
    action.sa_flags = SA_RESTART;
    return action;
}

bool isIgnored(const struct sigaction& action)
{
    // SIG_IGN is a macro with a cast of C.
    return (action.sa_flags & SA_SIGINFO) == 0
        && action.sa_handler == SIG_IGN; // NOLINT(*-pro-type-union-access, *-cstyle-cast)
}

// The pipe's ends must neither be inherited nor ever stop the handler.
bool setFlags(int descriptor)
{
    const int flags = ::fcntl(descriptor, F_GETFL);
    return flags >= 0 && ::fcntl(descriptor, F_SETFL, flags | O_NONBLOCK) == 0
        && ::fcntl(descriptor, F_SETFD, FD_CLOEXEC) == 0;
}

} // namespace

struct EndRequests::State {
    State() = default;
    State(State&&) = delete;
    State& operator=(State&&) = delete;
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    ~State()
    {
        for (std::size_t index = 0; index < setCount; ++index)
            std::ignore = ::sigaction(signalsToEnd.at(index), &previous.at(index), nullptr);
        descriptorForHandler = noDescriptor;
        for (const int descriptor : pipe) {
            if (descriptor != noDescriptor)
                ::close(descriptor);
        }
    }

    bool openPipe() { return ::pipe(pipe.data()) == 0 && setFlags(pipe[0]) && setFlags(pipe[1]); }

    bool setHandlers()
    {
        descriptorForHandler = pipe[1];
        const struct sigaction noting = noteRequestAction();
        for (const int signal : signalsToEnd) {
            struct sigaction& before = previous.at(setCount);
            if (::sigaction(signal, nullptr, &before) != 0)
                return false;
            if (!isIgnored(before) && ::sigaction(signal, &noting, nullptr) != 0)
                return false;
            ++setCount;
        }
        return true;
    }

    std::array<int, 2> pipe { noDescriptor, noDescriptor };
    std::array<struct sigaction, signalsToEnd.size()> previous {};
    std::size_t setCount = 0;
};

FileResult<EndRequests> EndRequests::make()
{
    auto state = std::make_unique<State>();
    if (!state->openPipe() || !state->setHandlers())
        return std::unexpected(FileError { errno });
    return EndRequests(std::move(state));
}

EndRequests::EndRequests(std::unique_ptr<State> state)
    : state_(std::move(state))
{
}

EndRequests::EndRequests(EndRequests&& other) noexcept = default;

EndRequests::~EndRequests() = default;

int EndRequests::descriptor() const
{
    return state_->pipe[0];
}

} // namespace platform
