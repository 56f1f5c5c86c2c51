#include "tests/support/host_process.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace support {

namespace {

// Nothing here takes long; the limit is for what would never end.
constexpr unsigned timeLimitSeconds = 60;
constexpr int timeLimitMilliseconds = 60000;

std::string readExactly(int descriptor, std::size_t count)
{
    std::string bytes;
    while (bytes.size() < count) {
        const std::string piece = readSome(descriptor, count - bytes.size());
        if (piece.empty())
            break;
        bytes += piece;
    }
    return bytes;
}

std::vector<char*> pointers(std::vector<std::string>& texts)
{
    std::vector<char*> result;
    result.reserve(texts.size() + 1);
    for (std::string& text : texts)
        result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

void useAsStream(int stream, std::optional<int> chosen, const Descriptor& pipeEnd)
{
    const int source = chosen.value_or(pipeEnd.number());
    if (source == HostOptions::closedStream)
        ::close(stream);
    else
        ::dup2(source, stream);
}

} // namespace

Descriptor::Descriptor(Descriptor&& other) noexcept
    : number_(std::exchange(other.number_, -1))
{
}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept
{
    if (this != &other) {
        close();
        number_ = std::exchange(other.number_, -1);
    }
    return *this;
}

Descriptor::~Descriptor()
{
    close();
}

void Descriptor::close()
{
    if (number_ >= 0)
        ::close(std::exchange(number_, -1));
}

Pipe::Pipe()
{
    std::array<int, 2> ends { -1, -1 };
    EXPECT_EQ(::pipe(ends.data()), 0) << std::strerror(errno);
    for (const int end : ends)
        ::fcntl(end, F_SETFD, FD_CLOEXEC);
    readEnd = Descriptor(ends[0]);
    writeEnd = Descriptor(ends[1]);
}

std::string readSome(int descriptor, std::size_t count)
{
    pollfd waiting { .fd = descriptor, .events = POLLIN, .revents = 0 };
    if (::poll(&waiting, 1, timeLimitMilliseconds) == 0) {
        ADD_FAILURE() << "nothing came, and the other side was not closed";
        return {};
    }
    std::string bytes(count, '\0');
    const ssize_t received = ::read(descriptor, bytes.data(), count);
    bytes.resize(received > 0 ? static_cast<std::size_t>(received) : 0);
    return bytes;
}

std::string readToEnd(int descriptor)
{
    constexpr std::size_t pieceSize = 65536;
    std::string all;
    for (std::string piece = readSome(descriptor, pieceSize); !piece.empty();
        piece = readSome(descriptor, pieceSize))
        all += piece;
    return all;
}

std::string frame(std::string_view payload)
{
    const auto length = static_cast<std::uint32_t>(payload.size());
    std::string bytes(sizeof length, '\0');
    std::memcpy(bytes.data(), &length, sizeof length);
    return bytes.append(payload);
}

HostProcess::HostProcess(const HostOptions& options)
{
    // Writing to a host that is gone must fail, not end the test.
    std::signal(SIGPIPE, SIG_IGN);
    Pipe input;
    Pipe output;
    Pipe error;
    std::vector<std::string> arguments { options.executable };
    arguments.insert(arguments.end(), options.arguments.begin(), options.arguments.end());
    std::vector<std::string> environment = options.environment;
    const std::vector<char*> argumentPointers = pointers(arguments);
    const std::vector<char*> environmentPointers = pointers(environment);

    identifier_ = ::fork();
    if (identifier_ == 0) {
        std::signal(SIGPIPE, SIG_DFL);
        useAsStream(STDIN_FILENO, options.standardInput, input.readEnd);
        useAsStream(STDOUT_FILENO, options.standardOutput, output.writeEnd);
        useAsStream(STDERR_FILENO, options.standardError, error.writeEnd);
        ::alarm(timeLimitSeconds); // It outlives the exec.
        if (options.beforeStart)
            options.beforeStart();
        ::execve(argumentPointers[0], argumentPointers.data(), environmentPointers.data());
        constexpr int couldNotStart = 127;
        ::_exit(couldNotStart);
    }
    isRunning_ = identifier_ > 0;
    EXPECT_TRUE(isRunning_) << std::strerror(errno);
    input_ = std::move(input.writeEnd);
    output_ = std::move(output.readEnd);
    error_ = std::move(error.readEnd);
}

HostProcess::~HostProcess()
{
    if (!isRunning_)
        return;
    ::kill(identifier_, SIGKILL);
    ::waitpid(identifier_, nullptr, 0);
}

void HostProcess::sendBytes(std::string_view bytes) const
{
    while (!bytes.empty()) {
        const ssize_t written = ::write(input_.number(), bytes.data(), bytes.size());
        if (written < 0) {
            EXPECT_EQ(errno, EPIPE) << std::strerror(errno);
            return;
        }
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
}

std::optional<std::string> HostProcess::readFrame() const
{
    std::uint32_t length = 0;
    const std::string header = readExactly(output_.number(), sizeof length);
    if (header.empty())
        return std::nullopt;
    EXPECT_EQ(header.size(), sizeof length);
    std::memcpy(&length, header.data(), std::min(header.size(), sizeof length));
    std::string payload = readExactly(output_.number(), length);
    EXPECT_EQ(payload.size(), length);
    return payload;
}

int HostProcess::wait()
{
    int status = -1;
    EXPECT_EQ(::waitpid(identifier_, &status, 0), identifier_);
    isRunning_ = false;
    return status;
}

} // namespace support
