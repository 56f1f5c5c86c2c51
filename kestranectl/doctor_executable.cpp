#include "kestranectl/doctor_parts.h"
#include "kestranectl/host_location.h"

#include "platform/item_status.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace kestranectl {

namespace {

const std::string subject = "executable";

constexpr std::string_view saysNotFound
    = " Browsers say: \"Specified native messaging host not found.\"";
constexpr std::string_view saysExited = " Browsers say: \"Native host has exited.\"";
constexpr std::string_view saysFailedToStart
    = " Browsers say: \"Failed to start native messaging host.\"";
constexpr std::string_view saysCommunication
    = " Browsers say: \"Error when communicating with the native messaging host.\"";

const std::string registerAdvice
    = "Install the host again, then run: kestranectl register (--host says where it is).";

// What browsers say of a file that is there and cannot be run. On macOS the system starts it in one
// step, elsewhere there is a process already.
std::string notStarted(const Surroundings& surroundings)
{
    return std::string(
        surroundings.system == platform::OperatingSystem::macOS ? saysFailedToStart : saysExited);
}

// The first bytes of a file; empty if it may not be read, which is none of the browser's business.
std::string beginningOf(const std::string& path)
{
    constexpr std::size_t enoughForAnInterpreter = 256;
    const platform::FileSystem& files = platform::localFileSystem();
    const auto file = files.openForReading(platform::resolvedPath(path).value_or(path));
    if (!file)
        return {};
    std::array<char, enoughForAnInterpreter> buffer {};
    const auto count = files.read(*file, buffer);
    return { buffer.data(), count.value_or(0) };
}

// The program that runs a script, if the file is one.
std::optional<std::string> interpreterIn(const std::string& beginning)
{
    if (!beginning.starts_with("#!"))
        return std::nullopt;
    const std::size_t start = std::min(beginning.find_first_not_of(" \t", 2), beginning.size());
    const std::size_t end = beginning.find_first_of(" \t\n", start);
    return beginning.substr(start, end == std::string::npos ? end : end - start);
}

bool isProgram(const std::string& beginning, platform::OperatingSystem system)
{
    using namespace std::string_view_literals;
    if (system == platform::OperatingSystem::linux)
        return beginning.starts_with("\x7f"
                                     "ELF");
    return beginning.starts_with("\xCF\xFA\xED\xFE"sv) // one processor
        || beginning.starts_with("\xCA\xFE\xBA\xBE"sv); // several
}

bool examineContents(Examination& examination, const std::string& path)
{
    const std::string beginning = beginningOf(path);
    if (const auto interpreter = interpreterIn(beginning)) {
        if (presenceOf(*interpreter) != Presence::absent)
            return true;
        examination.bad(subject,
            path + " is a script for " + *interpreter + ", which is not there."
                + notStarted(examination.surroundings),
            registerAdvice);
        return false;
    }
    if (beginning.empty() || isProgram(beginning, examination.surroundings.system))
        return true;
    examination.bad(subject,
        path + " is no program of this system." + notStarted(examination.surroundings),
        registerAdvice);
    return false;
}

// Whether it is a file that may be executed.
bool examineItem(Examination& examination, const std::string& path)
{
    const auto status = platform::statusOfTarget(path);
    if (!status && platform::saysAbsent(status.error())) {
        const bool isLink = platform::statusOfItem(path).has_value();
        examination.bad(subject,
            path + (isLink ? " is a link that leads nowhere." : " is not there.")
                + std::string(saysNotFound),
            registerAdvice);
        return false;
    }
    if (!status) {
        reportHidden(examination, subject, path, status.error());
        return false;
    }
    if (status->kind != platform::FileKind::regular) {
        examination.bad(
            subject, path + " is no file." + std::string(saysCommunication), registerAdvice);
        return false;
    }
    if (const auto may = platform::mayExecute(path); !may) {
        examination.bad(subject,
            path + " may not be executed (" + message(may.error()) + ")."
                + notStarted(examination.surroundings),
            "Allow it: chmod a+x '" + path + "' (a file system mounted \"noexec\" must be left).");
        return false;
    }
    return true;
}

// Places that work now and will give trouble later.
void examinePlace(Examination& examination, const std::string& path)
{
    const Surroundings& surroundings = examination.surroundings;
    const std::string target = platform::resolvedPath(path).value_or(path);
    if (auto reason = whyNotLasting(target, surroundings))
        examination.notice(subject, *std::move(reason), registerAdvice);
    if (surroundings.system != platform::OperatingSystem::macOS)
        return;
    for (const std::string folder :
        { "/Desktop/", "/Documents/", "/Downloads/", "/Library/Mobile Documents/" }) {
        if (target.starts_with(surroundings.home + folder))
            examination.notice(subject,
                target + " lies in a folder that the system protects: browsers may be refused it.",
                registerAdvice);
    }
}

// What a host that started did wrong, if something.
std::optional<std::string> whyNotSound(const HostProbe& probe)
{
    if (!probe.output.empty()) {
        constexpr std::size_t enoughToRecognise = 40;
        return "wrote \"" + probe.output.substr(0, enoughToRecognise)
            + "\" to standard output, where nothing but messages belongs."
            + std::string(saysCommunication);
    }
    if (probe.signal)
        return "was ended by signal " + std::to_string(*probe.signal) + '.'
            + std::string(saysExited);
    if (!probe.status)
        return std::string("did not end although its input was empty.");
    if (*probe.status != 0)
        return "ended with status " + std::to_string(*probe.status) + " instead of 0.";
    return std::nullopt;
}

std::string whyNotStarted(platform::FileError error)
{
    if (error.code == ENOEXEC)
        return "it is no program for this system and processor";
    if (error.code == ENOENT)
        return "the program that is to load or interpret it is not there";
    return message(error);
}

void examineRun(Examination& examination, const std::string& path)
{
    const HostProbe probe = examination.probes.startHost(path);
    const bool isMacOS = examination.surroundings.system == platform::OperatingSystem::macOS;
    // The system kills programs whose signature it does not accept.
    const std::string advice = isMacOS
        ? "See whether its signature holds: codesign --verify --strict --verbose=2 '" + path + '\''
        : registerAdvice;
    if (probe.startError) {
        examination.bad(subject,
            path + " could not be started: " + whyNotStarted(*probe.startError) + '.'
                + notStarted(examination.surroundings),
            advice);
        return;
    }
    if (const auto why = whyNotSound(probe)) {
        examination.bad(subject, path + ' ' + *why, advice);
        return;
    }
    examination.good(subject, path + " was started and ended as it should.");
}

} // namespace

void examineExecutable(Examination& examination, const std::string& path)
{
    if (std::ranges::find(examination.examinedExecutables, path)
        != examination.examinedExecutables.end()) {
        examination.good(subject, path + " was examined above.");
        return;
    }
    examination.examinedExecutables.push_back(path);
    if (!examineItem(examination, path))
        return;
    examinePlace(examination, path);
    const bool isTrusted = examineTrust(examination, subject, path);
    if (!examineContents(examination, path))
        return;
    if (isTrusted)
        examineRun(examination, path);
    else
        examination.unknown(subject,
            path + " was not started, as somebody else may have put it there.",
            "Mend what was found about its place first.");
}

} // namespace kestranectl
