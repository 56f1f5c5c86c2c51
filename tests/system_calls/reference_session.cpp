#include "tests/system_calls/reference_session.h"

#include "base/timestamp.h"
#include "platform/clock.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace reference {

namespace {

constexpr std::string_view token
    = "0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef";
constexpr std::string_view accepted = "\"accepted\":true";

std::string quoted(std::string_view text)
{
    return '"' + std::string(text) + '"';
}

std::string seconds(base::Timestamp time)
{
    std::array<char, 32> digits {};
    const auto end = std::to_chars(digits.begin(), digits.end(), time.secondsSince2001).ptr;
    return { digits.begin(), end };
}

std::string activity(std::string_view timestamp, bool withVersion)
{
    return R"({"protocolVersion":1,"type":"browserActivity","browserBundleIdentifier":"com.google.Chrome","event":{)"
           R"("id":"3F2504E0-4F89-11D3-9A0C-0305E82C3301","browserDisplayName":"Google Chrome",)"
           R"("browserBundleIdentifier":"com.google.Chrome","hostname":"www.example.org",)"
           R"("temporaryTabIdentifier":"tab-1234","timestamp":)"
        + quoted(timestamp)
        + R"(,"eventType":"tabActivated","isPrivate":false,"resourceType":"website",)"
          R"("localFilePermission":"enabled"})"
        + (withVersion ? R"(,"extensionVersion":"1.4.2"})" : "}");
}

std::string activityWithVersion(base::Timestamp now)
{
    return activity(base::formatISO8601(now), true);
}

std::string activityWithoutVersion(base::Timestamp now)
{
    return activity(base::formatISO8601(now), false);
}

std::string staleActivity(base::Timestamp)
{
    return activity("2001-02-03T04:05:06.789Z", false);
}

std::string readinessPing(base::Timestamp)
{
    return R"({"protocolVersion":1,"type":"readinessPing","browserBundleIdentifier":"com.google.Chrome",)"
           R"("extensionVersion":"1.4.2"})";
}

std::string pause(base::Timestamp)
{
    return R"({"protocolVersion":1,"type":"trackingPauseChanged","browserBundleIdentifier":"com.google.Chrome",)"
           R"("paused":true})";
}

std::string resumption(base::Timestamp)
{
    return R"({"protocolVersion":1,"type":"trackingPauseChanged","browserBundleIdentifier":"com.google.Chrome",)"
           R"("paused":false})";
}

std::string openRequest(base::Timestamp)
{
    return R"({"protocolVersion":1,"type":"openMerrowin","browserBundleIdentifier":"com.google.Chrome"})";
}

std::string malformed(base::Timestamp)
{
    return R"({"protocolVersion":1,"type":"reload","browserBundleIdentifier":)";
}

// The literal calls: reading a file takes four (lstat, open, read, close), framing takes four, the
// command directory five (open, fstat, getdents twice, close). Opening the application adds the
// look-up in two directories here.
constexpr std::array<Request, 11> table { {
    { .name = "activity", .answer = accepted, .literalCalls = 65, .payload = activityWithVersion },
    { .name = "activity-without-version",
        .answer = accepted,
        .literalCalls = 46,
        .payload = activityWithoutVersion },
    { .name = "activity-20-commands",
        .foreignCommands = 20,
        .answer = accepted,
        .literalCalls = 145,
        .payload = activityWithVersion },
    { .name = "ping", .answer = accepted, .literalCalls = 45, .payload = readinessPing },
    { .name = "pause", .answer = accepted, .literalCalls = 43, .payload = pause },
    { .name = "resume", .answer = accepted, .literalCalls = 26, .payload = resumption },
    { .name = "refused-event", .answer = "too old", .literalCalls = 26, .payload = staleActivity },
    { .name = "not-frontmost",
        .application = Application::withAnotherBrowserInFront,
        .answer = "not the frontmost",
        .literalCalls = 34,
        .payload = activityWithoutVersion },
    { .name = "no-application",
        .application = Application::stale,
        .answer = "Kestrane is not running.",
        .literalCalls = 37,
        .payload = activityWithoutVersion },
    { .name = "open", .answer = accepted, .literalCalls = 28, .payload = openRequest },
    { .name = "malformed",
        .answer = "Malformed Kestrane native-messaging request.",
        .literalCalls = 17,
        .payload = malformed },
} };

[[noreturn]] void fail(const std::string& what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

void sendAll(int descriptor, std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
        if (count < 0)
            fail("write to the program");
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
}

// False at the end.
bool receiveAll(int descriptor, std::span<char> bytes)
{
    while (!bytes.empty()) {
        const ssize_t count = ::read(descriptor, bytes.data(), bytes.size());
        if (count <= 0)
            return false;
        bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
    return true;
}

std::vector<std::string> environmentWith(const std::string& bridgeDirectory)
{
    std::vector<std::string> variables;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        const std::string_view text = *variable;
        if (!text.starts_with("MERROWIN_BRIDGE_DIR=") && !text.starts_with("XDG_DATA_"))
            variables.emplace_back(text);
    }
    variables.push_back("MERROWIN_BRIDGE_DIR=" + bridgeDirectory);
    // Nothing is to be opened really: the application is looked for where nothing is.
    variables.push_back("XDG_DATA_HOME=" + bridgeDirectory + "/none");
    variables.push_back("XDG_DATA_DIRS=" + bridgeDirectory + "/nothing");
    return variables;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts)
{
    std::vector<char*> pointers;
    for (std::string& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

} // namespace

std::span<const Request> requests()
{
    return table;
}

const Request* requestNamed(std::string_view name)
{
    for (const Request& request : table) {
        if (request.name == name)
            return &request;
    }
    return nullptr;
}

std::string frame(const Request& request)
{
    const std::string payload = request.payload(platform::currentTime());
    const auto length = static_cast<std::uint32_t>(payload.size());
    std::string bytes(sizeof length, '\0');
    std::memcpy(bytes.data(), &length, sizeof length);
    return bytes + payload;
}

BridgeDirectory::BridgeDirectory(const std::string& parent)
{
    const std::filesystem::path directory
        = parent.empty() ? std::filesystem::temp_directory_path() : std::filesystem::path(parent);
    path_ = (directory / "kestrane-XXXXXX").string();
    if (::mkdtemp(path_.data()) == nullptr)
        fail("make a directory in " + directory.string());
    for (const char* const name : { "Inbox", "Commands", "Readiness" })
        std::filesystem::create_directory(path_ + '/' + name);
    write("bridge-token", token);
    write("preferences.json",
        R"({"version":1,"token":)" + quoted(token) + R"(,"filenameLabelsEnabled":true})");
    writeState(Application::inSession);
}

BridgeDirectory::~BridgeDirectory()
{
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

void BridgeDirectory::prepare(const Request& request)
{
    writeState(request.application);
    writeForeignCommands(request.foreignCommands);
}

void BridgeDirectory::writeForeignCommands(std::size_t count)
{
    for (std::size_t index = count; index < commandCount_; ++index)
        std::filesystem::remove(path_ + "/Commands/" + std::to_string(100000 + index) + ".command");
    commandCount_ = count;
    const std::string createdAt = seconds(platform::currentTime());
    for (std::size_t index = 0; index < count; ++index) {
        write("Commands/" + std::to_string(100000 + index) + ".command",
            R"({"version":1,"token":)" + quoted(token)
                + R"(,"command":{"id":"6F9619FF-8B86-4D01-B42D-00CF4FC964FF","type":"showLocalPDF",)"
                  R"("browserBundleIdentifier":"org.mozilla.firefox",)"
                  R"("pdfIdentifier":"3F2504E0-4F89-11D3-9A0C-0305E82C3301","createdAt":)"
                + createdAt + "}}");
    }
}

std::size_t BridgeDirectory::consumeInbox()
{
    std::size_t events = 0;
    for (const auto& entry : std::filesystem::directory_iterator(path_ + "/Inbox"))
        events += std::filesystem::remove(entry.path()) ? 1U : 0U;
    return events;
}

void BridgeDirectory::write(const std::string& name, std::string_view contents) const
{
    const std::string final = path_ + '/' + name;
    const std::string temporary = final + ".new";
    std::ofstream stream(temporary, std::ios::binary | std::ios::trunc);
    stream.write(contents.data(), static_cast<std::streamsize>(contents.size()));
    stream.close();
    if (!stream)
        fail("write " + temporary);
    std::filesystem::rename(temporary, final);
}

void BridgeDirectory::writeState(Application application) const
{
    base::Timestamp updatedAt = platform::currentTime();
    if (application == Application::stale)
        updatedAt.secondsSince2001 -= 60;
    const std::string_view frontmost = application == Application::withAnotherBrowserInFront
        ? "org.mozilla.firefox"
        : "com.google.Chrome";
    write("state.json",
        R"({"version":1,"appProcessIdentifier":)" + std::to_string(::getpid())
            + R"(,"sessionRunning":true,"sessionIdentifier":"6F9619FF-8B86-4D01-B42D-00CF4FC964FF",)"
              R"("browserTrackingPaused":false,"frontmostBrowserBundleIdentifier":)"
            + quoted(frontmost) + R"(,"updatedAt":)" + seconds(updatedAt) + "}");
}

Connection::Connection(const std::vector<std::string>& command, const std::string& bridgeDirectory)
{
    std::array<int, 2> toProgram {};
    std::array<int, 2> fromProgram {};
    if (::pipe2(toProgram.data(), O_CLOEXEC) != 0 || ::pipe2(fromProgram.data(), O_CLOEXEC) != 0)
        fail("make pipes");
    input_ = toProgram[1];
    output_ = fromProgram[0];

    std::vector<std::string> arguments = command;
    std::vector<std::string> environment = environmentWith(bridgeDirectory);
    posix_spawn_file_actions_t actions {};
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, toProgram[0], STDIN_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, fromProgram[1], STDOUT_FILENO);
    const int error = ::posix_spawnp(&process_, command.front().c_str(), &actions, nullptr,
        pointersTo(arguments).data(), pointersTo(environment).data());
    ::posix_spawn_file_actions_destroy(&actions);
    ::close(toProgram[0]);
    ::close(fromProgram[1]);
    if (error != 0) {
        errno = error;
        fail("start " + command.front());
    }
}

Connection::~Connection()
{
    if (process_ <= 0)
        return;
    closeInput();
    ::waitpid(process_, nullptr, 0);
    ::close(output_);
}

std::optional<std::string_view> Connection::ask(std::string_view frame)
{
    sendAll(input_, frame);
    std::uint32_t length = 0;
    std::array<char, sizeof length> header {};
    if (!receiveAll(output_, header))
        return std::nullopt;
    std::memcpy(&length, header.data(), sizeof length);
    answer_.resize(length);
    if (!receiveAll(output_, answer_))
        return std::nullopt;
    return answer_;
}

void Connection::closeInput()
{
    if (input_ >= 0)
        ::close(input_);
    input_ = -1;
}

int Connection::finish()
{
    closeInput();
    int status = 0;
    if (::waitpid(process_, &status, 0) != process_)
        fail("wait for the program");
    process_ = -1;
    ::close(output_);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

} // namespace reference
