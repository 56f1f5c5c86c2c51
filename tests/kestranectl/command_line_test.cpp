#include "kestranectl/command_line.h"
#include "tests/kestranectl/recorded_console.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace kestranectl {
namespace {

using Texts = std::vector<std::string>;

class ParseCommandLine : public testing::Test, protected support::RecordedConsole {
protected:
    std::expected<Command, ExitStatus> parse(std::vector<const char*> words)
    {
        output.clear();
        error.clear();
        words.insert(words.begin(), "/usr/bin/kestranectl");
        return parseCommandLine(words, console());
    }

    // The options that the words mean; fails the test, and yields the defaults, if they are not
    // those of this command.
    template <typename Options> Options optionsOf(const std::vector<const char*>& words)
    {
        const auto command = parse(words);
        EXPECT_EQ(output + error, "");
        const auto* const options = command ? std::get_if<Options>(&*command) : nullptr;
        EXPECT_NE(options, nullptr) << words.front();
        return options != nullptr ? *options : Options {};
    }

    // What is said about words that make no sense.
    std::string complaintAbout(const std::vector<const char*>& words)
    {
        const auto command = parse(words);
        EXPECT_TRUE(!command && command.error() == ExitStatus::usage);
        EXPECT_EQ(output, "");
        return error;
    }

    std::string helpOf(const std::vector<const char*>& words)
    {
        const auto command = parse(words);
        EXPECT_TRUE(!command && command.error() == ExitStatus::success);
        EXPECT_EQ(error, "");
        return output;
    }
};

TEST_F(ParseCommandLine, ReadsRegister)
{
    const auto plain = optionsOf<RegisterOptions>({ "register" });
    EXPECT_EQ(plain.browsers, Texts {});
    EXPECT_EQ(plain.extensionIdentifiers, Texts {});
    EXPECT_EQ(plain.hostPath, "");
    EXPECT_EQ(plain.scope, Scope::user);
    EXPECT_FALSE(plain.force);
    EXPECT_FALSE(plain.dryRun);

    const auto full = optionsOf<RegisterOptions>(
        { "register", "--browser", "chrome", "--browser", "chrome-beta", "--extension-id", "x",
            "--extension-id", "y", "--host", "/a b", "--system", "--force", "--dry-run" });
    EXPECT_EQ(full.browsers, (Texts { "chrome", "chrome-beta" }));
    EXPECT_EQ(full.extensionIdentifiers, (Texts { "x", "y" }));
    EXPECT_EQ(full.hostPath, "/a b");
    EXPECT_EQ(full.scope, Scope::system);
    EXPECT_TRUE(full.force);
    EXPECT_TRUE(full.dryRun);
}

TEST_F(ParseCommandLine, ReadsUnregister)
{
    const auto plain = optionsOf<UnregisterOptions>({ "unregister" });
    EXPECT_EQ(plain.browsers, Texts {});
    EXPECT_EQ(plain.scope, Scope::user);
    EXPECT_FALSE(plain.force);
    EXPECT_FALSE(plain.dryRun);

    const auto full = optionsOf<UnregisterOptions>(
        { "unregister", "--browser=chrome", "--system", "--force", "--dry-run" });
    EXPECT_EQ(full.browsers, Texts { "chrome" });
    EXPECT_EQ(full.scope, Scope::system);
    EXPECT_TRUE(full.force);
    EXPECT_TRUE(full.dryRun);
}

TEST_F(ParseCommandLine, ReadsDoctor)
{
    const auto plain = optionsOf<DoctorOptions>({ "doctor" });
    EXPECT_EQ(plain.browsers, Texts {});
    EXPECT_EQ(plain.extensionIdentifier, "");
    EXPECT_EQ(plain.bridgeDirectory, "");
    EXPECT_FALSE(plain.json);

    const auto full = optionsOf<DoctorOptions>({ "doctor", "--browser", "a", "--browser", "b",
        "--extension-id", "x", "--directory", "d", "--json" });
    EXPECT_EQ(full.browsers, (Texts { "a", "b" }));
    EXPECT_EQ(full.extensionIdentifier, "x");
    EXPECT_EQ(full.bridgeDirectory, "d");
    EXPECT_TRUE(full.json);
}

TEST_F(ParseCommandLine, ReadsWatch)
{
    const auto plain = optionsOf<WatchOptions>({ "watch" });
    EXPECT_EQ(plain.bridgeDirectory, "");
    EXPECT_FALSE(plain.json);
    EXPECT_FALSE(plain.once);

    const auto full = optionsOf<WatchOptions>({ "watch", "--directory", "d", "--json", "--once" });
    EXPECT_EQ(full.bridgeDirectory, "d");
    EXPECT_TRUE(full.json);
    EXPECT_TRUE(full.once);
}

TEST_F(ParseCommandLine, ReadsSimulate)
{
    const auto plain = optionsOf<SimulateOptions>({ "simulate" });
    EXPECT_EQ(plain.bridgeDirectory, "");
    EXPECT_TRUE(plain.sessionRunning);
    EXPECT_FALSE(plain.trackingPaused);
    EXPECT_EQ(plain.frontmostBrowser, "com.google.Chrome");
    EXPECT_FALSE(plain.filenameLabelsEnabled);
    EXPECT_FALSE(plain.keepEvents);
    EXPECT_FALSE(plain.force);

    const auto full
        = optionsOf<SimulateOptions>({ "simulate", "--directory", "d", "--no-session", "--paused",
            "--frontmost", "com.apple.Safari", "--filename-labels", "--keep-events", "--force" });
    EXPECT_EQ(full.bridgeDirectory, "d");
    EXPECT_FALSE(full.sessionRunning);
    EXPECT_TRUE(full.trackingPaused);
    EXPECT_EQ(full.frontmostBrowser, "com.apple.Safari");
    EXPECT_TRUE(full.filenameLabelsEnabled);
    EXPECT_TRUE(full.keepEvents);
    EXPECT_TRUE(full.force);

    EXPECT_EQ(
        optionsOf<SimulateOptions>({ "simulate", "--frontmost", "none" }).frontmostBrowser, "");
}

TEST_F(ParseCommandLine, ReadsConnect)
{
    const auto plain = optionsOf<ConnectOptions>({ "connect" });
    EXPECT_EQ(plain.hostPath, "");
    EXPECT_EQ(plain.extensionIdentifier, "");
    EXPECT_EQ(plain.bridgeDirectory, "");
    EXPECT_EQ(plain.timeout, 10);
    EXPECT_EQ(plain.requests, Texts {});

    const auto full = optionsOf<ConnectOptions>({ "connect", "--host", "h", "--extension-id", "x",
        "--directory", "d", "--timeout", "0.5", "ping", "watch", "{\"a\":[1,\"b c\"]}", "" });
    EXPECT_EQ(full.hostPath, "h");
    EXPECT_EQ(full.extensionIdentifier, "x");
    EXPECT_EQ(full.bridgeDirectory, "d");
    EXPECT_EQ(full.timeout, 0.5);
    EXPECT_EQ(full.requests, (Texts { "ping", "watch", "{\"a\":[1,\"b c\"]}", "" }));
    EXPECT_EQ(optionsOf<ConnectOptions>({ "connect", "a", "--timeout", "1", "b" }).requests,
        (Texts { "a", "b" }));
}

TEST_F(ParseCommandLine, ReadsTimeoutsUpToADay)
{
    EXPECT_EQ(optionsOf<ConnectOptions>({ "connect", "--timeout", "86400" }).timeout, 86400);
    EXPECT_EQ(optionsOf<ConnectOptions>({ "connect", "--timeout", "1e-9" }).timeout, 1e-9);
    for (const char* const timeout : { "86400.1", "0", "nan", "inf" })
        EXPECT_EQ(complaintAbout({ "connect", "--timeout", timeout }),
            "kestranectl: --timeout takes more than 0 and at most 86400 seconds. See \"kestranectl "
            "connect --help\".\n");
    for (const char* const timeout : { "-1", "x", "1s", "" })
        EXPECT_NE(complaintAbout({ "connect", "--timeout", timeout }), "");
}

TEST_F(ParseCommandLine, ReadsDecodeLength)
{
    EXPECT_EQ(optionsOf<DecodeLengthOptions>({ "decode-length", "0" }).length, 0U);
    EXPECT_EQ(optionsOf<DecodeLengthOptions>({ "decode-length", "010" }).length, 10U);
    EXPECT_EQ(
        optionsOf<DecodeLengthOptions>({ "decode-length", "4294967295" }).length, 4294967295U);
    for (const char* const number : { "4294967296", "0x10", "1.0", "", " 1", "1 ", "x" })
        EXPECT_EQ(complaintAbout({ "decode-length", number }),
            "kestranectl: \"" + std::string(number)
                + "\" is no number from 0 to 4294967295. See \"kestranectl decode-length "
                  "--help\".\n");
    EXPECT_NE(complaintAbout({ "decode-length" }), "");
    EXPECT_NE(complaintAbout({ "decode-length", "1", "2" }), "");
    EXPECT_NE(complaintAbout({ "decode-length", "-1" }), "");
}

TEST_F(ParseCommandLine, RefusesWordsThatNobodyKnows)
{
    for (const auto& words : std::vector<std::vector<const char*>> { {}, { "" }, { "wacht" },
             { "--json" }, { "watch", "extra" }, { "watch", "--jsno" }, { "watch", "doctor" },
             { "register", "--browser", "a", "b" }, { "doctor", "--directory" },
             { "watch", "--json=maybe" }, { "watch", "--directory", "a", "--directory", "b" } }) {
        const std::string complaint = complaintAbout(words);
        EXPECT_TRUE(complaint.starts_with("kestranectl: ")) << complaint;
        EXPECT_TRUE(complaint.ends_with("--help\".\n")) << complaint;
        EXPECT_EQ(complaint.find('\n'), complaint.size() - 1) << complaint;
    }
}

TEST_F(ParseCommandLine, SaysWhereHelpIs)
{
    EXPECT_EQ(
        complaintAbout({}), "kestranectl: A command is missing. See \"kestranectl --help\".\n");
    EXPECT_EQ(complaintAbout({ "--json" }),
        "kestranectl: \"--json\" is no option. See \"kestranectl --help\".\n");
    EXPECT_EQ(complaintAbout({ "wacht" }),
        "kestranectl: \"wacht\" is no command. See \"kestranectl --help\".\n");
    EXPECT_TRUE(
        complaintAbout({ "watch", "--jsno" }).ends_with(" See \"kestranectl watch --help\".\n"))
        << error;
}

TEST_F(ParseCommandLine, ShowsUnknownWordsSoThatATerminalDoesNothing)
{
    EXPECT_NE(complaintAbout({ "watch", "\x1b[31m" }).find("\\x1B[31m"), std::string::npos);
}

// A variable of a script that was never set must not stand for the default.
TEST_F(ParseCommandLine, RefusesEmptyValues)
{
    for (const auto& words : std::vector<std::vector<const char*>> {
             { "register", "--browser", "" }, { "register", "--extension-id", "" },
             { "register", "--host", "" }, { "unregister", "--browser", "" },
             { "doctor", "--directory", "" }, { "doctor", "--extension-id", "" },
             { "watch", "--directory", "" }, { "simulate", "--directory=" },
             { "simulate", "--frontmost", "" }, { "connect", "--host", "" },
             { "connect", "--directory", "" }, { "connect", "--extension-id", "" } })
        EXPECT_NE(complaintAbout(words), "");
}

TEST_F(ParseCommandLine, ExplainsEveryCommand)
{
    const std::string all = helpOf({ "--help" });
    for (const char* const command :
        { "register", "unregister", "doctor", "watch", "simulate", "connect", "decode-length" }) {
        EXPECT_NE(all.find(std::string("\n  ") + command), std::string::npos) << all;
        const std::string help = helpOf({ command, "--help" });
        EXPECT_NE(help.find(std::string("\n  kestranectl ") + command), std::string::npos) << help;
        EXPECT_NE(help.find("--help"), std::string::npos) << help;
    }
    EXPECT_NE(all.find("Status: 0 "), std::string::npos);
}

TEST_F(ParseCommandLine, KeepsHelpWithinAHundredColumns)
{
    for (const auto& words :
        std::vector<std::vector<const char*>> { { "--help" }, { "register", "--help" },
            { "unregister", "--help" }, { "doctor", "--help" }, { "watch", "--help" },
            { "simulate", "--help" }, { "connect", "--help" }, { "decode-length", "--help" } }) {
        const std::string text = helpOf(words);
        for (std::string_view help = text; !help.empty(); help.remove_prefix(help.find('\n') + 1))
            EXPECT_LE(help.find('\n'), 100U) << help.substr(0, help.find('\n'));
    }
}

TEST_F(ParseCommandLine, TellsTheVersion)
{
    EXPECT_EQ(helpOf({ "--version" }), "kestranectl 0.3.0\n");
}

} // namespace
} // namespace kestranectl
