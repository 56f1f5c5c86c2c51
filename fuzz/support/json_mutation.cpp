#include "fuzz/support/json_mutation.h"

#include "fuzz/support/bridge_world.h"

#include <array>
#include <map>
#include <utility>
#include <vector>

namespace fuzz {

namespace {

using Pool = std::vector<std::string_view>;

// JSON texts that fields of a key may hold. The first of each are sound.
const std::map<std::string_view, Pool>& poolsByKey()
{
    static const Pool browsers { R"("com.google.Chrome")", R"("com.google.Chrome")",
        R"("org.mozilla.firefox")", R"("com.apple.Safari")", R"("com.google.chrome")", R"("")" };
    static const Pool sessions { R"("6BA7B810-9DAD-11D1-80B4-00C04FD430C8")",
        R"("6ba7b810-9dad-11d1-80b4-00c04fd430c8")", R"("7C9E6679-7425-40DE-944B-E07FC1F90AE7")",
        "null" };
    static const Pool versions { "1", "1", "1.0", "2", "0", "10e-1" };
    static const Pool times { "763637213", "763637213.0", "763637203", "763637202.999", "763637215",
        "763637215.5", "763637153", "763637152.999", "7.63637213e8", "-0", "1e400", "1e-400" };
    static const Pool tokens {
        R"("0123456789abcdef0123456789ABCDEF00112233445566778899aabbccddeeff")",
        R"("0123456789abcdef0123456789ABCDEF00112233445566778899aabbccddeeff")",
        R"("0123456789ABCDEF0123456789ABCDEF00112233445566778899aabbccddeeff")",
        R"("ffeeddccbbaa99887766554433221100FEDCBA9876543210fedcba9876543210")"
    };
    static const std::map<std::string_view, Pool> pools {
        { "protocolVersion", versions },
        { "version", versions },
        { "type",
            { R"("readinessPing")", R"("browserActivity")", R"("trackingPauseChanged")",
                R"("openMerrowin")", R"("openDiagnostics")", R"("showLocalPDF")",
                R"("setFilenameLabelsEnabled")", R"("readinessping")" } },
        { "browserBundleIdentifier", browsers },
        { "frontmostBrowserBundleIdentifier", browsers },
        { "extensionVersion",
            { R"("1.2.3")", R"("12345678901234567890123456789012")", R"("...")",
                R"("123456789012345678901234567890123")", R"("1.2-beta")", R"("")", R"("½.٣")" } },
        { "nativeHostVersion", { R"("0.3.0")" } },
        { "browserDisplayName",
            { R"("Chrome")", R"(" Google Chrome \n")", R"("a\u0085b")", R"(" ")" } },
        { "hostname",
            { R"("example.org")", R"(" WWW.Example.ORG. ")", R"("xn--bcher-kva.example")",
                R"("a..b")", R"("-a.b")", R"("http://a")", R"("\u212A.example")" } },
        { "temporaryTabIdentifier", { R"("tab-1")", R"("A:b_c.9")", R"(" 7 ")", R"("a b")" } },
        { "timestamp",
            { R"("2025-03-14T09:26:53.000Z")", R"("2025-03-14T10:26:53.5+01:00")",
                R"("2025-03-14T09:24:53.000Z")", R"("2025-03-14T09:24:52.999Z")",
                R"("2025-03-14T09:27:23.000Z")", R"("2025-03-14T09:27:23.001Z")",
                R"("2025-03-14T09:26:53Z")" } },
        { "eventType",
            { R"("tabActivated")", R"("tabNavigated")", R"("browserBecameActive")",
                R"("browserWindowFocused")", R"("browserWindowBlurred")", R"("tabClosed")",
                R"("extensionDisconnected")", R"("heartbeat")" } },
        { "resourceType", { R"("website")", R"("localPDF")" } },
        { "pdfIdentifier",
            { R"("3F2504E0-4F89-11D3-9A0C-0305E82C3301")",
                R"("3f2504e0-4f89-11d3-9a0c-0305e82c3301")", R"("pdf")" } },
        { "pdfLabel",
            { R"("Report.pdf")", R"(" Ünïcode ")", R"("a\/b")", R"("a\\b")", R"("a~b??>>þÿ")" } },
        { "pdfLabelSource", { R"("filename")", R"("manual")" } },
        { "localFilePermission",
            { R"("enabled")", R"("permissionRequired")", R"("unsupported")" } },
        { "sessionIdentifier", sessions },
        { "id", { R"("3F2504E0-4F89-11D3-9A0C-0305E82C3301")" } },
        { "token", tokens },
        { "appProcessIdentifier", { "4711", "1", "0", "-1", "2147483647", "2147483648" } },
        { "updatedAt", times },
        { "createdAt", times },
        { "receivedAt", times },
        { "eventData", { R"("YWJj")", R"("")", R"("YQ==")", R"("YR==")", R"("\/\/8=")" } },
        { "sessionRunning", { "true", "true", "false" } },
        { "browserTrackingPaused", { "false", "false", "true" } },
    };
    return pools;
}

// JSON texts for any place.
const Pool& anyPool()
{
    static const Pool pool { "null", "true", "false", "0", "-0", "1", "-1", "1.5", "1e2", "1E+2",
        "10e-1", "0.99999999999999999999999", "9007199254740993", "9007199254740993e0",
        "0.9007199254740993e16", "90071992547409930e-1", "9007199254740993.5",
        "-9223372036854775808.0", "9223372036854775807", "9223372036854775808",
        "-9223372036854775808", "-9223372036854775809", "1e19", "1e400", "-1e400", "1e-400",
        "4.9e-324", "1e2147483648", "1e-2147483649", "0e99999999999999", "\"\"", R"("a")",
        R"("\u0000")", R"("\ud83d\ude00")", R"("\ufeff")", R"("\/")", "{}", "[]", "[1,[2]]",
        R"({"a":{"b":[]}})", "763637213.1234567", "0.1" };
    return pool;
}

std::string_view fromPool(const Pool& pool, Random& random)
{
    return pool[pick(random, pool.size())];
}

const Pool& booleanPool()
{
    static const Pool pool { "true", "false" };
    return pool;
}

const Pool& poolOf(std::string_view key)
{
    const auto found = poolsByKey().find(key);
    return found == poolsByKey().end() ? booleanPool() : found->second;
}

std::string_view randomKey(Random& random)
{
    auto entry = poolsByKey().begin();
    std::advance(entry, static_cast<std::ptrdiff_t>(pick(random, poolsByKey().size())));
    return entry->first;
}

// A place in a tree of values: a member of an object, or an item of an array.
struct Place {
    NaiveValue* container;
    std::size_t index;

    [[nodiscard]] NaiveValue& value() const
    {
        return container->type == NaiveValue::Type::object ? container->members[index].value
                                                           : container->items[index];
    }
    [[nodiscard]] bool isMember() const { return container->type == NaiveValue::Type::object; }
};

// NOLINTNEXTLINE(misc-no-recursion): the parser limits the depth
void collectPlaces(NaiveValue& value, std::vector<Place>& places)
{
    for (std::size_t index = 0; index < value.members.size(); ++index) {
        places.push_back({ &value, index });
        collectPlaces(value.members[index].value, places);
    }
    for (std::size_t index = 0; index < value.items.size(); ++index) {
        places.push_back({ &value, index });
        collectPlaces(value.items[index], places);
    }
}

NaiveValue parsed(std::string_view text)
{
    return parseNaively(text).value_or(NaiveValue {});
}

void mutateText(std::string& text, Random& random)
{
    constexpr std::array<std::string_view, 16> insertions { " ", "\n", ".", "-", "/", "\\", "\"",
        "\x7F", "\xC2\x85", "\xC2\xA0", "\xE2\x84\xAA", "\xEF\xBC\x91", "\xF0\x9F\x98\x80", "0",
        "\xCC\x80", ":" };
    const std::size_t position = pick(random, text.size() + 1);
    switch (pick(random, 4)) {
    case 0:
        text.insert(position, insertions.at(pick(random, insertions.size())));
        break;
    case 1:
        text.erase(position, 1 + pick(random, 4));
        break;
    case 2:
        text.insert(position, 1 + pick(random, 300), 'a');
        break;
    default:
        if (position < text.size())
            text[position] = static_cast<char>(text[position] ^ ' ');
        break;
    }
}

void mutateValue(NaiveValue& value, Random& random)
{
    if (value.isString()) {
        mutateText(value.text, random);
    } else if (value.type == NaiveValue::Type::number) {
        constexpr std::array<std::string_view, 6> endings { "0", "9", ".0", ".5", "e0",
            "00000000000" };
        value.text += endings.at(pick(random, endings.size()));
    } else {
        value.boolean = !value.boolean;
    }
}

void mutateMember(const Place& place, Random& random)
{
    NaiveMember& member = place.container->members[place.index];
    auto& members = place.container->members;
    switch (pick(random, 8)) {
    case 0:
    case 1:
        member.value = parsed(fromPool(poolOf(member.key), random));
        break;
    case 2:
        members.erase(members.begin() + static_cast<std::ptrdiff_t>(place.index));
        break;
    case 3: {
        NaiveMember twin { member.key, parsed(fromPool(poolOf(member.key), random)) };
        const auto position = static_cast<std::ptrdiff_t>(pick(random, members.size() + 1));
        members.insert(members.begin() + position, std::move(twin));
        break;
    }
    case 4:
        mutateText(member.key, random);
        break;
    case 5:
        member.key = randomKey(random);
        break;
    case 6: {
        const std::string_view key = randomKey(random);
        members.push_back({ std::string(key), parsed(fromPool(poolOf(key), random)) });
        break;
    }
    default:
        std::swap(member, members[pick(random, members.size())]);
        break;
    }
}

void mutatePlace(const Place& place, Random& random)
{
    NaiveValue& value = place.value();
    switch (pick(random, 6)) {
    case 0:
        value = parsed(fromPool(anyPool(), random));
        break;
    case 1: {
        NaiveValue wrapped { .type = NaiveValue::Type::array };
        wrapped.items.push_back(std::move(value));
        value = std::move(wrapped);
        break;
    }
    case 2:
        mutateValue(value, random);
        break;
    default:
        if (place.isMember())
            mutateMember(place, random);
        else
            mutateValue(value, random);
        break;
    }
}

// Blanks and escapes: the same value, or now and then none.
void mutateSpelling(std::string& text, Random& random)
{
    constexpr std::array<std::string_view, 8> insertions { " ", "\t\r\n ", ",", "\xEF\xBB\xBF", "}",
        "[", std::string_view("\0", 1), "\\u0061" };
    const std::size_t position = pick(random, text.size() + 1);
    if (const std::size_t choice = pick(random, insertions.size() + 1); choice < insertions.size())
        text.insert(position, insertions.at(choice));
    else if (position < text.size() && text[position] >= 'a' && text[position] <= 'o')
        text.replace(position, 1, std::string("\\u006") + "0123456789abcdef"[text[position] - '`']);
}

} // namespace

std::size_t pick(Random& random, std::size_t count)
{
    return static_cast<std::size_t>(random()) % count;
}

// NOLINTNEXTLINE(misc-no-recursion): records hold records that hold none
std::string inventedRecord(RecordRules rules, Random& random)
{
    std::string text = "{";
    for (const FieldRule& rule : rules) {
        constexpr std::size_t usual = 8;
        if (!rule.isRequired && rule.form != FieldForm::record && pick(random, 2) == 0)
            continue;
        if (text.size() > 1)
            text += ',';
        text += naiveLiteral(rule.key) + ':';
        const Pool& pool = poolOf(rule.key);
        // What the application and the extension write nearly always; seldom what they might.
        const bool isUsual = pick(random, usual) != 0;
        if (rule.form == FieldForm::record)
            text += inventedRecord(rule.fields, random);
        else if (rule.form == FieldForm::oneOf)
            text += naiveLiteral(rule.texts[pick(random, rule.texts.size())]);
        else
            text += isUsual && rule.key != "type" ? pool.front() : fromPool(pool, random);
    }
    return text + '}';
}

std::optional<std::string> mutatedJson(std::string_view text, Random& random)
{
    auto value = parseNaively(text);
    if (!value)
        return std::nullopt;
    std::vector<Place> places;
    collectPlaces(*value, places);
    if (places.empty())
        return std::string(fromPool(anyPool(), random));
    mutatePlace(places[pick(random, places.size())], random);
    std::string result = naiveText(*value);
    constexpr std::size_t seldom = 8;
    if (pick(random, seldom) == 0)
        mutateSpelling(result, random);
    return result;
}

} // namespace fuzz
