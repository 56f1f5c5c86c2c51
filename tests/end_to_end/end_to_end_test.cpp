#include "tests/end_to_end/end_to_end_test.h"

#include "tests/support/as_other_user.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <sstream>

#include <grp.h>
#include <unistd.h>

namespace end_to_end {

namespace {

constexpr double secondsFrom1970To2001 = 978307200.0;

object merged(object base, const object& members)
{
    for (const auto& member : members) {
        if (member.value().is_null())
            base.erase(member.key());
        else
            base[member.key()] = member.value();
    }
    return base;
}

std::string textOf(const object& json)
{
    return boost::json::serialize(json);
}

int sixBits(char character)
{
    constexpr std::string_view alphabet
        = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const std::size_t position = alphabet.find(character);
    EXPECT_NE(position, std::string_view::npos) << "no base64 character: " << character;
    return static_cast<int>(position);
}

std::string bytesOfBase64(std::string_view text)
{
    EXPECT_EQ(text.size() % 4, 0U);
    while (text.ends_with('='))
        text.remove_suffix(1);
    std::string bytes;
    unsigned buffer = 0;
    int bits = 0;
    for (const char character : text) {
        buffer = buffer << 6U | static_cast<unsigned>(sixBits(character));
        bits += 6;
        if (bits >= 8) {
            bits -= 8;
            bytes += static_cast<char>(buffer >> static_cast<unsigned>(bits) & 0xFFU);
        }
    }
    return bytes;
}

void giveToOrdinaryUser(const std::string& path)
{
    constexpr auto user = support::unprivilegedUser;
    EXPECT_EQ(::lchown(path.c_str(), user, user), 0);
    for (const auto& entry : std::filesystem::recursive_directory_iterator(path))
        EXPECT_EQ(::lchown(entry.path().c_str(), user, user), 0);
}

} // namespace

double secondsNow()
{
    const std::chrono::duration<double> since1970
        = std::chrono::system_clock::now().time_since_epoch();
    return since1970.count() - secondsFrom1970To2001;
}

std::string timestampText(double seconds)
{
    const double time = secondsNow() + secondsFrom1970To2001 + seconds;
    const auto whole = static_cast<std::time_t>(time);
    const int milliseconds = static_cast<int>((time - static_cast<double>(whole)) * 1000);
    std::tm calendar {};
    ::gmtime_r(&whole, &calendar);
    std::array<char, 32> date {};
    EXPECT_GT(std::strftime(date.data(), date.size(), "%Y-%m-%dT%H:%M:%S", &calendar), 0U);
    std::array<char, 8> fraction {};
    std::ignore = std::snprintf(fraction.data(), fraction.size(), ".%03dZ", milliseconds);
    return std::string(date.data()) + fraction.data();
}

object parse(std::string_view jsonText)
{
    boost::json::error_code error;
    const auto value
        = boost::json::parse(boost::json::string_view(jsonText.data(), jsonText.size()), error);
    if (error || !value.is_object()) {
        ADD_FAILURE() << "no JSON object: " << jsonText;
        return {};
    }
    return value.get_object();
}

object request(std::string_view type, const object& members)
{
    return merged({ { "protocolVersion", 1 }, { "type", std::string(type) },
                      { "browserBundleIdentifier", "com.google.Chrome" } },
        members);
}

object event(const object& members)
{
    return merged(
        { { "id", "3f2504e0-4f89-11d3-9a0c-0305e82c3301" }, { "browserDisplayName", "Chrome" },
            { "browserBundleIdentifier", "com.google.Chrome" }, { "hostname", "www.example.com" },
            { "temporaryTabIdentifier", "tab-17" }, { "timestamp", timestampText() },
            { "eventType", "tabActivated" } },
        members);
}

object activity(const object& eventMembers, const object& members)
{
    return merged({ { "protocolVersion", 1 }, { "type", "browserActivity" },
                      { "event", event(eventMembers) } },
        members);
}

object response(const object& members)
{
    object result { { "protocolVersion", 1 }, { "nativeHostVersion", "0.3.0" },
        { "minimumProtocolVersion", 1 }, { "accepted", false }, { "appRunning", false },
        { "sessionRunning", false }, { "browserFrontmost", false }, { "trackingPaused", false },
        { "sessionIdentifier", nullptr }, { "filenameLabelsEnabled", false } };
    for (const auto& member : members)
        result[member.key()] = member.value();
    return result;
}

std::string paddedTo(std::size_t size, const object& payload)
{
    object padded = payload;
    padded["padding"] = "";
    const std::size_t used = textOf(padded).size();
    padded["padding"] = std::string(size - used, 'x');
    return textOf(padded);
}

EndToEnd::EndToEnd()
{
    support::makeDirectory(root());
    support::writeToken(root());
    leaveState(liveState());
}

bridge::BrowserBridgeState EndToEnd::liveState()
{
    bridge::BrowserBridgeState state = support::validState();
    state.appProcessIdentifier = ::getpid();
    state.updatedAt.secondsSince2001 = secondsNow();
    return state;
}

void EndToEnd::leaveState(const bridge::BrowserBridgeState& state) const
{
    object json { { "version", state.version },
        { "appProcessIdentifier", state.appProcessIdentifier },
        { "sessionRunning", state.sessionRunning },
        { "browserTrackingPaused", state.browserTrackingPaused },
        { "updatedAt", state.updatedAt.secondsSince2001 } };
    if (state.sessionIdentifier)
        json["sessionIdentifier"] = base::upperCaseText(*state.sessionIdentifier);
    if (state.frontmostBrowserBundleIdentifier)
        json["frontmostBrowserBundleIdentifier"] = *state.frontmostBrowserBundleIdentifier;
    support::writeState(root(), textOf(json));
}

void EndToEnd::leaveCommand(std::string_view name, const object& members) const
{
    const object command = merged(
        { { "id", "C0FFEE00-1111-4222-8333-444455556666" }, { "type", "showLocalPDF" },
            { "browserBundleIdentifier", "com.google.Chrome" }, { "createdAt", secondsNow() } },
        members);
    support::writeCommand(root(), name,
        textOf({ { "version", 1 }, { "token", std::string(support::validToken) },
            { "command", command } }));
}

void EndToEnd::leavePreferences(bool filenameLabelsEnabled) const
{
    support::writePreferences(root(),
        textOf({ { "version", 1 }, { "token", std::string(support::validToken) },
            { "filenameLabelsEnabled", filenameLabelsEnabled } }));
}

support::HostOptions EndToEnd::options() const
{
    return { .executable = KESTRANE_NATIVE_HOST,
        .environment = { "MERROWIN_BRIDGE_DIR=" + root() } };
}

support::HostOptions EndToEnd::optionsOfOrdinaryUser() const
{
    support::HostOptions asUser = options();
    if (!support::isRoot())
        return asUser;
    asUser.executable = directory() / "host";
    std::filesystem::copy_file(options().executable, asUser.executable);
    giveToOrdinaryUser(directory().path());
    asUser.beforeStart = [] {
        if (::setgroups(0, nullptr) != 0 || ::setgid(support::unprivilegedUser) != 0
            || ::setuid(support::unprivilegedUser) != 0)
            ::_exit(1);
    };
    return asUser;
}

support::HostProcess& EndToEnd::host()
{
    return host_ ? *host_ : startHost(options());
}

support::HostProcess& EndToEnd::startHost(const support::HostOptions& options)
{
    return host_.emplace(options);
}

void EndToEnd::send(const object& payload)
{
    host().sendFrame(textOf(payload));
}

object EndToEnd::receive()
{
    const auto payload = host().readFrame();
    EXPECT_TRUE(payload) << "no response";
    return payload ? parse(*payload) : object {};
}

object EndToEnd::ask(const object& payload)
{
    send(payload);
    return receive();
}

void EndToEnd::expectEnd()
{
    host().closeInput();
    EXPECT_EQ(host().readOutputToEnd(), "");
    EXPECT_EQ(host().wait(), 0);
    EXPECT_EQ(host().standardError(), "");
}

std::vector<InboxEvent> EndToEnd::inbox() const
{
    std::vector<InboxEvent> events;
    for (const std::string& name : support::namesIn(pathOf("Inbox"))) {
        InboxEvent inboxEvent { .fileName = name,
            .envelope = parse(support::readFile(pathOf("Inbox/" + name))) };
        const auto* const data = inboxEvent.envelope.if_contains("eventData");
        if (data == nullptr || !data->is_string()) {
            ADD_FAILURE() << name << " carries no event";
            continue;
        }
        inboxEvent.event = parse(
            bytesOfBase64(std::string_view(data->get_string().data(), data->get_string().size())));
        events.push_back(std::move(inboxEvent));
    }
    return events;
}

object EndToEnd::readiness() const
{
    const std::string path = pathOf("Readiness/googleChrome.readiness");
    if (!support::exists(path))
        return {};
    const object envelope = parse(support::readFile(path));
    EXPECT_EQ(envelope.at("version"), 1);
    EXPECT_EQ(envelope.at("token"), text(support::validToken));
    return envelope.at("readiness").as_object();
}

std::vector<std::string> EndToEnd::namesMadeByHost() const
{
    std::vector<std::string> names = support::namesIn(root());
    std::erase_if(names, [](const std::string& name) {
        return name == "bridge-token" || name == "state.json" || name == "preferences.json"
            || name == "Commands";
    });
    return names;
}

} // namespace end_to_end
