#pragma once
// Starts the real executable as a browser does, over pipes.

#include <csignal>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

namespace support {

/// A file descriptor, closed when this goes.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int number)
        : number_(number)
    {
    }
    Descriptor(Descriptor&& other) noexcept;
    Descriptor& operator=(Descriptor&& other) noexcept;
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor();

    [[nodiscard]] int number() const { return number_; }
    void close();

private:
    int number_ = -1;
};

/// The two ends of a pipe, neither of which programs that are started inherit.
struct Pipe {
    Descriptor readEnd;
    Descriptor writeEnd;

    Pipe();
};

/// What is there to be read, up to `count` bytes; waits for the first one. Nothing at the end.
/// Fails the test if nothing happens for a minute.
[[nodiscard]] std::string readSome(int descriptor, std::size_t count);

/// All that comes until the other side is closed everywhere. Fails the test if that takes a minute.
[[nodiscard]] std::string readToEnd(int descriptor);

/// A frame as it goes over the pipe: the length of `payload` in the machine's byte order, then
/// `payload`.
[[nodiscard]] std::string frame(std::string_view payload);

struct HostOptions {
    /// Stands for a standard stream that is closed when the process starts.
    static constexpr int closedStream = -1;

    std::string executable;
    std::vector<std::string> arguments {};
    std::vector<std::string> environment {}; // "NAME=value"; there is nothing else in it
    /// What to use for a standard stream instead of a pipe to the test.
    std::optional<int> standardInput {};
    std::optional<int> standardOutput {};
    std::optional<int> standardError {};
    /// Runs in the new process just before the program; must restrict itself to system calls.
    std::function<void()> beforeStart {};
};

/// One running host. It is killed after a minute at the latest, so nothing waits for ever.
class HostProcess {
public:
    explicit HostProcess(const HostOptions& options);
    HostProcess(const HostProcess&) = delete;
    HostProcess& operator=(const HostProcess&) = delete;
    ~HostProcess();

    [[nodiscard]] pid_t identifier() const { return identifier_; }

    /// Writes to the host's standard input; a host that is gone is no failure.
    void sendBytes(std::string_view bytes) const;
    void sendFrame(std::string_view payload) const { sendBytes(frame(payload)); }

    /// The payload of the next frame that the host writes; none when it has closed its standard
    /// output.
    [[nodiscard]] std::optional<std::string> readFrame() const;

    /// Everything else that the host writes, until nobody can write any more.
    [[nodiscard]] std::string readOutputToEnd() const { return readToEnd(output_.number()); }

    /// Where the host's standard output can be read, if it is a pipe to the test.
    [[nodiscard]] int outputDescriptor() const { return output_.number(); }

    void closeInput() { input_.close(); }
    void closeOutput() { output_.close(); }

    /// Waits for the host to end; the status is that of waitpid, so 0 means that it ended itself
    /// with status 0.
    [[nodiscard]] int wait();

    /// What the host wrote to standard error. To be asked after `wait`.
    [[nodiscard]] std::string standardError() const { return readToEnd(error_.number()); }

private:
    pid_t identifier_ = -1;
    bool isRunning_ = false;
    Descriptor input_;
    Descriptor output_;
    Descriptor error_;
};

} // namespace support
