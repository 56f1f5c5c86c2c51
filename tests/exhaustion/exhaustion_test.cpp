#include "tests/exhaustion/exhaustion_test.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>
#include <tuple>

namespace exhaustion {

namespace {

std::string contentsOf(const std::string& path)
{
    const std::ifstream stream(path);
    std::ostringstream contents;
    contents << stream.rdbuf();
    return contents.str();
}

} // namespace

object ping(std::string_view version)
{
    return request("readinessPing", { { "extensionVersion", text(version) } });
}

Observation observe(pid_t process)
{
    const std::string directory = "/proc/" + std::to_string(process);
    const std::string stat = contentsOf(directory + "/stat");
    // The name, in parentheses, may hold anything; the state stands behind it.
    std::istringstream fields(stat.substr(std::min(stat.rfind(')') + 1, stat.size())));
    Observation observation;
    fields >> observation.state;
    constexpr int fieldsBeforeTimes = 10;
    std::string field;
    for (int skipped = 0; skipped < fieldsBeforeTimes; ++skipped)
        fields >> field;
    std::string user;
    std::string system;
    fields >> user >> system;
    // These are coarse; where the kernel counts nanoseconds, they are here.
    observation.timeRun = user + ' ' + system + ' ' + contentsOf(directory + "/schedstat");
    return observation;
}

object Exhaustion::liveResponse(const object& members)
{
    object live = response({ { "accepted", true }, { "appRunning", true },
        { "sessionRunning", true }, { "browserFrontmost", true },
        { "sessionIdentifier", "5e551011-0000-4000-8000-00000000000a" } });
    for (const auto& member : members)
        live[member.key()] = member.value();
    return live;
}

object Exhaustion::refusal(std::string_view error)
{
    return liveResponse({ { "accepted", false }, { "error", text(error) } });
}

void Exhaustion::setLimit(Resource resource, rlim_t value)
{
    rlimit limit {};
    ASSERT_EQ(::prlimit(host().identifier(), resource, nullptr, &limit), 0) << std::strerror(errno);
    limit.rlim_cur = std::min(value, limit.rlim_max);
    ASSERT_EQ(::prlimit(host().identifier(), resource, &limit, nullptr), 0) << std::strerror(errno);
}

void Exhaustion::expectNothingUnfinished() const
{
    for (const char* const name : { "Inbox", "Readiness" }) {
        if (!support::exists(pathOf(name)))
            continue;
        EXPECT_EQ(support::permissionsOf(pathOf(name)), 0700U) << name;
        for (const std::string& file : support::namesIn(pathOf(name))) {
            EXPECT_TRUE(file == "googleChrome.readiness" || file.ends_with(".event")) << file;
            EXPECT_NE(file.front(), '.') << file;
            EXPECT_EQ(support::permissionsOf(pathOf(name) + '/' + file), 0600U) << file;
        }
    }
    std::ignore = inbox(); // Fails the test for an event that is not whole,
    std::ignore = readiness(); // and here for a record that is not.
}

void Exhaustion::expectTraces(std::size_t count) const
{
    expectNothingUnfinished();
    ASSERT_FALSE(readiness().empty());
    EXPECT_EQ(readiness().at("connectionAvailable"), false);
    const auto events = inbox();
    ASSERT_EQ(events.size(), count);
    EXPECT_EQ(events.back().event.at("eventType"), "extensionDisconnected");
}

void Exhaustion::expectEndWithTraces(std::size_t count)
{
    expectEnd();
    expectTraces(count);
}

void Exhaustion::expectNextHostToServe()
{
    const std::size_t before = inbox().size();
    leaveState(liveState());
    startHost(options());
    EXPECT_EQ(ask(ping("2.0")), liveResponse());
    EXPECT_EQ(ask(activity()), liveResponse());
    expectEndWithTraces(before + 2);
    EXPECT_EQ(readiness().at("extensionVersion"), "2.0");
}

} // namespace exhaustion
