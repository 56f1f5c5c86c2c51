#include "fuzz/support/naive_host.h"

#include "fuzz/support/naive_records.h"
#include "fuzz/support/naive_text.h"
#include "fuzz/support/naive_time.h"
#include "fuzz/support/naive_validation.h"
#include "fuzz/support/naive_version.h"

#include <cmath>

namespace fuzz {

namespace {

constexpr std::string_view chrome = "com.google.Chrome";
constexpr const char* invalidRequest = "Malformed Kestrane native-messaging request.";
constexpr const char* noSession = "No Kestrane session is currently running.";

bool takesEvents(const NaiveValue& state)
{
    return booleanField(state, "sessionRunning") && !booleanField(state, "browserTrackingPaused");
}

bool showsChrome(const NaiveValue& state)
{
    const NaiveValue* const frontmost = presentField(state, "frontmostBrowserBundleIdentifier");
    return frontmost != nullptr && frontmost->text == chrome;
}

NaiveValue textValue(std::string text)
{
    return { .type = NaiveValue::Type::string, .text = std::move(text) };
}

NaiveValue truth(bool value)
{
    return { .type = NaiveValue::Type::boolean, .boolean = value };
}

std::int64_t millisecondsOf(double secondsSince2001)
{
    return std::llround((secondsSince2001 + 978307200.0) * 1000.0);
}

// Collects what a request leads to, by the order of the rules.
class Predictor {
public:
    Predictor(const NaiveSurroundings& surroundings, const NaiveMemory& memory)
        : surroundings_(surroundings)
    {
        result_.now = surroundings.now;
        result_.token = findToken(surroundings.tree);
        result_.state = findLiveState(surroundings);
        result_.filenameLabelsEnabled = allowsFilenameLabels(surroundings.tree, result_.token);
        result_.memory = memory;
    }

    Prediction request(std::string_view payload)
    {
        handle(payload);
        if (result_.browser && result_.token) {
            result_.commands = predictCommands(
                surroundings_, *result_.token, *result_.browser, runningSession(result_.state));
        }
        return result_;
    }

    Prediction end()
    {
        if (!result_.memory.knowsBrowser)
            return result_;
        if (result_.memory.extensionVersion)
            announce(false);
        relayDisconnect();
        return result_;
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
        const auto request = soundRecord(payload, requestRules());
        if (!request)
            return refuse(invalidRequest, false);
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
        if (version == nullptr || !isNaiveVersion(version->text))
            return false;
        result_.memory.extensionVersion = version->text;
        announce(true);
        return true;
    }

    void announce(bool connectionAvailable)
    {
        if (result_.state && result_.token && canTakeReadiness(surroundings_.tree)) {
            result_.readiness = { .extensionVersion = *result_.memory.extensionVersion,
                .connectionAvailable = connectionAvailable };
        }
    }

    void handlePing(const NaiveValue& request)
    {
        if (!takeVersion(request))
            return refuse(invalidRequest, false);
        result_.memory.knowsBrowser = true;
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
        result_.memory.knowsBrowser = true;
        takeVersion(request);
        const NaiveValue* const permission = presentField(*event, "localFilePermission");
        result_.memory.permission
            = permission == nullptr ? std::nullopt : std::optional(permission->text);
        result_.restsOnFiles = true;
        if (const std::string refusal = relayRefusal(); !refusal.empty())
            return refuse(refusal, true);
        result_.event = relayedEvent(*event, naive, verdict.normalForm);
        accept();
    }

    // Why an event that is sound does not reach the inbox.
    [[nodiscard]] std::string relayRefusal() const
    {
        if (!result_.state)
            return "Kestrane is not running.";
        if (!takesEvents(*result_.state))
            return noSession;
        if (!showsChrome(*result_.state))
            return "The reporting browser is not the frontmost application.";
        if (!runningSession(result_.state))
            return noSession;
        if (!result_.token)
            return "Kestrane is not running or its browser bridge is not ready.";
        return inboxRefusal(surroundings_.tree);
    }

    [[nodiscard]] NaiveValue relayedEvent(
        const NaiveValue& event, const NaiveEvent& naive, const NaiveNormalForm& normal) const
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
        const bool hidesLabel = isFilename && naive.isLocalPDF && !result_.filenameLabelsEnabled;
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
            { "timestamp", textValue(naiveTimeText(millisecondsOf(result_.now))) },
            { "eventType", textValue("extensionDisconnected") }, { "isPrivate", truth(false) },
            { "resourceType", textValue("website") } };
        result_.event = std::move(event);
    }

    const NaiveSurroundings& surroundings_;
    Prediction result_;
};

} // namespace

Prediction predict(
    std::string_view payload, const NaiveSurroundings& surroundings, const NaiveMemory& memory)
{
    return Predictor(surroundings, memory).request(payload);
}

Prediction predictEnd(const NaiveSurroundings& surroundings, const NaiveMemory& memory)
{
    return Predictor(surroundings, memory).end();
}

} // namespace fuzz
