#include "fuzz/support/naive_host.h"

#include "fuzz/support/bridge_world.h"
#include "fuzz/support/naive_records.h"
#include "fuzz/support/naive_text.h"
#include "fuzz/support/naive_time.h"
#include "fuzz/support/naive_validation.h"

#include <algorithm>

namespace fuzz {

namespace {

constexpr std::string_view chrome = "com.google.Chrome";
constexpr const char* invalidRequest = "Malformed Kestrane native-messaging request.";
constexpr const char* noSession = "No Kestrane session is currently running.";
constexpr unsigned mayRead = 0400;
constexpr unsigned mayWrite = 0200;
constexpr unsigned maySearch = 0100;

// The record of a file: not there, there, or one that a reader may take or leave.
struct FoundRecord {
    bool isDoubtful = false;
    std::optional<NaiveValue> value {};
};

const MemoryItem* itemAt(const MemoryTree& tree, const std::string& path)
{
    const auto found = tree.find(path);
    return found == tree.end() ? nullptr : &found->second;
}

std::optional<std::string> readFile(
    const MemoryTree& tree, const std::string& path, std::size_t limit)
{
    const MemoryItem* const item = itemAt(tree, path);
    if (item == nullptr || item->kind != ItemKind::file || (item->permissions & mayRead) == 0
        || item->contents.size() > limit)
        return std::nullopt;
    return item->contents;
}

FoundRecord findRecord(
    const MemoryTree& tree, const std::string& path, std::size_t limit, RecordRules rules)
{
    const auto contents = readFile(tree, path, limit);
    auto value = contents ? parseNaively(*contents) : std::nullopt;
    if (!value)
        return {};
    const Judgement judgement = judgeRecord(*value, rules);
    if (judgement == Judgement::doubtful)
        return { .isDoubtful = true };
    if (judgement == Judgement::refused || numberField(*value, "version") != 1)
        return {};
    return { .value = std::move(value) };
}

std::optional<std::string> readToken(const MemoryTree& tree)
{
    auto token = readFile(tree, inBridge("bridge-token"), 128);
    return token && isNaiveToken(*token) ? token : std::nullopt;
}

FoundRecord liveState(const NaiveSurroundings& surroundings)
{
    FoundRecord state = findRecord(surroundings.tree, inBridge("state.json"), 4096, stateRules());
    if (!state.value)
        return state;
    const double age = surroundings.now - numberField(*state.value, "updatedAt");
    const bool isLive = age >= -2 && age <= 10 && surroundings.processExists
        && numberField(*state.value, "appProcessIdentifier") >= 1;
    if (!isLive)
        return {};
    return state;
}

std::optional<std::string> runningSession(const std::optional<NaiveValue>& state)
{
    if (!state || !booleanField(*state, "sessionRunning"))
        return std::nullopt;
    const NaiveValue* const session = presentField(*state, "sessionIdentifier");
    return session == nullptr ? std::nullopt : std::optional(naivelyUpperCased(session->text));
}

bool takesEvents(const NaiveValue& state)
{
    return booleanField(state, "sessionRunning") && !booleanField(state, "browserTrackingPaused");
}

bool showsChrome(const NaiveValue& state)
{
    const NaiveValue* const frontmost = presentField(state, "frontmostBrowserBundleIdentifier");
    return frontmost != nullptr && frontmost->text == chrome;
}

// Whether "Inbox" or "Readiness" can be written to; one that is missing is made.
bool canTakeFiles(const MemoryTree& tree, const std::string& directory)
{
    const MemoryItem* item = itemAt(tree, directory);
    if (item != nullptr && item->kind == ItemKind::symbolicLink)
        return (item = itemAt(tree, item->contents)) != nullptr
            && item->kind == ItemKind::directory;
    return item == nullptr || item->kind == ItemKind::directory;
}

bool canTakeReadiness(const MemoryTree& tree)
{
    const std::string directory = inBridge("Readiness");
    const MemoryItem* const file = itemAt(tree, directory + "/googleChrome.readiness");
    const bool isTaken = file != nullptr && file->kind == ItemKind::directory;
    return canTakeFiles(tree, directory) && !isTaken;
}

enum class Verdict { refused, kept, accepted };

Verdict judgeCommand(const NaiveValue& envelope, double now, std::string_view token,
    std::string_view browser, const std::optional<std::string>& session)
{
    const NaiveValue& command = *envelope.find("command");
    const double age = now - numberField(command, "createdAt");
    if (textField(envelope, "token") != token || age < -2 || age > 60)
        return Verdict::refused;
    if (textField(command, "browserBundleIdentifier") != browser)
        return Verdict::kept;
    const NaiveValue* const bound = presentField(command, "sessionIdentifier");
    if (bound != nullptr && session != naivelyUpperCased(bound->text))
        return Verdict::refused;
    return Verdict::accepted;
}

bool isCommandName(std::string_view name)
{
    constexpr std::string_view ending = ".command";
    return !name.starts_with('.') && name.size() > ending.size() && name.ends_with(ending);
}

NaiveValue textValue(std::string text)
{
    return { .type = NaiveValue::Type::string, .text = std::move(text) };
}

NaiveValue truth(bool value)
{
    return { .type = NaiveValue::Type::boolean, .boolean = value };
}

// Collects what a request leads to, by the order of the rules.
class Predictor {
public:
    Predictor(const NaiveSurroundings& surroundings, NaiveMemory& memory)
        : surroundings_(surroundings)
        , memory_(memory)
        , state_(liveState(surroundings))
        , token_(readToken(surroundings.tree))
    {
    }

    std::optional<Prediction> predict(std::string_view payload)
    {
        handle(payload);
        if (isOpen_ || state_.isDoubtful)
            return std::nullopt;
        result_.state = state_.value;
        return complete() ? std::optional(result_) : std::nullopt;
    }

private:
    void refuse(std::string error, bool namesBrowser)
    {
        result_.error = std::move(error);
        if (namesBrowser)
            result_.browser = chrome;
    }

    void accept()
    {
        result_.accepted = true;
        result_.browser = chrome;
    }

    void handle(std::string_view payload)
    {
        if (payload.size() > 16384)
            return refuse("The native-messaging request exceeds Kestrane's size limit.", false);
        const auto request = parseNaively(payload);
        const Judgement judgement
            = request ? judgeRecord(*request, requestRules()) : Judgement::refused;
        isOpen_ = judgement == Judgement::doubtful;
        if (judgement == Judgement::refused)
            return refuse(invalidRequest, false);
        if (isOpen_)
            return;
        if (numberField(*request, "protocolVersion") != 1)
            return refuse("Unsupported Kestrane native-messaging protocol version.", false);
        const std::string type = textField(*request, "type");
        if (type == "browserActivity")
            return handleActivity(*request);
        const NaiveValue* const browser = presentField(*request, "browserBundleIdentifier");
        if (browser == nullptr || browser->text != chrome)
            return refuse(invalidRequest, false);
        if (type == "readinessPing")
            return handlePing(*request);
        if (type == "openMerrowin" || type == "openDiagnostics") {
            result_.opensApplication = true;
            return accept();
        }
        const NaiveValue* const paused = presentField(*request, "paused");
        if (type != "trackingPauseChanged" || paused == nullptr)
            return refuse(invalidRequest, false);
        if (paused->boolean)
            relayDisconnect();
        accept();
    }

    // Whether the request carries a valid version.
    bool takeVersion(const NaiveValue& request)
    {
        const NaiveValue* const version = presentField(request, "extensionVersion");
        if (version == nullptr)
            return false;
        const auto isVersion = isNaiveVersion(version->text);
        isOpen_ = isOpen_ || !isVersion;
        if (!isVersion.value_or(false))
            return false;
        memory_.extensionVersion = version->text;
        result_.publishesReadiness = state_.value && token_ && canTakeReadiness(surroundings_.tree);
        return true;
    }

    void handlePing(const NaiveValue& request)
    {
        if (!takeVersion(request))
            return refuse(invalidRequest, false);
        memory_.knowsBrowser = true;
        accept();
    }

    static std::optional<Scalars> scalarsOf(const NaiveValue& event, std::string_view key)
    {
        const NaiveValue* const value = presentField(event, key);
        return value == nullptr ? std::nullopt : naiveScalars(value->text);
    }

    [[nodiscard]] NaiveEvent naiveEvent(const NaiveValue& event) const
    {
        NaiveEvent result;
        result.age = surroundings_.now
            - naiveSecondsSince2001(*naiveMilliseconds(textField(event, "timestamp")));
        result.browser = textField(event, "browserBundleIdentifier");
        result.displayName = *scalarsOf(event, "browserDisplayName");
        result.hostname = scalarsOf(event, "hostname");
        result.tab = scalarsOf(event, "temporaryTabIdentifier");
        result.type = textField(event, "eventType");
        const NaiveValue* const isPrivate = presentField(event, "isPrivate");
        result.isPrivate = isPrivate != nullptr && isPrivate->boolean;
        const NaiveValue* const resource = presentField(event, "resourceType");
        result.isLocalPDF = resource != nullptr && resource->text == "localPDF";
        result.pdfIdentifier = scalarsOf(event, "pdfIdentifier");
        result.pdfLabel = scalarsOf(event, "pdfLabel");
        result.hasLabelSource = presentField(event, "pdfLabelSource") != nullptr;
        return result;
    }

    void handleActivity(const NaiveValue& request)
    {
        const NaiveValue* const event = presentField(request, "event");
        if (event == nullptr || textField(*event, "browserBundleIdentifier") != chrome)
            return refuse(invalidRequest, false);
        const NaiveEvent naive = naiveEvent(*event);
        const NaiveVerdict verdict = judgeEvent(naive);
        if (!verdict.refusal.empty())
            return refuse(verdict.refusal, true);
        memory_.knowsBrowser = true;
        takeVersion(request);
        const NaiveValue* const permission = presentField(*event, "localFilePermission");
        memory_.permission = permission == nullptr ? std::nullopt : std::optional(permission->text);
        if (const std::string refusal = relayRefusal(); !refusal.empty())
            return refuse(refusal, true);
        result_.event = relayedEvent(*event, naive, verdict.normalForm);
        accept();
    }

    // Why an event that is sound does not reach the inbox.
    [[nodiscard]] std::string relayRefusal() const
    {
        if (!state_.value)
            return "Kestrane is not running.";
        if (!takesEvents(*state_.value))
            return noSession;
        if (!showsChrome(*state_.value))
            return "The reporting browser is not the frontmost application.";
        if (!runningSession(state_.value))
            return noSession;
        if (!token_)
            return "Kestrane is not running or its browser bridge is not ready.";
        return canTakeFiles(surroundings_.tree, inBridge("Inbox")) ? "" : "File exists";
    }

    NaiveValue relayedEvent(
        const NaiveValue& event, const NaiveEvent& naive, const NaiveNormalForm& normal)
    {
        NaiveValue relayed { .type = NaiveValue::Type::object };
        const auto add = [&relayed](std::string key, NaiveValue value) {
            relayed.members.push_back({ std::move(key), std::move(value) });
        };
        const auto addText = [&add](const char* key, const std::optional<std::string>& text) {
            if (text)
                add(key, textValue(*text));
        };
        const NaiveValue* const source = presentField(event, "pdfLabelSource");
        const NaiveValue* const permission = presentField(event, "localFilePermission");
        const bool isFilename = source != nullptr && source->text == "filename";
        const bool hidesLabel = isFilename && naive.isLocalPDF && !filenameLabelsEnabled();
        add("id", textValue(naivelyUpperCased(textField(event, "id"))));
        add("browserDisplayName", textValue("Google Chrome"));
        add("browserBundleIdentifier", textValue(std::string(chrome)));
        addText("hostname", normal.hostname);
        addText("temporaryTabIdentifier", normal.tab);
        add("timestamp",
            textValue(naiveTimeText(*naiveMilliseconds(textField(event, "timestamp")))));
        add("eventType", textValue(naive.type));
        add("isPrivate", truth(naive.isPrivate));
        add("resourceType", textValue(naive.isLocalPDF ? "localPDF" : "website"));
        addText("pdfIdentifier", normal.pdfIdentifier);
        if (!hidesLabel)
            addText("pdfLabel", normal.pdfLabel);
        if (!hidesLabel && source != nullptr)
            add("pdfLabelSource", *source);
        if (permission != nullptr)
            add("localFilePermission", *permission);
        return relayed;
    }

    void relayDisconnect()
    {
        if (!relayRefusal().empty())
            return;
        NaiveValue event { .type = NaiveValue::Type::object };
        event.members = { { "browserDisplayName", textValue("Google Chrome") },
            { "browserBundleIdentifier", textValue(std::string(chrome)) },
            { "eventType", textValue("extensionDisconnected") }, { "isPrivate", truth(false) },
            { "resourceType", textValue("website") } };
        result_.event = std::move(event);
    }

    bool filenameLabelsEnabled()
    {
        const FoundRecord preferences = findRecord(
            surroundings_.tree, inBridge("preferences.json"), 4096, preferencesRules());
        isOpen_ = isOpen_ || preferences.isDoubtful;
        return token_ && preferences.value && textField(*preferences.value, "token") == *token_
            && booleanField(*preferences.value, "filenameLabelsEnabled");
    }

    // What every response carries.
    bool complete()
    {
        result_.filenameLabelsEnabled = filenameLabelsEnabled();
        if (result_.browser && token_) {
            const auto commands = predictCommands(
                surroundings_, *token_, *result_.browser, runningSession(state_.value));
            if (!commands)
                return false;
            result_.commands = *commands;
        }
        return !isOpen_;
    }

    const NaiveSurroundings& surroundings_;
    NaiveMemory& memory_;
    FoundRecord state_;
    std::optional<std::string> token_;
    Prediction result_;
    bool isOpen_ = false; // whether the rules leave something open
};

} // namespace

std::optional<Prediction> predict(
    std::string_view payload, const NaiveSurroundings& surroundings, NaiveMemory& memory)
{
    return Predictor(surroundings, memory).predict(payload);
}

std::optional<CommandOutcome> predictCommands(const NaiveSurroundings& surroundings,
    std::string_view token, std::string_view browser, const std::optional<std::string>& session)
{
    CommandOutcome outcome;
    const std::string directory = inBridge("Commands");
    const MemoryItem* const commands = itemAt(surroundings.tree, directory);
    if (commands == nullptr || commands->kind != ItemKind::directory
        || (commands->permissions & mayRead) == 0)
        return outcome;
    const bool canRemove
        = (commands->permissions & mayWrite) != 0 && (commands->permissions & maySearch) != 0;
    // The tree is in the order of the paths, and so of the names in one directory.
    for (const auto& [path, item] : surroundings.tree) {
        if (path == "/" || parentPath(path) != directory || !isCommandName(lastName(path)))
            continue;
        const bool canRead = (commands->permissions & maySearch) != 0;
        const FoundRecord record = canRead
            ? findRecord(surroundings.tree, path, 16384, commandEnvelopeRules())
            : FoundRecord {};
        if (record.isDoubtful)
            return std::nullopt;
        const Verdict verdict = record.value
            ? judgeCommand(*record.value, surroundings.now, token, browser, session)
            : Verdict::refused;
        if (verdict == Verdict::accepted)
            outcome.accepted.push_back(*record.value->find("command"));
        if (verdict != Verdict::kept && canRemove)
            outcome.removed.insert(lastName(path));
    }
    if (!outcome.accepted.empty())
        outcome.first = outcome.accepted.front();
    return outcome;
}

std::optional<bool> isNaiveVersion(std::string_view version)
{
    const bool isASCII
        = std::ranges::all_of(version, [](char character) { return character >= 0; });
    if (!isASCII)
        return std::nullopt;
    return !version.empty() && version.size() <= 32
        && version.find_first_not_of("0123456789.") == std::string_view::npos;
}

} // namespace fuzz
