#include "tests/end_to_end/end_to_end_test.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace end_to_end;

// Installs an application of the identifier that the host opens. It reports its start and then
// lives until it is told to go, both through FIFOs.
class Launch : public EndToEnd {
protected:
    void SetUp() override
    {
        if (!support::exists(KESTRANE_GIO_COMMAND))
            GTEST_SKIP() << "applications are started by other means here";
        support::makeDirectory(directory() / "empty");
    }

    void install()
    {
        support::makeFIFO(directory() / "starts");
        support::makeFIFO(directory() / "leash");
        // Both ends here, so that neither side ever waits for the other to open.
        starts_ = support::Descriptor(
            ::open((directory() / "starts").c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
        leash_ = support::Descriptor(
            ::open((directory() / "leash").c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
        ASSERT_GE(starts_.number(), 0);
        ASSERT_GE(leash_.number(), 0);
        const std::string script = "#!/bin/sh\nexec 8>'" + (directory() / "starts") + "' 9<'"
            + (directory() / "leash") + "'\necho $$ >&8\nread release <&9\necho gone >&8\n";
        support::writeFile(directory() / "application", script, 0700);
        support::writeFile(
            directory() / "data/applications/" KESTRANE_COMPANION_BUNDLE_IDENTIFIER ".desktop",
            "[Desktop Entry]\nType=Application\nName=Application\nExec="
                + (directory() / "application") + "\n");
    }

    support::HostOptions optionsOfDesktop() const
    {
        support::HostOptions result = options();
        result.environment.push_back("XDG_DATA_HOME=" + (directory() / "data"));
        result.environment.push_back("XDG_DATA_DIRS=" + (directory() / "empty"));
        return result;
    }

    // The next line that an application that was started reports.
    std::string nextReport() const
    {
        std::string line;
        for (std::string piece = support::readSome(starts_.number(), 1);
            piece != "\n" && !piece.empty(); piece = support::readSome(starts_.number(), 1))
            line += piece;
        return line;
    }

    // Whether all that was reported has been read.
    bool nothingReported() const
    {
        char byte = 0;
        return ::read(starts_.number(), &byte, 1) < 0 && errno == EAGAIN;
    }

    void releaseOne() const { ASSERT_EQ(::write(leash_.number(), "\n", 1), 1); }

private:
    support::Descriptor starts_;
    support::Descriptor leash_;
};

TEST_F(Launch, StartsTheApplicationOnceForEachRequest)
{
    install();
    startHost(optionsOfDesktop());
    for (const char* const type : { "openMerrowin", "openDiagnostics" }) {
        SCOPED_TRACE(type);
        EXPECT_EQ(ask(request(type)).at("accepted"), true);
        EXPECT_NE(nextReport(), "");
        releaseOne();
        EXPECT_EQ(nextReport(), "gone");
        EXPECT_TRUE(nothingReported());
    }
    expectEnd();
    EXPECT_EQ(namesMadeByHost(), std::vector<std::string> {});
}

TEST_F(Launch, WhatIsStartedOutlivesTheHostAndHoldsNoneOfItsStreams)
{
    install();
    startHost(optionsOfDesktop());
    EXPECT_EQ(ask(request("openMerrowin")).at("accepted"), true);
    const std::string identifier = nextReport();
    expectEnd(); // reads both output streams to their end, which a second holder would put off
    EXPECT_EQ(::kill(std::stoi(identifier), 0), 0) << identifier;
    releaseOne();
    EXPECT_EQ(nextReport(), "gone");
}

TEST_F(Launch, LeavesNoZombieBehind)
{
    if (!support::exists("/proc/self/stat"))
        GTEST_SKIP() << "this system has no list of processes as files";
    install();
    startHost(optionsOfDesktop());
    EXPECT_EQ(ask(request("openMerrowin")).at("accepted"), true);
    EXPECT_NE(nextReport(), "");
    for (const auto& process : std::filesystem::directory_iterator("/proc")) {
        std::ifstream stream(process.path() / "stat");
        std::string stat;
        std::getline(stream, stat);
        const std::size_t afterName = stat.rfind(')');
        if (afterName == std::string::npos)
            continue;
        std::istringstream fields(stat.substr(afterName + 1));
        char state = ' ';
        pid_t parent = 0;
        fields >> state >> parent;
        EXPECT_NE(parent, host().identifier()) << stat;
    }
    releaseOne();
    EXPECT_EQ(nextReport(), "gone");
    expectEnd();
}

TEST_F(Launch, RequestsThatAreRefusedStartNothing)
{
    install();
    startHost(optionsOfDesktop());
    EXPECT_EQ(ask(request("openMerrowin", { { "browserBundleIdentifier", "org.mozilla.firefox" } }))
                  .at("accepted"),
        false);
    EXPECT_EQ(ask(request("openMerrowin", { { "protocolVersion", 2 } })).at("accepted"), false);
    EXPECT_EQ(ask(request("readinessPing", { { "extensionVersion", "1" } })).at("accepted"), true);
    expectEnd();
    EXPECT_TRUE(nothingReported());
}

TEST_F(Launch, IsAcceptedWithoutTheApplication)
{
    startHost(optionsOfDesktop());
    for (const char* const type : { "openMerrowin", "openDiagnostics" })
        EXPECT_EQ(ask(request(type)).at("accepted"), true);
    expectEnd();
    EXPECT_EQ(namesMadeByHost(), std::vector<std::string> {});
}

} // namespace
