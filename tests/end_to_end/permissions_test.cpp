#include "tests/end_to_end/end_to_end_test.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <initializer_list>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace end_to_end;

const object ping = request("readinessPing", { { "extensionVersion", "1.0.0" } });

class Permissions : public EndToEnd {
protected:
    void startWithUmask(mode_t mask)
    {
        support::HostOptions withUmask = options();
        withUmask.beforeStart = [mask] { ::umask(mask); };
        startHost(withUmask);
    }

    void expectPrivateDirectory(const char* name)
    {
        EXPECT_EQ(support::permissionsOf(pathOf(name)), 0700U) << name;
        for (const std::string& file : support::namesIn(pathOf(name)))
            EXPECT_EQ(support::permissionsOf(pathOf(name) + '/' + file), 0600U) << file;
    }
};

TEST_F(Permissions, WhatTheHostMakesIsPrivateUnderEveryUmask)
{
    for (const mode_t mask : std::initializer_list<mode_t> { 0000, 0022, 0077, 0777 }) {
        SCOPED_TRACE(mask);
        std::filesystem::remove_all(pathOf("Inbox"));
        std::filesystem::remove_all(pathOf("Readiness"));
        startWithUmask(mask);
        EXPECT_EQ(ask(ping).at("accepted"), true);
        EXPECT_EQ(ask(activity()).at("accepted"), true);
        expectEnd();
        expectPrivateDirectory("Inbox");
        expectPrivateDirectory("Readiness");
        EXPECT_EQ(support::namesIn(pathOf("Inbox")).size(), 2U);
        EXPECT_EQ(support::namesIn(pathOf("Readiness")),
            std::vector<std::string> { "googleChrome.readiness" });
    }
}

TEST_F(Permissions, DirectoriesThatAreThereAreNarrowed)
{
    for (const unsigned permissions : { 0755U, 0777U, 01777U, 02770U, 0500U }) {
        SCOPED_TRACE(permissions);
        support::makeDirectory(pathOf("Inbox"), permissions);
        support::makeDirectory(pathOf("Readiness"), permissions);
        EXPECT_EQ(ask(ping).at("accepted"), true);
        EXPECT_EQ(ask(activity()).at("accepted"), true);
        expectPrivateDirectory("Inbox");
        expectPrivateDirectory("Readiness");
    }
    EXPECT_EQ(inbox().size(), 5U);
}

TEST_F(Permissions, AReadinessFileThatIsThereIsReplacedAndNarrowed)
{
    support::writeFile(pathOf("Readiness/googleChrome.readiness"), "old", 0644);
    EXPECT_EQ(ask(ping).at("accepted"), true);
    EXPECT_EQ(readiness().at("connectionAvailable"), true);
    expectPrivateDirectory("Readiness");
}

TEST_F(Permissions, AReadinessFileThatIsALinkIsReplacedAndNotFollowed)
{
    support::writeFile(directory() / "target", "untouched", 0644);
    support::makeDirectory(pathOf("Readiness"));
    support::makeSymbolicLink(directory() / "target", pathOf("Readiness/googleChrome.readiness"));
    EXPECT_EQ(ask(ping).at("accepted"), true);
    EXPECT_EQ(readiness().at("connectionAvailable"), true);
    EXPECT_EQ(support::readFile(directory() / "target"), "untouched");
    EXPECT_EQ(support::permissionsOf(directory() / "target"), 0644U);
    expectPrivateDirectory("Readiness");
}

TEST_F(Permissions, AReadinessFileThatIsADirectoryStaysAndNothingElseIsLeft)
{
    support::makeDirectory(pathOf("Readiness/googleChrome.readiness"));
    EXPECT_EQ(ask(ping).at("accepted"), true);
    expectEnd();
    EXPECT_EQ(support::namesIn(pathOf("Readiness")),
        std::vector<std::string> { "googleChrome.readiness" });
}

TEST_F(Permissions, LinksToDirectoriesServeAsDirectories)
{
    for (const char* const name : { "Inbox", "Readiness" }) {
        support::makeDirectory(directory() / name, 0755);
        support::makeSymbolicLink(directory() / name, pathOf(name));
    }
    EXPECT_EQ(ask(ping).at("accepted"), true);
    EXPECT_EQ(ask(activity()).at("accepted"), true);
    EXPECT_EQ(inbox().size(), 1U);
    EXPECT_FALSE(readiness().empty());
    EXPECT_EQ(support::permissionsOf(directory() / "Inbox"), 0700U);
    EXPECT_EQ(support::permissionsOf(directory() / "Readiness"), 0700U);
}

// Whatever stands in the way of a directory: the event is refused with the system's reason,
// readiness is passed over, there are no commands, and nothing of what is there changes.
TEST_F(Permissions, ItemsThatAreNoDirectoriesStandInTheWay)
{
    struct Obstacle {
        const char* name;
        void (*put)(const std::string& path);
    };
    const std::vector<Obstacle> obstacles {
        { "file", [](const std::string& path) { support::writeFile(path, "text", 0644); } },
        { "dangling link",
            [](const std::string& path) { support::makeSymbolicLink("nowhere", path); } },
        { "link to a file",
            [](const std::string& path) { support::makeSymbolicLink("state.json", path); } },
        { "FIFO", [](const std::string& path) { support::makeFIFO(path); } },
        { "socket", [](const std::string& path) { support::makeSocket(path); } },
    };
    for (const Obstacle& obstacle : obstacles) {
        SCOPED_TRACE(obstacle.name);
        for (const char* const name : { "Inbox", "Readiness", "Commands" }) {
            std::filesystem::remove(pathOf(name));
            obstacle.put(pathOf(name));
        }
        const auto before = support::namesIn(root());
        const unsigned permissions = support::permissionsOf(pathOf("Inbox"));
        leaveState(liveState());
        const object answer = ask(activity());
        EXPECT_EQ(answer.at("accepted"), false);
        EXPECT_EQ(answer.at("error"), "File exists");
        EXPECT_FALSE(answer.contains("command"));
        EXPECT_EQ(ask(ping).at("accepted"), true);
        EXPECT_EQ(support::namesIn(root()), before);
        EXPECT_EQ(support::permissionsOf(pathOf("Inbox")), permissions);
        EXPECT_EQ(support::permissionsOf(pathOf("state.json")), 0600U);
    }
    expectEnd();
}

// The directory of commands is the application's: nothing is made and no link is followed.
TEST_F(Permissions, ALinkToADirectoryOfCommandsHoldsNone)
{
    leaveCommand("1.command");
    std::filesystem::rename(pathOf("Commands"), directory() / "Commands");
    EXPECT_FALSE(ask(ping).contains("command"));
    EXPECT_FALSE(support::exists(pathOf("Commands")));
    support::makeSymbolicLink(directory() / "Commands", pathOf("Commands"));
    EXPECT_FALSE(ask(ping).contains("command"));
    EXPECT_TRUE(support::exists(directory() / "Commands/1.command"));
}

} // namespace
