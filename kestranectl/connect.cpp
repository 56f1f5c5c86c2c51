#include "kestranectl/connect.h"

#include "base/json_reader.h"
#include "host/host_constants.h"
#include "kestranectl/extension_identifiers.h"
#include "kestranectl/host_connection.h"
#include "kestranectl/host_location.h"
#include "kestranectl/line_reader.h"
#include "kestranectl/manifest.h"
#include "platform/absolute_path.h"
#include "platform/clock.h"
#include "platform/executable_path.h"
#include "platform/random.h"

#include <chrono>
#include <expected>

namespace kestranectl {

namespace {

std::string extensionIdentifier(const ConnectOptions& options)
{
    return options.extensionIdentifier.empty() ? usualExtensionIdentifier()
                                               : options.extensionIdentifier;
}

std::string hostPath(const ConnectOptions& options)
{
    if (!options.hostPath.empty())
        return platform::absolutePath(options.hostPath);
    return installedHostPath(platform::executablePath());
}

std::string noRequest(std::string_view text)
{
    constexpr std::size_t shownBytes = 80;
    return "\"" + printable(text.substr(0, shownBytes)) + (text.size() > shownBytes ? "..." : "")
        + "\" is no request; use a JSON object, ping, open, diagnostics, pause, resume, active or "
          "activity=HOST.";
}

// A conversation with one host; tells what goes wrong in it and remembers that something did.
class Conversation {
public:
    Conversation(HostConnection connection, const Console& console)
        : connection_(std::move(connection))
        , console_(console)
    {
    }

    // Whether the conversation can go on.
    [[nodiscard]] bool ask(std::string_view text);

    [[nodiscard]] ExitStatus end();

private:
    void complain(const std::string& sentence)
    {
        console_.error("kestranectl: " + sentence + '\n');
        status_ = ExitStatus::problem;
    }

    [[nodiscard]] std::string numbered(const std::string& sentence) const
    {
        return "Request " + std::to_string(requestCount_) + ": " + sentence;
    }

    void judge(const std::string& answer);

    HostConnection connection_;
    const Console& console_;
    ExitStatus status_ = ExitStatus::success;
    int requestCount_ = 0;
};

bool Conversation::ask(std::string_view text)
{
    ++requestCount_;
    const auto identifier = platform::randomUUID();
    if (!identifier) {
        complain(numbered(
            "The system gives no randomness: " + platform::message(identifier.error()) + "."));
        return false;
    }
    const auto request = requestText(text, { platform::currentTime(), *identifier });
    if (!request) {
        complain(numbered(noRequest(text)));
        return true;
    }
    if (request->size() > host::maximumMessageBytes) {
        complain(numbered("It is not sent, because it has more than "
            + std::to_string(host::maximumMessageBytes)
            + " bytes; the host would end without an answer."));
        return true;
    }
    const auto answer = connection_.ask(*request);
    if (!answer) {
        complain(numbered(answer.error()));
        return false;
    }
    console_.output(printable(*answer) + '\n');
    judge(*answer);
    return true;
}

void Conversation::judge(const std::string& answer)
{
    if (answer.size() > host::maximumMessageBytes)
        complain(numbered("The answer has " + std::to_string(answer.size())
            + " bytes, more than the host's own limit of "
            + std::to_string(host::maximumMessageBytes) + "."));
    bool accepted = false;
    std::string error = "The host gives no reason.";
    base::JsonRecordReader reader;
    reader.required("accepted", accepted);
    reader.optional("error", error);
    if (const auto read = base::readJson(answer, reader); !read)
        complain(numbered("This is no answer of the host: " + base::message(read.error())));
    else if (!accepted)
        complain(numbered("Not accepted: " + printable(error)));
}

ExitStatus Conversation::end()
{
    for (const std::string& fault : connection_.close())
        complain(fault);
    return status_;
}

std::expected<HostConnection, std::string> openConnection(const ConnectOptions& options)
{
    const std::string path = hostPath(options);
    if (path.empty())
        return std::unexpected(
            "There is no host beside this tool; say where it is with --host PATH.");
    using Seconds = std::chrono::duration<double>;
    return HostConnection::open({
        .hostPath = path,
        .origin = extensionOrigin(extensionIdentifier(options)),
        .bridgeDirectory = platform::absolutePath(options.bridgeDirectory),
        .timeout = std::chrono::ceil<std::chrono::milliseconds>(Seconds(options.timeout)),
    });
}

void askAll(Conversation& conversation, const std::vector<std::string>& requests)
{
    for (const std::string& request : requests) {
        if (!conversation.ask(request))
            return;
    }
}

void askEachLine(Conversation& conversation, int input)
{
    LineReader lines(input, host::maximumMessageBytes);
    while (const auto line = lines.next()) {
        if (!line->empty() && !conversation.ask(*line))
            return;
    }
}

// What is wrong with the command line.
std::optional<std::string> misuse(const ConnectOptions& options)
{
    if (!isExtensionIdentifier(extensionIdentifier(options)))
        return printable(notAnExtensionIdentifier(extensionIdentifier(options)));
    for (const std::string& request : options.requests) {
        if (!requestText(request, {}))
            return noRequest(request);
    }
    return std::nullopt;
}

} // namespace

ExitStatus runConnect(const ConnectOptions& options, const Console& console, int input)
{
    if (const auto wrong = misuse(options)) {
        console.error("kestranectl: " + *wrong + '\n');
        return ExitStatus::usage;
    }
    auto connection = openConnection(options);
    if (!connection) {
        console.error("kestranectl: " + connection.error() + '\n');
        return ExitStatus::problem;
    }
    Conversation conversation(std::move(*connection), console);
    if (options.requests.empty())
        askEachLine(conversation, input);
    else
        askAll(conversation, options.requests);
    return conversation.end();
}

} // namespace kestranectl
