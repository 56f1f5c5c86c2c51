// The validator of events. The input says, field by field, what the event holds.

#include "events/event_validation.h"
#include "fuzz/support/byte_source.h"
#include "fuzz/support/claims.h"
#include "fuzz/support/naive_validation.h"

#include <array>
#include <cmath>
#include <limits>

namespace {

using fuzz::ByteSource;
using fuzz::NaiveEvent;
using fuzz::Scalars;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

constexpr std::array<double, 8> times { 763637213.0, 763637213.0, 763637213.0, 763637213.0, 0,
    infinity, -infinity, notANumber };

// Where the rules change their mind, and what is on either side.
constexpr std::array<double, 16> ages { 0, 120, 120.0009765625, 119.9990234375, -30, -30.0009765625,
    -29.9990234375, -31, 1e300, -1e300, 60, infinity, notANumber, -1e9, 0.25, -infinity };

constexpr std::array<std::string_view, 12> browsers { "com.google.Chrome", "com.microsoft.edgemac",
    "com.brave.Browser", "company.thebrowser.Browser", "com.operasoftware.Opera",
    "com.vivaldi.Vivaldi", "com.apple.Safari", "org.mozilla.firefox", "com.google.chrome", "",
    " com.google.Chrome", "com.google.Chrome.canary" };

constexpr std::array<std::string_view, 4> identifiers { "3f2504e0-4f89-11d3-9a0c-0305e82c3301",
    "3F2504E0-4F89-11D3-9A0C-0305E82C3301", "3f2504e04f8911d39a0c0305e82c3301",
    "{3f2504e0-4f89-11d3-9a0c-0305e82c3301}" };

// What a byte from 0x80 on stands for; those below stand for themselves.
constexpr std::u32string_view unusualScalars
    = U"\u0080\u0085\u009F\u00A0\u00AD\u00DF\u00E9\u0130"
      U"\u017F\u0300\u0660\u1680\u180E\u2000\u200A\u200B"
      U"\u200D\u200E\u2028\u2029\u202F\u205F\u2060\u212A"
      U"\u3000\u3002\uFEFF\uFF0E\uFF10\uFF21\uFFFD\U0001F600";
constexpr std::uint8_t firstRepetition = 0xE0;
constexpr std::uint8_t firstIdentifier = 0xF8;

void append(Scalars& scalars, std::string_view ascii)
{
    scalars.insert(scalars.end(), ascii.begin(), ascii.end());
}

// A text: how many bytes describe it, then these. Some repeat what came before, so that short
// inputs reach long limits.
Scalars takeText(ByteSource& source)
{
    Scalars scalars;
    ByteSource description(source.take(source.byte()));
    while (!description.isEmpty()) {
        const std::uint8_t byte = description.byte();
        if (byte < 0x80) {
            scalars.push_back(byte);
        } else if (byte < firstRepetition) {
            scalars.push_back(unusualScalars[(byte - 0x80U) % unusualScalars.size()]);
        } else if (byte >= firstIdentifier) {
            append(scalars, identifiers.at(byte % identifiers.size()));
        } else if (!scalars.empty()) {
            const std::size_t count = (byte - firstRepetition) * 16U + description.below(16);
            scalars.insert(scalars.end(), count, scalars.back());
        }
    }
    return scalars;
}

std::optional<Scalars> takeOptionalText(ByteSource& source, bool isThere)
{
    return isThere ? std::optional(takeText(source)) : std::nullopt;
}

std::optional<std::string> encoded(const std::optional<Scalars>& scalars)
{
    return scalars ? std::optional(fuzz::naiveUTF8(*scalars)) : std::nullopt;
}

// The same event in both forms.
struct TakenEvent {
    base::Timestamp now {};
    NaiveEvent naive {};
    events::BrowserActivityEvent event {};
};

TakenEvent takeEvent(ByteSource& source)
{
    constexpr auto types = base::allValues<events::BrowserActivityEventType>();
    TakenEvent taken;
    auto& [now, naive, event] = taken;
    event.eventType = types.at(source.below(types.size()));
    const unsigned flags = source.byte();
    const auto flag = [flags](unsigned bit) { return (flags >> bit & 1U) != 0; };
    const double age = ages.at(source.below(ages.size()));
    event.browserBundleIdentifier = browsers.at(source.below(browsers.size()));
    const unsigned choices = source.byte();
    now.secondsSince2001 = times.at(choices / 32U);
    const bool isTimeFinite = std::isfinite(now.secondsSince2001);
    event.timestamp.secondsSince2001 = (isTimeFinite ? now.secondsSince2001 : times.front()) - age;

    naive.age = isTimeFinite ? age : notANumber;
    naive.browser = event.browserBundleIdentifier;
    naive.type = base::text(event.eventType);
    naive.isPrivate = event.isPrivate = flag(0);
    naive.isLocalPDF = flag(1);
    naive.hasLabelSource = flag(2);
    naive.displayName = takeText(source);
    naive.hostname = takeOptionalText(source, flag(3));
    naive.tab = takeOptionalText(source, flag(4));
    naive.pdfIdentifier = takeOptionalText(source, flag(5));
    naive.pdfLabel = takeOptionalText(source, flag(6));

    event.browserDisplayName = fuzz::naiveUTF8(naive.displayName);
    event.hostname = encoded(naive.hostname);
    event.temporaryTabIdentifier = encoded(naive.tab);
    event.pdfIdentifier = encoded(naive.pdfIdentifier);
    event.pdfLabel = encoded(naive.pdfLabel);
    if (naive.isLocalPDF)
        event.resourceType = events::BrowserActivityResourceType::localPDF;
    if (naive.hasLabelSource)
        event.pdfLabelSource = static_cast<events::BrowserPDFLabelSource>(choices & 1U);
    if (flag(7)) {
        event.localFilePermission
            = static_cast<events::BrowserLocalFilePermission>((choices >> 1U) % 3U);
    }
    return taken;
}

void checkAccepted(const TakenEvent& taken, const events::BrowserActivityEvent& result,
    const fuzz::NaiveNormalForm& normal)
{
    events::BrowserActivityEvent expected = taken.event;
    expected.browserDisplayName = normal.displayName;
    expected.hostname = normal.hostname;
    expected.temporaryTabIdentifier = normal.tab;
    expected.pdfIdentifier = normal.pdfIdentifier;
    expected.pdfLabel = normal.pdfLabel;
    fuzz::require(result == expected, "an accepted event comes out in its normal form");
    fuzz::require(events::validate(result, taken.now, {}) == result,
        "an event in its normal form is accepted as it is");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    ByteSource source(fuzz::textOf(data, size));
    const TakenEvent taken = takeEvent(source);
    const auto result = events::validate(taken.event, taken.now, {});
    const fuzz::NaiveVerdict verdict = fuzz::judgeEvent(taken.naive);
    fuzz::requireFor(result.has_value() == verdict.refusal.empty(),
        "the validator and the rules agree on which events are accepted", verdict.refusal);
    if (result) {
        checkAccepted(taken, *result, verdict.normalForm);
        return 0;
    }
    fuzz::requireFor(events::message(result.error()) == verdict.refusal,
        "the first rule that is broken is the one that is named", events::message(result.error()));
    return 0;
}
