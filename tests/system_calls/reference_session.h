#pragma once
// The requests that the cost of the host is measured with: one of every kind, the bridge directory
// that each is meant for, and a connection to the program that answers them.

#include "base/timestamp.h"

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <sys/types.h>

namespace reference {

/// What the application's state says.
enum class Application : unsigned char { inSession, withAnotherBrowserInFront, stale };

struct Request {
    std::string_view name;
    Application application = Application::inSession;
    std::size_t foreignCommands = 0; // in the command directory, for another browser
    std::string_view answer; // what every answer to it holds
    std::size_t literalCalls
        = 0; // system calls of the literal sequence of file operations, framing included
    std::string (*payload)(base::Timestamp now) = nullptr;
};

/// One of every kind, each name once.
[[nodiscard]] std::span<const Request> requests();
[[nodiscard]] const Request* requestNamed(std::string_view name);

/// The payload with its length in front.
[[nodiscard]] std::string frame(const Request& request);

/// A bridge directory with a token, preferences and an application that is this process. Removed at
/// the end.
class BridgeDirectory {
public:
    /// Makes a directory in `parent`; an empty one stands for the system's directory for temporary
    /// files.
    explicit BridgeDirectory(const std::string& parent = {});
    BridgeDirectory(const BridgeDirectory&) = delete;
    BridgeDirectory& operator=(const BridgeDirectory&) = delete;
    ~BridgeDirectory();

    [[nodiscard]] const std::string& path() const { return path_; }

    /// Writes the state afresh, as an application does while it runs, and sees to the command
    /// files.
    void prepare(const Request& request);

    /// Leaves `count` sound commands for another browser, stamped now.
    void writeForeignCommands(std::size_t count);

    /// Removes all events, as the application does; yields their number.
    std::size_t consumeInbox();

private:
    void write(const std::string& name, std::string_view contents) const;
    void writeState(Application application) const;

    std::string path_;
    std::size_t commandCount_ = 0;
};

/// A running program with its standard input and output on pipes, its bridge directory in its
/// environment.
class Connection {
public:
    Connection(const std::vector<std::string>& command, const std::string& bridgeDirectory);
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection();

    [[nodiscard]] pid_t processIdentifier() const { return process_; }

    // The ends of the pipes, for those who do not want to wait for ever.
    [[nodiscard]] int inputDescriptor() const { return input_; }
    [[nodiscard]] int outputDescriptor() const { return output_; }

    /// Sends a frame and waits for the answer's payload, valid until the next call; none when the
    /// program is gone.
    [[nodiscard]] std::optional<std::string_view> ask(std::string_view frame);

    void closeInput();

    /// Closes the input and waits for the end; yields the exit status, or 128 and more for a
    /// signal.
    int finish();

private:
    int input_ = -1;
    int output_ = -1;
    pid_t process_ = -1;
    std::string answer_;
};

} // namespace reference
