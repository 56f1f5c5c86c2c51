#include "kestranectl/doctor_parts.h"

#include "platform/item_status.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>

namespace kestranectl {

namespace {

constexpr unsigned writableByGroup = 0020;
constexpr unsigned writableByAll = 0002;
constexpr unsigned stickyBit = 01000;
constexpr std::uint32_t administrator = 0; // as user and as group
constexpr std::uint32_t administratorsGroupOnMacOS = 80; // owns /Applications

std::string octal(unsigned permissions)
{
    constexpr unsigned bitsOfDigit = 3;
    std::string text;
    for (; permissions != 0; permissions >>= bitsOfDigit)
        text.insert(text.begin(), static_cast<char>('0' + (permissions & 7U)));
    return '0' + text;
}

// The path and everything above it, from the root on.
std::vector<std::string> pathAndAncestors(const std::string& path)
{
    std::vector<std::string> paths { "/" };
    for (std::size_t slash = path.find('/', 1); slash != std::string::npos;
        slash = path.find('/', slash + 1))
        paths.push_back(path.substr(0, slash));
    paths.push_back(path);
    return paths;
}

// All places where something else could be put in the way to the item.
std::vector<std::string> placesOf(const std::string& path)
{
    std::vector<std::string> places;
    const auto resolved = platform::resolvedPath(path);
    for (const std::string& way : { path, resolved.value_or(path) }) {
        if (!way.starts_with('/'))
            continue;
        for (std::string& place : pathAndAncestors(way)) {
            if (std::ranges::find(places, place) == places.end())
                places.push_back(std::move(place));
        }
    }
    return places;
}

bool isHarmlessGroup(std::uint32_t group, const Surroundings& surroundings)
{
    return group == administrator
        || (surroundings.system == platform::OperatingSystem::macOS
            && group == administratorsGroupOnMacOS);
}

// What is wrong with one place, if something is.
std::optional<Finding> findingAbout(
    const std::string& place, const platform::ItemStatus& status, const Surroundings& surroundings)
{
    if (status.owner != administrator && status.owner != platform::currentUser())
        return Finding { .verdict = Verdict::bad,
            .text = place + " belongs to another user (number " + std::to_string(status.owner)
                + "), who can put there what he likes.",
            .advice = "Move it, or have an administrator change its owner (chown)." };
    // Permissions of links mean nothing, and a sticky directory lets nobody touch others' items.
    const bool isSticky
        = status.kind == platform::FileKind::directory && (status.permissions & stickyBit) != 0;
    if (status.kind == platform::FileKind::symbolicLink || isSticky)
        return std::nullopt;
    if ((status.permissions & writableByAll) != 0)
        return Finding { .verdict = Verdict::bad,
            .text = place + " can be changed by everybody (permissions " + octal(status.permissions)
                + ").",
            .advice = "Take that away: chmod o-w '" + place + '\'' };
    if ((status.permissions & writableByGroup) != 0 && !isHarmlessGroup(status.group, surroundings))
        return Finding { .verdict = Verdict::notice,
            .text = place + " can be changed by all members of group "
                + std::to_string(status.group) + " (permissions " + octal(status.permissions)
                + ").",
            .advice = "If that group is not the user's alone: chmod g-w '" + place + '\'' };
    return std::nullopt;
}

} // namespace

bool examineTrust(Examination& examination, const std::string& subject, const std::string& path)
{
    bool isTrusted = true;
    const std::size_t findingsBefore = examination.findings.size();
    for (const std::string& place : placesOf(path)) {
        const auto status = platform::statusOfItem(place);
        if (!status) {
            if (!platform::saysAbsent(status.error()))
                reportHidden(examination, subject, place, status.error());
            isTrusted = false;
            continue;
        }
        auto finding = findingAbout(place, *status, examination.surroundings);
        if (!finding)
            continue;
        // What an administrator starts must not be another's at all.
        if (finding->verdict == Verdict::bad || platform::currentUser() == administrator)
            isTrusted = false;
        finding->subject = subject;
        examination.findings.push_back(*std::move(finding));
    }
    if (examination.findings.size() == findingsBefore)
        examination.good(
            subject, "Nobody else can change " + path + " or the directories above it.");
    return isTrusted;
}

} // namespace kestranectl
