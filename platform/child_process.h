#pragma once
// A program that is started with pipes on its standard input and output, as browsers start hosts.

#include "platform/file_system.h"

#include <chrono>
#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

struct ChildProcessOptions {
    std::vector<std::string> arguments; // the program's absolute path first
    /// Added to this process's environment, "NAME=value"; of the same name the added one counts.
    std::vector<std::string> addedEnvironment {};
    std::string workingDirectory {}; // empty: this process's
};

/// How a process ended.
struct ProcessEnd {
    std::optional<int> status {}; // the exit status
    std::optional<int> signal {}; // the signal that ended it instead
};

class ChildProcess {
public:
    /// Starts the program. It gets the two pipes, this process's standard error, default signal
    /// dispositions, no blocked signal and no other open file. It stays in this process's session
    /// and process group. SIGCHLD gets its default disposition in this process. Fails with the
    /// system's error, that of entering the working directory and of executing the program
    /// included.
    [[nodiscard]] static FileResult<ChildProcess> start(const ChildProcessOptions& options);
    ChildProcess(ChildProcess&& other) noexcept;
    ChildProcess& operator=(ChildProcess&&) = delete;
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    /// Ends the program by SIGKILL if its end was not seen by `wait`.
    ~ChildProcess();

    /// Writes all bytes to the program's standard input, within the time. Fails with EPIPE when the
    /// program has closed it, with ETIMEDOUT when the time is over; some bytes may have been
    /// written then. The process must ignore SIGPIPE (`ignoreSignalsOfFailedWrites`).
    [[nodiscard]] FileResult<void> write(
        std::string_view bytes, std::chrono::milliseconds timeout) const;

    /// Reads at least one byte of the program's standard output, 0 at its end. Fails with ETIMEDOUT
    /// when the time is over.
    [[nodiscard]] FileResult<std::size_t> read(
        std::span<char> buffer, std::chrono::milliseconds timeout) const;

    /// The program's standard input ends once it has read what was written. Nothing can be written
    /// afterwards (EBADF).
    void closeInput();

    /// Waits for the end of the program; what it still writes meanwhile is dropped. Fails with
    /// ETIMEDOUT when the time is over. Once the end was seen, every further call yields it at
    /// once.
    [[nodiscard]] FileResult<ProcessEnd> wait(std::chrono::milliseconds timeout);

private:
    ChildProcess(int identifier, int input, int output);

    int identifier_;
    int input_; // the end of the pipe that is written to
    int output_; // the end of the pipe that is read from
    std::optional<ProcessEnd> end_;
};

} // namespace platform
