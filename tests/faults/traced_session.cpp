#include "tests/faults/traced_session.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <ostream>
#include <utility>

namespace faults {

namespace {

constexpr unsigned privateFile = 0600;
constexpr unsigned privateDirectory = 0700;
constexpr std::string_view desktopEntry
    = "/applications/" KESTRANE_COMPANION_BUNDLE_IDENTIFIER ".desktop";

std::string programNamed(const std::string& name)
{
    const char* const variable = std::getenv("PATH");
    std::string_view rest = variable != nullptr ? variable : "";
    while (!rest.empty()) {
        const std::size_t colon = rest.find(':');
        std::string path = std::string(rest.substr(0, colon)) + '/' + name;
        if (std::filesystem::exists(path))
            return path;
        rest.remove_prefix(colon == std::string_view::npos ? rest.size() : colon + 1);
    }
    return {};
}

const std::string& strace()
{
    static const std::string path = programNamed("strace");
    return path;
}

std::string textOf(const object& json, std::string_view key)
{
    const auto* const value = json.if_contains(boost::json::string_view(key.data(), key.size()));
    return value != nullptr && value->is_string() ? std::string(value->get_string().c_str()) : "";
}

std::string described(const object& event)
{
    std::string text = textOf(event, "eventType");
    for (const std::string_view key : { "hostname", "pdfIdentifier", "pdfLabel" }) {
        if (const std::string value = textOf(event, key); !value.empty())
            text += ' ' + value;
    }
    return text;
}

// The commands' time stamps are those of the session.
void removeTimes(object& answer)
{
    if (auto* const command = answer.if_contains("command"))
        command->as_object().erase("createdAt");
}

} // namespace

std::string reasonNotToTrace()
{
    if (strace().empty())
        return "strace is not installed";
    if (std::system("strace -qq -o /dev/null true >/dev/null 2>&1") != 0)
        return "strace may not trace processes here";
    if (std::system("strace -qq -o /dev/null -e inject=sync:retval=0 true >/dev/null 2>&1") != 0)
        return "this strace cannot let calls fail";
    return {};
}

std::string hostUnderTest()
{
    const char* const chosen = std::getenv("KESTRANE_FAULTS_HOST");
    return chosen != nullptr && *chosen != '\0' ? chosen : KESTRANE_NATIVE_HOST;
}

std::ostream& operator<<(std::ostream& stream, const Moment& moment)
{
    stream << "\n  answer " << boost::json::serialize(moment.answer) << "\n  events";
    for (const std::string& event : moment.events)
        stream << " [" << event << ']';
    stream << "\n  readiness [" << moment.readiness << "]\n  commands";
    for (const std::string& command : moment.commands)
        stream << ' ' << command;
    return stream << '\n';
}

object followingRequest()
{
    return end_to_end::activity({ { "hostname", "next.example.com" } });
}

TracedSession::TracedSession(const Conversation& conversation, std::vector<std::string> injections)
    : conversation_(conversation)
    , injections_(std::move(injections))
{
    if (conversation_.prepare != nullptr)
        conversation_.prepare(*this);
}

support::HostOptions TracedSession::tracedOptions() const
{
    support::HostOptions traced = options();
    traced.executable = strace();
    traced.environment.push_back("XDG_DATA_HOME=" + directory() / "data");
    traced.environment.push_back("XDG_DATA_DIRS=" + directory() / "nothing");
    traced.arguments = { "-qq", "-s", "0", "-e", "signal=none", "-o", logPath() };
    if (conversation_.watchesChildren)
        traced.arguments.insert(traced.arguments.end(), { "-f", "-b", "execve" });
    for (const std::string& injection : injections_)
        traced.arguments.insert(traced.arguments.end(), { "-e", "inject=" + injection });
    if (!conversation_.shellCommand.empty())
        traced.arguments.insert(
            traced.arguments.end(), { "/bin/sh", "-c", conversation_.shellCommand });
    traced.arguments.push_back(hostUnderTest());
    return traced;
}

Outcome TracedSession::run()
{
    startHost(tracedOptions());
    Outcome outcome;
    send(conversation_.request());
    outcome.moments.push_back(look(comparableAnswer()));
    // The application runs from now on, whatever it was at first.
    leaveLiveState();
    send(followingRequest());
    outcome.moments.push_back(look(comparableAnswer()));
    host().closeInput();
    EXPECT_EQ(host().readOutputToEnd(), "");
    outcome.calls = end();
    outcome.moments.push_back(look({}));
    return outcome;
}

Outcome TracedSession::runWithoutPauses()
{
    startHost(tracedOptions());
    send(conversation_.request());
    send(followingRequest());
    host().closeInput();
    Outcome outcome { .output = host().readOutputToEnd() };
    outcome.calls = end();
    outcome.moments.push_back(look({}));
    return outcome;
}

Calls TracedSession::end()
{
    EXPECT_EQ(host().wait(), 0);
    EXPECT_EQ(host().standardError(), "");
    Calls calls = readCalls(logPath(), root());
    EXPECT_EQ(leakedFiles(calls), std::vector<std::string> {});
    return calls;
}

object TracedSession::comparableAnswer()
{
    object answer = receive();
    removeTimes(answer);
    return answer;
}

Moment TracedSession::look(object answer) const
{
    for (const std::string& name : namesMadeByHost())
        EXPECT_TRUE(name == "Inbox" || name == "Readiness") << name;
    return { .answer = std::move(answer),
        .events = checkedEvents(),
        .readiness = checkedReadiness(),
        .commands = support::namesIn(pathOf("Commands")) };
}

std::vector<std::string> TracedSession::checkedEvents() const
{
    std::vector<std::string> events;
    for (const std::string& name : support::namesIn(pathOf("Inbox"))) {
        EXPECT_TRUE(name.ends_with(".event") && !name.starts_with('.')) << name;
        EXPECT_EQ(support::permissionsOf(pathOf("Inbox/" + name)), privateFile) << name;
    }
    for (const auto& [name, envelope, event] : inbox()) {
        EXPECT_EQ(envelope.at("version"), 1);
        EXPECT_EQ(envelope.at("token"), end_to_end::text(support::validToken));
        EXPECT_EQ(envelope.at("sessionIdentifier"),
            end_to_end::text(base::upperCaseText(support::sessionIdentifier())));
        EXPECT_NEAR(envelope.at("receivedAt").to_number<double>(), end_to_end::secondsNow(), 60.0);
        events.push_back(described(event));
    }
    if (!events.empty()) {
        EXPECT_EQ(support::permissionsOf(pathOf("Inbox")), privateDirectory);
    }
    return events;
}

std::string TracedSession::checkedReadiness() const
{
    for (const std::string& name : support::namesIn(pathOf("Readiness")))
        EXPECT_EQ(name, "googleChrome.readiness");
    const object record = readiness();
    if (record.empty())
        return {};
    EXPECT_EQ(support::permissionsOf(pathOf("Readiness")), privateDirectory);
    EXPECT_EQ(support::permissionsOf(pathOf("Readiness/googleChrome.readiness")), privateFile);
    EXPECT_EQ(record.at("browserBundleIdentifier"), "com.google.Chrome");
    EXPECT_NEAR(record.at("updatedAt").to_number<double>(), end_to_end::secondsNow(), 60.0);
    return (record.at("connectionAvailable") == true ? "there " : "gone ")
        + textOf(record, "extensionVersion");
}

void TracedSession::makeHostDirectories() const
{
    // Open to others until the host has written into them.
    for (const char* const name : { "Inbox", "Readiness" })
        support::makeDirectory(pathOf(name), 0755);
}

void TracedSession::leaveOwnCommand() const
{
    // Whole seconds keep the answers of all sessions equally long.
    leaveCommand("10-own.command", { { "createdAt", std::floor(end_to_end::secondsNow()) } });
}

void TracedSession::leaveForeignCommand() const
{
    leaveCommand("20-foreign.command", { { "browserBundleIdentifier", "org.mozilla.firefox" } });
}

void TracedSession::leaveBrokenCommand() const
{
    support::writeCommand(root(), "30-broken.command", "{");
}

void TracedSession::leaveOddItems() const
{
    support::makeDirectory(pathOf("Commands/40-odd.command"));
    support::writeFile(pathOf("Commands/40-odd.command/inside"), "x");
    support::makeSymbolicLink(pathOf("bridge-token"), pathOf("Commands/50-odd.command"));
}

void TracedSession::leaveStateOfAnotherBrowser() const
{
    auto state = liveState();
    state.frontmostBrowserBundleIdentifier = "org.mozilla.firefox";
    leaveState(state);
}

void TracedSession::removeState() const
{
    std::filesystem::remove(pathOf("state.json"));
}

void TracedSession::installApplication() const
{
    // Whoever starts it finds nothing to run in it: nothing outlives the test.
    support::writeFile(directory() / "data" + std::string(desktopEntry), "[Desktop Entry]\n");
}

} // namespace faults
