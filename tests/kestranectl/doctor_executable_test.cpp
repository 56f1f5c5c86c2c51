#include "tests/kestranectl/doctor_test.h"

#include "tests/support/as_other_user.h"

#include <cerrno>
#include <cstdio>

#include <unistd.h>

namespace kestranectl {
namespace {

class DoctorExecutable : public DoctorTest {
protected:
    // As far as the manifest and the host.
    void letEverybodyIn() const
    {
        for (const std::string path :
            { "", "/opt", "/home", "/home/.config", "/home/.config/google-chrome",
                "/home/.config/google-chrome/NativeMessagingHosts" })
            support::setPermissions(root + path, 0755);
    }
};

constexpr std::string_view notFound = "\"Specified native messaging host not found.\"";
constexpr std::string_view exited = "\"Native host has exited.\"";
constexpr std::string_view failedToStart = "\"Failed to start native messaging host.\"";
constexpr std::string_view communication
    = "\"Error when communicating with the native messaging host.\"";

TEST_F(DoctorExecutable, IsNotThere)
{
    ASSERT_EQ(std::remove(host.c_str()), 0);
    examineAll();
    EXPECT_TRUE(found(Verdict::bad, "executable", host + " is not there."));
    EXPECT_TRUE(found(Verdict::bad, "executable", notFound));
    EXPECT_TRUE(started.empty());
}

TEST_F(DoctorExecutable, IsALinkThatLeadsNowhere)
{
    ASSERT_EQ(std::remove(host.c_str()), 0);
    support::makeSymbolicLink("older version", host);
    examineAll();
    EXPECT_TRUE(found(Verdict::bad, "executable", "a link that leads nowhere"));
}

TEST_F(DoctorExecutable, IsADirectory)
{
    ASSERT_EQ(std::remove(host.c_str()), 0);
    support::makeDirectory(host);
    examineAll();
    EXPECT_TRUE(found(Verdict::bad, "executable", host + " is no file."));
    EXPECT_TRUE(found(Verdict::bad, "executable", communication));
}

TEST_F(DoctorExecutable, MayNotBeExecuted)
{
    support::setPermissions(host, 0644);
    examineAll();
    EXPECT_TRUE(found(Verdict::bad, "executable", "may not be executed (Permission denied)"));
    EXPECT_TRUE(found(Verdict::bad, "executable", exited));
    EXPECT_TRUE(advice().starts_with("Allow it: chmod a+x '" + host + "'")) << advice();
    EXPECT_TRUE(started.empty());
}

TEST_F(DoctorExecutable, IsReportedAsOnMacOSThere)
{
    support::setPermissions(host, 0644);
    surroundings.system = platform::OperatingSystem::macOS;
    install("chrome");
    leaveManifest("chrome", soundManifest());
    examineAll();
    EXPECT_TRUE(found(Verdict::bad, "executable", failedToStart));
}

TEST_F(DoctorExecutable, LacksItsInterpreter)
{
    support::writeFile(host, "#! /no/interpreter -x\n", 0755);
    examineAll();
    EXPECT_TRUE(found(Verdict::bad, "executable", "a script for /no/interpreter, which is not"));
    EXPECT_TRUE(found(Verdict::bad, "executable", exited));
    EXPECT_TRUE(started.empty());
}

TEST_F(DoctorExecutable, MayHaveAnInterpreterThatTheSystemDoesNotShow)
{
    if (!support::isRoot())
        GTEST_SKIP() << "only root can act as another user";
    letEverybodyIn();
    support::makeDirectory(root + "/closed");
    support::writeFile(host, "#!" + root + "/closed/sh\n", 0755);
    support::asUser(support::unprivilegedUser, [this] {
        examineAll();
        EXPECT_EQ(all(Verdict::bad).find("executable"), std::string::npos) << all(Verdict::bad);
        EXPECT_EQ(started.size(), 1U);
    });
}

TEST_F(DoctorExecutable, IsNoProgram)
{
    support::writeFile(host, "MZ\x90", 0755);
    examineAll();
    EXPECT_TRUE(found(Verdict::bad, "executable", "is no program of this system"));
    EXPECT_TRUE(started.empty());
}

TEST_F(DoctorExecutable, IsAProgramOfItsSystem)
{
    const std::string linuxProgram = "\x7f"
                                     "ELF\x02";
    const std::string macProgram = "\xCF\xFA\xED\xFE\x0C";
    const std::string macPrograms = "\xCA\xFE\xBA\xBE";
    support::writeFile(host, linuxProgram, 0755);
    examineAll();
    EXPECT_EQ(all(Verdict::bad), "");
    support::writeFile(host, macProgram, 0755);
    examineAll();
    EXPECT_TRUE(found(Verdict::bad, "executable", "is no program of this system"));

    surroundings.system = platform::OperatingSystem::macOS;
    install("chrome");
    leaveManifest("chrome", soundManifest());
    for (const std::string& program : { macProgram, macPrograms }) {
        support::writeFile(host, program, 0755);
        examineAll();
        EXPECT_EQ(all(Verdict::bad), "");
    }
    support::writeFile(host, linuxProgram, 0755);
    examineAll();
    EXPECT_TRUE(found(Verdict::bad, "executable", "is no program of this system"));
}

TEST_F(DoctorExecutable, IsStartedOnceForAllBrowsers)
{
    install("chromium");
    leaveManifest("chromium", soundManifest());
    examineAll();
    EXPECT_EQ(started, std::vector { host });
    EXPECT_TRUE(found(Verdict::good, "executable", "was examined above"));
}

TEST_F(DoctorExecutable, CannotBeStarted)
{
    probe = { .startError = platform::FileError { ENOEXEC } };
    examineAll();
    EXPECT_TRUE(found(Verdict::bad, "executable", "no program for this system and processor"));
    probe = { .startError = platform::FileError { ENOENT } };
    examineAll();
    EXPECT_TRUE(found(Verdict::bad, "executable", "load or interpret it is not there"));
    probe = { .startError = platform::FileError { EACCES } };
    examineAll();
    EXPECT_TRUE(found(Verdict::bad, "executable", "Permission denied"));
    EXPECT_TRUE(found(Verdict::bad, "executable", exited));
}

TEST_F(DoctorExecutable, PrintsText)
{
    probe = { .status = 0, .output = "/home/ada\n" };
    examineAll();
    EXPECT_TRUE(found(Verdict::bad, "executable", "wrote \"/home/ada"));
    EXPECT_TRUE(found(Verdict::bad, "executable", communication));
}

TEST_F(DoctorExecutable, EndsBadly)
{
    probe = { .status = 1 };
    examineAll();
    EXPECT_TRUE(found(Verdict::bad, "executable", "ended with status 1 instead of 0"));
    probe = { .signal = 9 };
    examineAll();
    EXPECT_TRUE(found(Verdict::bad, "executable", "was ended by signal 9"));
    probe = {};
    examineAll();
    EXPECT_TRUE(found(Verdict::bad, "executable", "did not end although its input was empty"));
}

TEST_F(DoctorExecutable, MayHaveABrokenSignatureOnMacOS)
{
    surroundings.system = platform::OperatingSystem::macOS;
    install("chrome");
    leaveManifest("chrome", soundManifest());
    probe = { .signal = 9 };
    examineAll();
    EXPECT_TRUE(advice().starts_with("See whether its signature holds: codesign --verify"));
}

TEST_F(DoctorExecutable, LiesWhereItWillNotStay)
{
    support::writeFile(root + "/var/tmp/host", "#!/bin/sh\n", 0755);
    leaveManifest("chrome", encode(makeManifest(root + "/var/tmp/host", { identifier })));
    examineAll();
    EXPECT_TRUE(found(Verdict::notice, "executable", "is in the temporary directory"));
}

TEST_F(DoctorExecutable, LiesInAFolderThatMacOSProtects)
{
    surroundings.system = platform::OperatingSystem::macOS;
    install("chrome");
    const std::string program = surroundings.home + "/Downloads/host";
    support::writeFile(program, "#!/bin/sh\n", 0755);
    leaveManifest("chrome", encode(makeManifest(program, { identifier })));
    examineAll();
    EXPECT_TRUE(found(Verdict::notice, "executable", "a folder that the system protects"));
}

TEST_F(DoctorExecutable, CanBeReplacedThroughADirectoryAboveItAndIsNotStarted)
{
    support::setPermissions(root + "/opt", 0777);
    examineAll();
    EXPECT_TRUE(found(
        Verdict::bad, "executable", root + "/opt can be changed by everybody (permissions 0777)."));
    EXPECT_TRUE(found(Verdict::unknown, "executable", "was not started"));
    EXPECT_TRUE(started.empty());
}

TEST_F(DoctorExecutable, IsSafeInADirectoryWithTheStickyBit)
{
    support::setPermissions(root + "/opt", 01777);
    examineAll();
    EXPECT_EQ(all(Verdict::bad), "");
    EXPECT_EQ(started.size(), 1U);
}

TEST_F(DoctorExecutable, CanBeReplacedThroughTheDirectoryOfALink)
{
    support::makeDirectory(root + "/links");
    support::makeSymbolicLink(host, root + "/links/host");
    support::setPermissions(root + "/links", 0777);
    leaveManifest("chrome", encode(makeManifest(root + "/links/host", { identifier })));
    examineAll();
    EXPECT_TRUE(found(Verdict::bad, "executable", root + "/links can be changed by everybody"));
}

TEST_F(DoctorExecutable, CanBeChangedByOthersThemselves)
{
    support::setPermissions(host, 0757);
    examineAll();
    EXPECT_TRUE(found(Verdict::bad, "executable", host + " can be changed by everybody"));
}

TEST_F(DoctorExecutable, BelongsToSomebodyElse)
{
    if (!support::isRoot())
        GTEST_SKIP() << "only root can give files away";
    ASSERT_EQ(::chown(host.c_str(), support::unprivilegedUser, support::unprivilegedUser), 0);
    examineAll();
    EXPECT_TRUE(
        found(Verdict::bad, "executable", host + " belongs to another user (number 65534)"));
    EXPECT_TRUE(started.empty());
}

TEST_F(DoctorExecutable, OfAGroupIsANoticeAndIsNotStartedByAnAdministrator)
{
    if (!support::isRoot())
        GTEST_SKIP() << "only root can give files away";
    support::setPermissions(root + "/opt", 0775);
    examineAll();
    EXPECT_EQ(all(Verdict::notice).find("executable"), std::string::npos); // root's group
    ASSERT_EQ(::chown((root + "/opt").c_str(), 0, support::unprivilegedUser), 0);
    started.clear();
    examineAll();
    EXPECT_TRUE(found(Verdict::notice, "executable", "all members of group 65534"));
    EXPECT_TRUE(started.empty());
}

TEST_F(DoctorExecutable, OfAnAdministratorIsTrustedByOthers)
{
    if (!support::isRoot())
        GTEST_SKIP() << "only root can act as another user";
    letEverybodyIn();
    support::asUser(support::unprivilegedUser, [this] {
        examineAll();
        EXPECT_TRUE(found(Verdict::good, "executable", "Nobody else can change"));
        EXPECT_EQ(started.size(), 1U);
    });
}

} // namespace
} // namespace kestranectl
