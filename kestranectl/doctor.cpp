#include "kestranectl/doctor.h"

#include "base/json_writer.h"
#include "kestranectl/doctor_parts.h"
#include "kestranectl/manifest.h"
#include "platform/item_status.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <utility>

namespace kestranectl {

namespace {

constexpr std::uint32_t largestHostMessage = 1048576; // that browsers accept
constexpr std::size_t lengthBytes = 4;

void add(Examination& examination, Verdict verdict, std::string subject, std::string text,
    std::string advice = {})
{
    examination.findings.push_back({ .verdict = verdict,
        .subject = std::move(subject),
        .text = std::move(text),
        .advice = std::move(advice) });
}

// As a column of the report.
std::string_view label(Verdict verdict)
{
    switch (verdict) {
    case Verdict::good:
        return "ok       ";
    case Verdict::notice:
        return "notice   ";
    case Verdict::bad:
        return "PROBLEM  ";
    case Verdict::unknown:
        break;
    }
    return "unknown  ";
}

std::string_view name(Verdict verdict)
{
    switch (verdict) {
    case Verdict::good:
        return "good";
    case Verdict::notice:
        return "notice";
    case Verdict::bad:
        return "bad";
    case Verdict::unknown:
        break;
    }
    return "unknown";
}

std::string line(const Finding& finding)
{
    std::string text = std::string(label(finding.verdict)) + printable(finding.subject) + ": "
        + printable(finding.text) + '\n';
    if (!finding.advice.empty())
        text += "         -> " + printable(finding.advice) + '\n';
    return text;
}

std::string jsonLine(const Finding& finding)
{
    base::JsonWriter writer;
    writer.member("verdict", name(finding.verdict));
    writer.member("subject", printable(finding.subject));
    writer.member("text", printable(finding.text));
    if (!finding.advice.empty())
        writer.member("advice", printable(finding.advice));
    // Only numbers that are not finite cannot be written.
    return std::move(writer).finish().value_or("{}") + '\n';
}

// What makes no sense in the options, if something does.
std::optional<std::string> usageProblem(const DoctorOptions& options)
{
    for (const std::string& browser : options.browsers) {
        if (knownBrowser(browser) == nullptr)
            return "No browser is known as \"" + browser + "\".";
    }
    if (!options.extensionIdentifier.empty() && !isExtensionIdentifier(options.extensionIdentifier))
        return notAnExtensionIdentifier(options.extensionIdentifier);
    return std::nullopt;
}

} // namespace

void Examination::good(std::string subject, std::string text)
{
    add(*this, Verdict::good, std::move(subject), std::move(text));
}

void Examination::notice(std::string subject, std::string text, std::string advice)
{
    add(*this, Verdict::notice, std::move(subject), std::move(text), std::move(advice));
}

void Examination::bad(std::string subject, std::string text, std::string advice)
{
    add(*this, Verdict::bad, std::move(subject), std::move(text), std::move(advice));
}

void Examination::unknown(std::string subject, std::string text, std::string advice)
{
    add(*this, Verdict::unknown, std::move(subject), std::move(text), std::move(advice));
}

Presence presenceOf(const std::string& path)
{
    const auto status = platform::statusOfTarget(path);
    if (status)
        return Presence::present;
    return platform::saysAbsent(status.error()) ? Presence::absent : Presence::unknown;
}

void reportHidden(Examination& examination, const std::string& subject, const std::string& path,
    platform::FileError error)
{
    const bool isMacOS = examination.surroundings.system == platform::OperatingSystem::macOS;
    examination.unknown(subject,
        path + " cannot be looked at (" + message(error)
            + "), so whether it is there is not known.",
        isMacOS ? "Allow the terminal Full Disk Access in the system's privacy settings, or look "
                  "at it in the Finder."
                : "Run the command as the user whose browser it is about.");
}

std::string asSentence(std::string text)
{
    if (!text.ends_with('.'))
        text += '.';
    return text;
}

std::string countText(std::size_t count, std::string_view singular)
{
    const std::string text = std::to_string(count) + ' ' + std::string(singular);
    return count == 1 ? text : text + 's';
}

std::string durationText(double seconds)
{
    constexpr double minute = 60;
    constexpr double hour = 60 * minute;
    constexpr double day = 24 * hour;
    constexpr double longest = 100000 * day; // Numbers from files may be anything.
    constexpr double unitsBeforeTheNext = 2;
    if (!(std::abs(seconds) < longest))
        return "centuries";
    const auto inUnits = [seconds](double unit, std::string_view word) {
        return countText(static_cast<std::size_t>(std::abs(seconds) / unit), word);
    };
    if (std::abs(seconds) < unitsBeforeTheNext * minute)
        return inUnits(1, "second");
    if (std::abs(seconds) < unitsBeforeTheNext * hour)
        return inUnits(minute, "minute");
    if (std::abs(seconds) < unitsBeforeTheNext * day)
        return inUnits(hour, "hour");
    return inUnits(day, "day");
}

std::vector<Finding> examine(
    const DoctorOptions& options, const Surroundings& surroundings, const DoctorProbes& probes)
{
    Examination examination {
        .options = options,
        .surroundings = surroundings,
        .probes = probes,
    };
    examineBrowsers(examination);
    examineBridge(examination);
    return std::move(examination.findings);
}

ExitStatus runDoctor(const DoctorOptions& options, const Surroundings& surroundings,
    const DoctorProbes& probes, const Console& console)
{
    if (const auto wrong = usageProblem(options)) {
        console.error(printable(*wrong) + '\n');
        return ExitStatus::usage;
    }
    const std::vector<Finding> findings = examine(options, surroundings, probes);
    for (const Finding& finding : findings)
        console.output(options.json ? jsonLine(finding) : line(finding));
    const auto problems = std::ranges::count(findings, Verdict::bad, &Finding::verdict);
    if (!options.json)
        console.output("Found " + countText(static_cast<std::size_t>(problems), "problem") + ".\n");
    return problems == 0 ? ExitStatus::success : ExitStatus::problem;
}

std::string explainLength(std::uint32_t length)
{
    std::array<char, lengthBytes> bytes {};
    std::uint32_t rest = length;
    for (char& byte : bytes) {
        constexpr std::uint32_t byteValues = 256;
        byte = static_cast<char>(static_cast<unsigned char>(rest % byteValues));
        rest /= byteValues;
    }
    const std::string text = std::to_string(length) + " is what the four bytes \""
        + printable({ bytes.data(), bytes.size() }) + "\" mean as the length of a message. ";
    if (length == 0)
        return text + "Browsers ignore a message without bytes.";
    if (length <= largestHostMessage)
        return text + "Browsers accept up to 1048576 bytes, so this may well be a true length.";
    const auto isText = [](char byte) {
        constexpr char escape = 0x1B;
        return (byte >= ' ' && byte <= '~') || byte == '\n' || byte == '\r' || byte == '\t'
            || byte == escape;
    };
    if (std::ranges::all_of(bytes, isText))
        return text
            + "They look like the beginning of a text: the host, or something that it starts, has "
              "printed that to standard output, where messages alone belong.";
    return text
        + "Browsers accept no more than 1048576 bytes: the host, or something that it starts, has "
          "written bytes to standard output that belong to no message.";
}

} // namespace kestranectl
