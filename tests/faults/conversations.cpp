#include "tests/faults/conversations.h"

#include <algorithm>
#include <stdexcept>

namespace faults {

namespace {

using end_to_end::activity;
using end_to_end::request;
using end_to_end::response;

object ping()
{
    return request("readinessPing", { { "extensionVersion", "1.4.2" } });
}

object websiteActivity()
{
    return activity({}, { { "extensionVersion", "1.4.2" } });
}

object activityWithoutVersion()
{
    return activity();
}

object pdfActivity()
{
    return activity({ { "hostname", nullptr }, { "temporaryTabIdentifier", nullptr },
                        { "resourceType", "localPDF" }, { "eventType", "tabNavigated" },
                        { "pdfIdentifier", "9b2d6e1c-7c43-4c25-9d5e-0f6a1b2c3d4e" },
                        { "pdfLabel", "Thesis.pdf" }, { "pdfLabelSource", "filename" } },
        { { "extensionVersion", "1.4.2" } });
}

object staleActivity()
{
    return activity({ { "timestamp", end_to_end::timestampText(-3600) } });
}

object pause()
{
    return request("trackingPauseChanged", { { "paused", true } });
}

object resumption()
{
    return request("trackingPauseChanged", { { "paused", false } });
}

object opening()
{
    return request("openMerrowin");
}

object malformed()
{
    return request("reload");
}

void prepareUsual(const TracedSession& session)
{
    session.allowLabels();
    session.makeHostDirectories();
}

void prepareCommand(const TracedSession& session)
{
    prepareUsual(session);
    session.leaveOwnCommand();
}

void prepareAnotherBrowser(const TracedSession& session)
{
    prepareUsual(session);
    session.leaveStateOfAnotherBrowser();
}

void prepareNoApplication(const TracedSession& session)
{
    prepareUsual(session);
    session.removeState();
}

void prepareFirstSession(const TracedSession& session)
{
    session.allowLabels();
}

void prepareManyCommands(const TracedSession& session)
{
    prepareCommand(session);
    session.leaveForeignCommand();
    session.leaveBrokenCommand();
    session.leaveOddItems();
}

object running(const object& members = {})
{
    object answer = response({ { "accepted", true }, { "appRunning", true },
        { "sessionRunning", true }, { "browserFrontmost", true }, { "filenameLabelsEnabled", true },
        { "sessionIdentifier", base::lowerCaseText(support::sessionIdentifier()) } });
    for (const auto& member : members)
        answer[member.key()] = member.value();
    return answer;
}

object withCommand(object answer)
{
    answer["command"] = { { "id", "C0FFEE00-1111-4222-8333-444455556666" },
        { "type", "showLocalPDF" }, { "browserBundleIdentifier", "com.google.Chrome" } };
    return answer;
}

object refused(std::string_view error, const object& members = {})
{
    object answer = running(members);
    answer["accepted"] = false;
    answer["error"] = end_to_end::text(error);
    return answer;
}

// What an activity with a version needs.
std::vector<Work> worksOfActivity()
{
    return { { "state 1", Loss::readiness }, { "token 1", Loss::readiness },
        { "Readiness", Loss::readiness }, { "state 2", Loss::application },
        { "token 2", Loss::token }, { "Inbox", Loss::event }, { "token 3", Loss::labelPreference },
        { "preferences 1", Loss::labelPreference }, { "token 4", Loss::commands },
        { "Commands", Loss::commands } };
}

// What an answer needs when nothing else was done.
std::vector<Work> worksOfAnswer()
{
    return { { "state 1", Loss::flags }, { "token 1", Loss::labelPreference },
        { "preferences 1", Loss::labelPreference }, { "token 2", Loss::commands },
        { "Commands", Loss::commands } };
}

std::vector<Kind> kindsOfAcceptedRequests()
{
    std::vector<Kind> result;
    result.push_back({ .name = "ping",
        .conversation = { .request = ping, .prepare = prepareCommand },
        .works = { { "state 1", Loss::readiness }, { "token 1", Loss::readiness },
            { "Readiness", Loss::readiness }, { "state 2", Loss::flags },
            { "token 2", Loss::labelPreference }, { "preferences 1", Loss::labelPreference },
            { "token 3", Loss::commands }, { "Commands", Loss::commands } },
        .answer = withCommand(running()),
        .version = "1.4.2",
        .remembersBrowser = true });
    result.push_back({ .name = "activity",
        .conversation = { .request = websiteActivity, .prepare = prepareCommand },
        .works = worksOfActivity(),
        .answer = withCommand(running()),
        .events = { "tabActivated www.example.com" },
        .version = "1.4.2",
        .remembersBrowser = true });
    result.push_back({ .name = "pdf",
        .conversation = { .request = pdfActivity, .prepare = prepareUsual },
        .works = { { "token 1", Loss::label }, { "preferences 1", Loss::label },
            { "state 1", Loss::readiness }, { "token 2", Loss::readiness },
            { "Readiness", Loss::readiness }, { "state 2", Loss::application },
            { "token 3", Loss::token }, { "Inbox", Loss::event },
            { "token 4", Loss::labelPreference }, { "preferences 2", Loss::labelPreference } },
        .answer = running(),
        .events = { "tabNavigated 9b2d6e1c-7c43-4c25-9d5e-0f6a1b2c3d4e Thesis.pdf" },
        .version = "1.4.2",
        .remembersBrowser = true });
    result.push_back({ .name = "pause",
        .conversation = { .request = pause, .prepare = prepareCommand },
        .works = { { "state 1", Loss::disconnection }, { "token 1", Loss::disconnection },
            { "Inbox", Loss::disconnection }, { "state 2", Loss::flags },
            { "token 2", Loss::labelPreference }, { "preferences 1", Loss::labelPreference },
            { "token 3", Loss::commands }, { "Commands", Loss::commands } },
        .answer = withCommand(running()),
        .events = { eventOfDisconnection } });
    result.push_back({ .name = "resume",
        .conversation = { .request = resumption, .prepare = prepareUsual },
        .works = worksOfAnswer(),
        .answer = running() });
    result.push_back({ .name = "open",
        .conversation = { .request = opening, .prepare = prepareUsual },
        .works = worksOfAnswer(),
        .answer = running() });
    return result;
}

std::vector<Kind> kindsOfRefusedRequests()
{
    std::vector<Kind> result;
    result.push_back({ .name = "refused",
        .conversation = { .request = staleActivity, .prepare = prepareUsual },
        .works = worksOfAnswer(),
        .answer = refused("The browser event timestamp is too old.") });
    result.push_back({ .name = "malformed",
        .conversation = { .request = malformed, .prepare = prepareUsual },
        .works = worksOfAnswer(),
        .answer = refused(
            "Malformed Kestrane native-messaging request.", { { "browserFrontmost", false } }) });
    std::vector<Work> works = worksOfAnswer();
    works.front().loss = Loss::application;
    result.push_back({ .name = "not_frontmost",
        .conversation = { .request = activityWithoutVersion, .prepare = prepareAnotherBrowser },
        .works = works,
        .answer = refused("The reporting browser is not the frontmost application.",
            { { "browserFrontmost", false } }),
        .remembersBrowser = true,
        .needsPauses = true });
    works.erase(works.begin());
    const object nothingKnown
        = response({ { "filenameLabelsEnabled", true }, { "error", "Kestrane is not running." } });
    result.push_back({ .name = "no_application",
        .conversation = { .request = activityWithoutVersion, .prepare = prepareNoApplication },
        .works = works,
        .answer = nothingKnown,
        .remembersBrowser = true,
        .needsPauses = true });
    return result;
}

std::vector<Kind> kindsOfOddSurroundings()
{
    std::vector<Kind> result;
    result.push_back({ .name = "first_session",
        .conversation = { .request = websiteActivity, .prepare = prepareFirstSession },
        .works = worksOfActivity(),
        .answer = running(),
        .events = { "tabActivated www.example.com" },
        .version = "1.4.2",
        .remembersBrowser = true });
    result.push_back({ .name = "many_commands",
        .conversation = { .request = resumption, .prepare = prepareManyCommands },
        .works = worksOfAnswer(),
        .answer = withCommand(running()),
        .commands = { "20-foreign.command" },
        .needsPauses = true });
    // Files are moved away from the number of the closed stream.
    result.push_back({ .name = "closed_error_stream",
        .conversation = { .request = websiteActivity,
            .prepare = prepareCommand,
            .shellCommand = "exec \"$0\" 2>&-" },
        .works = worksOfActivity(),
        .answer = withCommand(running()),
        .events = { "tabActivated www.example.com" },
        .version = "1.4.2",
        .remembersBrowser = true });
    return result;
}

std::vector<Kind> allKinds()
{
    std::vector<Kind> all = kindsOfAcceptedRequests();
    for (const auto& more : { kindsOfRefusedRequests(), kindsOfOddSurroundings() })
        all.insert(all.end(), more.begin(), more.end());
    return all;
}

} // namespace

std::span<const Kind> kinds()
{
    static const std::vector<Kind> all = allKinds();
    return all;
}

const Kind& kindNamed(std::string_view name)
{
    const auto found = std::ranges::find(kinds(), name, &Kind::name);
    if (found == kinds().end())
        throw std::invalid_argument(std::string(name));
    return *found;
}

std::vector<Moment> momentsWithoutFault(const Kind& kind)
{
    Moment moment { .answer = kind.answer,
        .events = kind.events,
        .readiness = kind.version.empty() ? "" : "there " + kind.version,
        .commands = kind.commands };
    std::vector<Moment> moments { moment };
    moment.answer = running();
    moment.events.emplace_back(eventOfFollowingRequest);
    moments.push_back(moment);
    moment.answer = {};
    moment.events.emplace_back(eventOfDisconnection);
    if (!kind.version.empty())
        moment.readiness = "gone " + kind.version;
    moments.push_back(moment);
    return moments;
}

} // namespace faults
