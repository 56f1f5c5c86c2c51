#include "tests/soak/watched_host.h"

#include "tests/support/host_process.h"

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <sstream>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace soak {

namespace {

// Whether something can be read, the end included.
void awaitOutput(int descriptor)
{
    pollfd waiting { .fd = descriptor, .events = POLLIN, .revents = 0 };
    const auto limit = std::chrono::milliseconds(timeLimit).count();
    int ready = 0;
    do
        ready = ::poll(&waiting, 1, static_cast<int>(limit));
    while (ready < 0 && errno == EINTR);
    if (ready == 0)
        throw Hang("a host neither answered nor ended");
}

} // namespace

WatchedHost::WatchedHost(const std::string& executable, const std::string& bridgeDirectory)
    : connection_({ executable }, bridgeDirectory)
{
}

WatchedHost::~WatchedHost()
{
    if (processIdentifier() > 0)
        ::kill(processIdentifier(), SIGKILL);
}

bool WatchedHost::send(std::string_view bytes) const
{
    while (!bytes.empty()) {
        const ssize_t count = ::write(connection_.inputDescriptor(), bytes.data(), bytes.size());
        if (count <= 0)
            return false;
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

bool WatchedHost::fill(char* bytes, std::size_t count) const
{
    while (count > 0) {
        awaitOutput(connection_.outputDescriptor());
        const ssize_t received = ::read(connection_.outputDescriptor(), bytes, count);
        if (received <= 0)
            return false;
        bytes += received;
        count -= static_cast<std::size_t>(received);
    }
    return true;
}

std::optional<std::string_view> WatchedHost::receive()
{
    constexpr std::uint32_t limit = 16384;
    std::string header(sizeof(std::uint32_t), '\0');
    if (!fill(header.data(), header.size()))
        return std::nullopt;
    std::uint32_t length = 0;
    std::memcpy(&length, header.data(), sizeof length);
    if (length > limit)
        throw std::runtime_error("an answer says that it is " + std::to_string(length) + " bytes");
    answer_.resize(length);
    if (!fill(answer_.data(), answer_.size()))
        return std::nullopt;
    return answer_;
}

std::optional<std::string_view> WatchedHost::ask(std::string_view frame)
{
    if (!send(frame))
        return std::nullopt;
    return receive();
}

bool WatchedHost::kill()
{
    ::kill(processIdentifier(), SIGKILL);
    return connection_.finish() == 128 + SIGKILL;
}

int WatchedHost::finish()
{
    closeInput();
    awaitOutput(connection_.outputDescriptor());
    return connection_.finish();
}

std::size_t WatchedHost::openDescriptors() const
{
    std::size_t count = 0;
    for ([[maybe_unused]] const auto& entry :
        std::filesystem::directory_iterator("/proc/" + std::to_string(processIdentifier()) + "/fd"))
        ++count;
    return count;
}

std::size_t WatchedHost::memory(std::string_view figure) const
{
    std::istringstream status(systemFile("status"));
    std::string key;
    std::string rest;
    std::size_t value = 0;
    while (status >> key) {
        if (key == std::string(figure) + ':') {
            status >> value;
            return value;
        }
        std::getline(status, rest);
    }
    throw std::runtime_error("the system does not say " + std::string(figure));
}

std::chrono::nanoseconds WatchedHost::waitingTime() const
{
    std::istringstream statistics(systemFile("schedstat"));
    std::int64_t running = 0;
    std::int64_t waiting = 0;
    statistics >> running >> waiting;
    return std::chrono::nanoseconds(waiting);
}

// Streams of the library stay open in programs that another thread starts in the meantime.
std::string WatchedHost::systemFile(const char* name) const
{
    const std::string path = "/proc/" + std::to_string(processIdentifier()) + '/' + name;
    const support::Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    return support::readToEnd(file.number());
}

} // namespace soak
