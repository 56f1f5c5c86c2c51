#include "kestranectl/command_line.h"

#include "host/host_constants.h"

#include <charconv>
#include <optional>
#include <sstream>
#include <string>
#include <system_error>
#include <utility>

// The library for command lines: its exceptions stay in this file.
#include <CLI/CLI.hpp>

namespace kestranectl {

namespace {

constexpr double longestTimeout = 86400;

// What the words are read into.
struct Words {
    RegisterOptions registration;
    UnregisterOptions unregistration;
    DoctorOptions doctor;
    WatchOptions watch;
    SimulateOptions simulate;
    bool noSession = false;
    ConnectOptions connect;
    std::string length;
};

// An empty text is mostly a variable of a script that was never set, and would mean the default.
std::string refuseEmpty(const std::string& text)
{
    return text.empty() ? "an empty text makes no sense here" : "";
}

void addText(CLI::App& command, const std::string& name, std::string& text,
    const std::string& valueName, const std::string& description)
{
    command.add_option(name, text, description)->type_name(valueName)->check(refuseEmpty);
}

void addTexts(CLI::App& command, const std::string& name, std::vector<std::string>& texts,
    const std::string& valueName, const std::string& description)
{
    // One value each time, so that words behind it are not taken for more of them.
    command.add_option(name, texts, description)
        ->type_name(valueName)
        ->allow_extra_args(false)
        ->check(refuseEmpty);
}

void addBrowsers(
    CLI::App& command, std::vector<std::string>& browsers, const std::string& otherwise)
{
    addTexts(command, "--browser", browsers, "NAME",
        "A browser, such as chrome or chrome-beta; may be given\nseveral times. Otherwise "
            + otherwise + ".");
}

void addDirectory(CLI::App& command, std::string& directory)
{
    addText(command, "--directory", directory, "PATH",
        "The bridge directory. Otherwise the one that the host uses.");
}

void addHost(CLI::App& command, std::string& path)
{
    addText(command, "--host", path, "PATH",
        "The host's executable. Otherwise the one that was installed\nwith this tool.");
}

void addRegister(CLI::App& tool, RegisterOptions& options, bool& system)
{
    CLI::App& command = *tool.add_subcommand("register", "Makes the host known to browsers.");
    addBrowsers(command, options.browsers, "every one that you have");
    addTexts(command, "--extension-id", options.extensionIdentifiers, "ID",
        "An extension that may start the host: 32 letters from a to p;\nmay be given several "
        "times. Otherwise those that the tool was\nbuilt with.");
    addHost(command, options.hostPath);
    command.add_flag("--system", system, "For all users of this computer; takes an administrator.");
    command.add_flag(
        "--force", options.force, "Replaces also manifests that somebody else wrote or changed.");
    command.add_flag("--dry-run", options.dryRun, "Says what would be done, and does nothing.");
    command.footer("Examples:\n"
                   "  kestranectl register\n"
                   "  kestranectl register --browser chrome --dry-run");
}

void addUnregister(CLI::App& tool, UnregisterOptions& options, bool& system)
{
    CLI::App& command = *tool.add_subcommand("unregister", "Removes what register has written.");
    addBrowsers(command, options.browsers, "all that are known");
    command.add_flag("--system", system, "For all users of this computer; takes an administrator.");
    command.add_flag(
        "--force", options.force, "Removes also manifests that cannot be read as one.");
    command.add_flag("--dry-run", options.dryRun, "Says what would be done, and does nothing.");
    command.footer("Examples:\n"
                   "  kestranectl unregister\n"
                   "  kestranectl unregister --browser chrome-beta");
}

void addDoctor(CLI::App& tool, DoctorOptions& options)
{
    CLI::App& command = *tool.add_subcommand(
        "doctor", "Finds out why the extension, the host or the application do not meet.");
    addBrowsers(command, options.browsers, "every one that you have");
    addText(command, "--extension-id", options.extensionIdentifier, "ID",
        "The extension that must be able to start the host. Otherwise\nany.");
    addDirectory(command, options.bridgeDirectory);
    command.add_flag("--json", options.json, "Prints one JSON object per line and finding.");
    command.footer("Examples:\n"
                   "  kestranectl doctor\n"
                   "  kestranectl doctor --browser chrome --json");
}

void addWatch(CLI::App& tool, WatchOptions& options)
{
    CLI::App& command = *tool.add_subcommand(
        "watch", "Shows what happens in the bridge directory, until Ctrl-C.");
    addDirectory(command, options.bridgeDirectory);
    command.add_flag("--json", options.json, "Prints one JSON object per line and change.");
    command.add_flag("--once", options.once, "Shows what is there now, and ends.");
    command.footer("Examples:\n"
                   "  kestranectl watch\n"
                   "  kestranectl watch --once --json");
}

void addSimulate(CLI::App& tool, SimulateOptions& options, bool& noSession)
{
    CLI::App& command = *tool.add_subcommand("simulate",
        "Plays the application, until \"quit\" or Ctrl-C; reads commands\nfrom standard input.");
    addDirectory(command, options.bridgeDirectory);
    command.add_flag("--no-session", noSession, "No focus session runs.");
    command.add_flag("--paused", options.trackingPaused, "The user has paused browser tracking.");
    addText(command, "--frontmost", options.frontmostBrowser, "IDENTIFIER",
        "The bundle identifier of the application in front, or none.\nOtherwise "
            + options.frontmostBrowser + '.');
    command.add_flag(
        "--filename-labels", options.filenameLabelsEnabled, "File names may be used as labels.");
    command.add_flag("--keep-events", options.keepEvents, "Shows events, but does not take them.");
    command.add_flag("--force", options.force, "Also beside an application that runs.");
    command.footer("Examples:\n"
                   "  kestranectl simulate\n"
                   "  kestranectl simulate --directory /tmp/bridge --frontmost none");
}

void addConnect(CLI::App& tool, ConnectOptions& options)
{
    CLI::App& command = *tool.add_subcommand(
        "connect", "Plays the browser: starts the host and sends it requests.");
    addHost(command, options.hostPath);
    addText(command, "--extension-id", options.extensionIdentifier, "ID",
        "The extension that the host is told to be started by: 32\nletters from a to p.");
    addDirectory(command, options.bridgeDirectory);
    command
        .add_option(
            "--timeout", options.timeout, "How long to wait for each answer. Otherwise 10 seconds.")
        ->type_name("SECONDS");
    command
        .add_option("REQUEST", options.requests,
            "JSON objects, or ping, open, diagnostics, pause, resume, active\nor activity=HOST. "
            "Otherwise one per line of standard input.")
        ->type_name("");
    command.footer("Examples:\n"
                   "  kestranectl connect ping activity=example.com\n"
                   "  echo open | kestranectl connect --directory /tmp/bridge");
}

void addDecodeLength(CLI::App& tool, std::string& length)
{
    CLI::App& command = *tool.add_subcommand(
        "decode-length", "Explains a browser's complaint about a message that is N bytes long.");
    command.add_option("N", length, "The number of bytes, at most 4294967295.")
        ->type_name("")
        ->required();
    command.footer("Example:\n"
                   "  kestranectl decode-length 1836017711");
}

void addEverything(CLI::App& tool, Words& words, bool& system)
{
    tool.name("kestranectl");
    tool.description("Sets up, examines and tries out Kestrane's native-messaging host.");
    tool.set_help_flag("--help", "Explains the command.");
    tool.set_version_flag(
        "--version", "kestranectl " + std::string(host::nativeHostVersion), "Prints the version.");
    tool.require_subcommand(1);
    tool.get_formatter()->label("SUBCOMMAND", "COMMAND");
    tool.get_formatter()->label("Positionals", "Words");
    tool.footer(
        "\"kestranectl COMMAND --help\" explains one of them.\n"
        "Status: 0 if all is well, 1 if something is wrong or failed, 2 if the command line "
        "makes no sense.");
    addRegister(tool, words.registration, system);
    addUnregister(tool, words.unregistration, system);
    addDoctor(tool, words.doctor);
    addWatch(tool, words.watch);
    addSimulate(tool, words.simulate, words.noSession);
    addConnect(tool, words.connect);
    addDecodeLength(tool, words.length);
    for (CLI::App* const command : tool.get_subcommands([](CLI::App*) { return true; }))
        command->group("Commands");
}

std::expected<Command, std::string> simulateCommand(const Words& words)
{
    SimulateOptions options = words.simulate;
    options.sessionRunning = !words.noSession;
    if (options.frontmostBrowser == "none")
        options.frontmostBrowser.clear();
    return options;
}

std::expected<Command, std::string> connectCommand(const Words& words)
{
    // What is not a number is refused as well.
    if (words.connect.timeout > 0 && words.connect.timeout <= longestTimeout)
        return words.connect;
    return std::unexpected("--timeout takes more than 0 and at most 86400 seconds.");
}

std::expected<Command, std::string> decodeLengthCommand(const std::string& text)
{
    std::uint32_t length = 0;
    const char* const end = text.data() + text.size();
    if (const auto read = std::from_chars(text.data(), end, length);
        read.ec != std::errc {} || read.ptr != end)
        return std::unexpected('"' + printable(text) + "\" is no number from 0 to 4294967295.");
    return DecodeLengthOptions { .length = length };
}

std::expected<Command, std::string> chosenCommand(
    const std::string& name, const Words& words, Scope scope)
{
    if (name == "register") {
        RegisterOptions options = words.registration;
        options.scope = scope;
        return options;
    }
    if (name == "unregister") {
        UnregisterOptions options = words.unregistration;
        options.scope = scope;
        return options;
    }
    if (name == "doctor")
        return words.doctor;
    if (name == "watch")
        return words.watch;
    if (name == "simulate")
        return simulateCommand(words);
    if (name == "connect")
        return connectCommand(words);
    return decodeLengthCommand(words.length);
}

// The name of the command that was given; empty without one.
std::string commandName(const CLI::App& tool)
{
    const auto given = tool.get_subcommands();
    return given.empty() ? "" : given.front()->get_name();
}

// Why the words make no sense. The library asks for a command before it looks at the words that it
// does not know.
std::string reasonOf(const CLI::ParseError& error, std::span<const char* const> arguments)
{
    if (dynamic_cast<const CLI::RequiredError*>(&error) == nullptr)
        return error.what();
    if (arguments.size() < 2)
        return "A command is missing";
    const std::string_view first = arguments[1];
    return '"' + std::string(first)
        + (first.starts_with('-') ? "\" is no option" : "\" is no command");
}

std::unexpected<ExitStatus> refuse(
    const std::string& reason, const std::string& command, const Console& console)
{
    console.error("kestranectl: " + printable(reason) + (reason.ends_with('.') ? "" : ".")
        + " See \"kestranectl " + command + (command.empty() ? "" : " ") + "--help\".\n");
    return std::unexpected(ExitStatus::usage);
}

} // namespace

std::expected<Command, ExitStatus> parseCommandLine(
    std::span<const char* const> arguments, const Console& console)
{
    Words words;
    bool system = false;
    CLI::App tool;
    addEverything(tool, words, system);
    try {
        tool.parse(static_cast<int>(arguments.size()), arguments.data());
    } catch (const CLI::Success& request) {
        std::ostringstream text;
        tool.exit(request, text);
        console.output(text.str());
        return std::unexpected(ExitStatus::success);
    } catch (const CLI::ParseError& error) {
        const std::string name = commandName(tool);
        return refuse(name.empty() ? reasonOf(error, arguments) : error.what(), name, console);
    }
    const std::string name = commandName(tool);
    auto command = chosenCommand(name, words, system ? Scope::system : Scope::user);
    if (!command)
        return refuse(command.error(), name, console);
    return *std::move(command);
}

} // namespace kestranectl
