#include "kestranectl/host_probe.h"
#include "tests/kestranectl/scripted_host.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <optional>
#include <string>

namespace kestranectl {
namespace {

using support::ScriptedHost;

constexpr std::chrono::milliseconds longTime = std::chrono::minutes(1);
constexpr std::chrono::milliseconds shortTime(20);

TEST(ProbeHost, StartsTheHostAsABrowserDoesWithoutInput)
{
    const ScriptedHost host("printf '%s|' \"$0\" \"$@\" >arguments; cat >input");
    const HostProbe probe = probeHost(host.path(), longTime);
    EXPECT_FALSE(probe.startError);
    EXPECT_EQ(probe.status, 0);
    EXPECT_EQ(probe.signal, std::nullopt);
    EXPECT_EQ(probe.output, "");
    EXPECT_EQ(
        host.left("arguments"), host.path() + "|chrome-extension://" + std::string(32, 'a') + "/|");
    EXPECT_EQ(host.left("input"), "");
}

TEST(ProbeHost, TellsHowTheHostEnded)
{
    EXPECT_EQ(probeHost(ScriptedHost("exit 3").path(), longTime).status, 3);
    const HostProbe killed = probeHost(ScriptedHost("kill -9 $$").path(), longTime);
    EXPECT_EQ(killed.signal, 9);
    EXPECT_EQ(killed.status, std::nullopt);
}

TEST(ProbeHost, TellsWhyTheHostWasNotStarted)
{
    const HostProbe probe = probeHost("/nonexistent", longTime);
    ASSERT_TRUE(probe.startError);
    EXPECT_EQ(probe.startError->code, ENOENT);
}

TEST(ProbeHost, KeepsTheBeginningOfTheOutput)
{
    EXPECT_EQ(probeHost(ScriptedHost("echo words").path(), longTime).output, "words\n");
    const HostProbe talkative
        = probeHost(ScriptedHost("head -c 300000 /dev/zero | tr '\\0' x; exit 4").path(), longTime);
    EXPECT_EQ(talkative.output, std::string(256, 'x'));
    EXPECT_EQ(talkative.status, 4);
}

TEST(ProbeHost, TellsNoEndOfAHostThatGoesOn)
{
    const ScriptedHost host("printf begun; read line <gate");
    const HostProbe silent = probeHost(host.path(), shortTime);
    EXPECT_EQ(silent.status, std::nullopt);
    EXPECT_EQ(silent.signal, std::nullopt);
    EXPECT_FALSE(silent.startError);
    const HostProbe endless = probeHost(ScriptedHost("exec cat /dev/zero").path(), shortTime);
    EXPECT_EQ(endless.status, std::nullopt);
    EXPECT_EQ(endless.signal, std::nullopt);
}

} // namespace
} // namespace kestranectl
