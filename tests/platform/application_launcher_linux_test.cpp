// Opening an application by its desktop entry, with the real command of GIO.

#include "platform/application_launcher.h"
#include "tests/platform/launch_record.h"
#include "tests/support/as_other_user.h"
#include "tests/support/environment_variable.h"
#include "tests/support/host_process.h"
#include "tests/support/temporary_directory.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace support;

constexpr const char* identifier = "com.example.Probe";

std::string entryFile(const std::string& dataDirectory)
{
    return dataDirectory + "/applications/com.example.Probe.desktop";
}

void writeEntry(const std::string& dataDirectory, const std::string& command)
{
    writeFile(entryFile(dataDirectory),
        "[Desktop Entry]\nType=Application\nName=Probe\nExec=" + command + "\n", 0644);
}

// A home directory and data directories of the test's own; nothing reaches the desktop of whoever
// runs the tests.
class OpenApplication : public testing::Test {
protected:
    void SetUp() override
    {
        if (::access(KESTRANE_GIO_COMMAND, X_OK) != 0)
            GTEST_SKIP() << "there is no " KESTRANE_GIO_COMMAND;
        makeDirectory(home());
    }

    [[nodiscard]] std::string home() const { return directory_ / "home"; }
    [[nodiscard]] std::string data(const std::string& name) const { return directory_ / name; }

    // The command that has the probe leave its record under that name.
    [[nodiscard]] std::string probe(const std::string& record = "record") const
    {
        return launchProbe() + ' ' + data(record);
    }

    // Opens the application and waits for the end of all that this started.
    void open(std::string_view application = identifier)
    {
        Descendants descendants;
        EXPECT_FALSE(platform::openApplication(application));
        descendants.waitForAll();
    }

    [[nodiscard]] LaunchRecord record(const std::string& name = "record") const
    {
        return LaunchRecord(data(name));
    }

private:
    TemporaryDirectory directory_;
    ScopedVariable home_ { "HOME", home() };
    ScopedVariable dataHome_ { "XDG_DATA_HOME", data("dataHome") };
    ScopedVariable dataDirectories_ { "XDG_DATA_DIRS", data("first") + ':' + data("second") };
    ScopedVariable runtimeDirectory_ { "XDG_RUNTIME_DIR", data("runtime") };
    ScopedVariable configuration_ { "XDG_CONFIG_HOME", data("configuration") };
    ScopedVariable bus_ { "DBUS_SESSION_BUS_ADDRESS", "disabled:" };
    ScopedVariable display_ { "DISPLAY", std::nullopt };
};

TEST_F(OpenApplication, StartsTheEntryOfThatIdentifierOnce)
{
    writeEntry(data("first"), probe());
    open();
    EXPECT_EQ(record().startCount(), 1);
    EXPECT_EQ(record().value("arguments"), "2");
}

TEST_F(OpenApplication, TakesTheFirstDirectoryThatHasIt)
{
    writeEntry(data("second"), probe("of second"));
    writeEntry(data("dataHome"), probe("ofHome"));
    writeEntry(data("first"), probe("ofFirst"));
    open();
    EXPECT_EQ(record("ofHome").startCount(), 1);
    EXPECT_FALSE(exists(data("ofFirst")));

    ::unlink(entryFile(data("dataHome")).c_str());
    open();
    EXPECT_EQ(record("ofFirst").startCount(), 1);

    writeEntry(data("second"), probe("ofSecond"));
    ::unlink(entryFile(data("first")).c_str());
    open();
    EXPECT_EQ(record("ofSecond").startCount(), 1);
    EXPECT_EQ(record("ofFirst").startCount(), 1);
}

TEST_F(OpenApplication, LooksBelowTheHomeDirectoryWithoutXDG_DATA_HOME)
{
    for (const auto& value : { std::optional<std::string>(), std::optional<std::string>(""),
             std::optional<std::string>("relative") }) {
        SCOPED_TRACE(value.value_or("unset"));
        const ScopedVariable dataHome("XDG_DATA_HOME", value);
        writeEntry(home() + "/.local/share", probe());
        open();
        EXPECT_EQ(record().startCount(), 1);
        ::unlink(data("record").c_str());
    }
}

TEST_F(OpenApplication, PassesOverDirectoriesThatAreNotAbsolute)
{
    inChildProcess([this] {
        ASSERT_EQ(::chdir(data("").c_str()), 0);
        writeEntry(data("relative"), probe("ofRelative"));
        writeEntry(data("relative/.local/share"), probe("ofRelative"));
        const ScopedVariable dataHome("XDG_DATA_HOME", "relative");
        const ScopedVariable homeless("HOME", "relative");
        const ScopedVariable directories("XDG_DATA_DIRS", "relative::./relative:");
        open();
        EXPECT_FALSE(exists(data("ofRelative")));

        writeEntry(data("second"), probe());
        const ScopedVariable more("XDG_DATA_DIRS", "relative:::" + data("second") + ":");
        open();
        EXPECT_EQ(record().startCount(), 1);
    });
}

TEST_F(OpenApplication, LooksInTheSystemsDirectoriesWithoutXDG_DATA_DIRS)
{
    if (!isRoot())
        GTEST_SKIP() << "only root can put an entry into the system's directories";
    for (const char* const systemDirectory : { "/usr/local/share", "/usr/share" }) {
        inChildProcess([this, systemDirectory] {
            if (::unshare(CLONE_NEWNS) != 0
                || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0
                || ::mount("none", systemDirectory, "tmpfs", 0, nullptr) != 0)
                GTEST_SKIP() << "mounting is not permitted here: " << std::strerror(errno);
            writeEntry(systemDirectory, probe());
            for (const auto& value :
                { std::optional<std::string>(), std::optional<std::string>("") }) {
                const ScopedVariable directories("XDG_DATA_DIRS", value);
                open();
            }
            EXPECT_EQ(record().startCount(), 2);
            ::unlink(data("record").c_str());
        });
    }
}

TEST_F(OpenApplication, PassesOverWhatIsNoFile)
{
    makeDirectory(entryFile(data("dataHome")));
    makeDirectory(data("first") + "/applications");
    makeFIFO(entryFile(data("first")));
    writeEntry(data("second"), probe());
    open();
    EXPECT_EQ(record().startCount(), 1);
}

TEST_F(OpenApplication, TakesALinkToAnEntry)
{
    writeEntry(data("elsewhere"), probe());
    makeDirectory(data("first") + "/applications");
    makeSymbolicLink(entryFile(data("elsewhere")), entryFile(data("first")));
    open();
    EXPECT_EQ(record().startCount(), 1);
}

TEST_F(OpenApplication, DoesNothingWithoutAnEntry)
{
    Descendants descendants;
    EXPECT_FALSE(platform::openApplication(identifier));
    EXPECT_FALSE(platform::openApplication(""));
    EXPECT_EQ(descendants.waitForAll(), 0);
}

TEST_F(OpenApplication, DoesNotTakeAnIdentifierForAPath)
{
    writeEntry(data("first"), probe());
    makeDirectory(data("first") + "/applications/deeper");
    Descendants descendants;
    for (const std::string& path : { std::string("deeper/../com.example.Probe"),
             std::string("../applications/com.example.Probe"), std::string("/com.example.Probe") })
        EXPECT_FALSE(platform::openApplication(path));
    EXPECT_EQ(descendants.waitForAll(), 0);
    EXPECT_FALSE(exists(data("record")));
}

TEST_F(OpenApplication, SurvivesEntriesThatCannotBeStarted)
{
    struct Row {
        const char* name;
        std::string contents;
    };
    const std::vector<Row> rows {
        { "empty", "" },
        { "no entry", std::string(100'000, '\xFF') },
        { "no command", "[Desktop Entry]\nType=Application\nName=Probe\n" },
        { "unfinished quotation",
            "[Desktop Entry]\nType=Application\nName=Probe\nExec=\"" + probe() + "\n" },
        { "missing program",
            "[Desktop Entry]\nType=Application\nName=Probe\nExec=/nonexistent/program\n" },
        { "no application",
            "[Desktop Entry]\nType=Link\nName=Probe\nURL=file:///\nExec=" + probe() + "\n" },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        writeFile(entryFile(data("first")), row.contents, 0644);
        open();
        EXPECT_FALSE(exists(data("record")));
    }
}

TEST_F(OpenApplication, DetachesTheApplicationFromThisProcess)
{
    writeEntry(data("first"), probe());
    const Pipe pipe;
    const int inheritable = ::dup(pipe.writeEnd.number());
    inChildProcess([this] {
        ASSERT_NE(std::signal(SIGPIPE, SIG_IGN), SIG_ERR);
        sigset_t blocked;
        ::sigemptyset(&blocked);
        ::sigaddset(&blocked, SIGUSR1);
        ASSERT_EQ(::sigprocmask(SIG_BLOCK, &blocked, nullptr), 0);
        open();
    });
    ::close(inheritable);
    const LaunchRecord started = record();
    EXPECT_EQ(started.startCount(), 1);
    EXPECT_NE(started.value("session"), std::to_string(::getsid(0)));
    EXPECT_EQ(started.value("terminal"), "none");
    EXPECT_EQ(started.value("directory"), home());
    for (const char* const stream : { "descriptor0", "descriptor1", "descriptor2" })
        EXPECT_EQ(started.value(stream), "/dev/null");
    EXPECT_EQ(
        started.values("descriptor" + std::to_string(inheritable)), std::vector<std::string> {});
    EXPECT_EQ(started.value("SigIgn:"), "0000000000000000");
    EXPECT_EQ(started.value("SigBlk:"), "0000000000000000");
}

// The probe waits for the gate, so returning shows that nobody waits for the application.
TEST_F(OpenApplication, ReturnsAtOnceAndKeepsNoPipeOpen)
{
    makeFIFO(data("gate"));
    writeEntry(data("first"), probe() + ' ' + data("gate"));
    Descendants descendants;
    Pipe pipe;
    const int inheritable = ::dup(pipe.writeEnd.number());
    EXPECT_FALSE(platform::openApplication(identifier));
    EXPECT_FALSE(exists(data("record")));

    ::close(inheritable);
    pipe.writeEnd.close();
    ASSERT_EQ(::fcntl(pipe.readEnd.number(), F_SETFL, O_NONBLOCK), 0);
    char byte = 0;
    EXPECT_EQ(::read(pipe.readEnd.number(), &byte, 1), 0) << std::strerror(errno);

    // Opening the gate waits for the probe in its turn.
    ::close(::open(data("gate").c_str(), O_WRONLY));
    descendants.waitForAll();
    EXPECT_EQ(record().startCount(), 1);
}

TEST_F(OpenApplication, LeavesNoChildBehind)
{
    makeFIFO(data("record"));
    writeEntry(data("first"), probe());
    EXPECT_FALSE(platform::openApplication(identifier));
    EXPECT_TRUE(hasNoChild());
    EXPECT_EQ(record().startCount(), 1); // reading waits for the probe
    EXPECT_TRUE(hasNoChild());
}

TEST_F(OpenApplication, TakesFromTheEnvironmentWhatTheBrowserAdded)
{
    const ScopedVariable wrapper("CHROME_WRAPPER", "/opt/browser/start");
    const ScopedVariable desktop("CHROME_DESKTOP", "browser.desktop");
    const ScopedVariable version("CHROME_VERSION_EXTRA", "stable");
    const ScopedVariable users("CHROME_CONFIG_HOME", "/home/u/config");
    const ScopedVariable other("KESTRANE_TEST_VARIABLE", "kept");
    writeEntry(data("first"), probe());
    open();
    EXPECT_EQ(record().variable("CHROME_WRAPPER"), "unset");
    EXPECT_EQ(record().variable("CHROME_DESKTOP"), "unset");
    EXPECT_EQ(record().variable("CHROME_VERSION_EXTRA"), "unset");
    EXPECT_EQ(record().variable("DBUS_SESSION_BUS_ADDRESS"), "unset");
    EXPECT_EQ(record().variable("CHROME_CONFIG_HOME"), "/home/u/config");
    EXPECT_EQ(record().variable("KESTRANE_TEST_VARIABLE"), "kept");
    EXPECT_EQ(record().variable("HOME"), home());
}

TEST_F(OpenApplication, KeepsTheAddressOfARealBus)
{
    const std::string address = "unix:path=" + data("no bus");
    const ScopedVariable bus("DBUS_SESSION_BUS_ADDRESS", address);
    writeEntry(data("first"), probe());
    open();
    EXPECT_EQ(record().variable("DBUS_SESSION_BUS_ADDRESS"), address);
}

} // namespace
