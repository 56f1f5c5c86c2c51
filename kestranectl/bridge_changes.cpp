#include "kestranectl/bridge_changes.h"

#include "base/json_writer.h"
#include "kestranectl/console.h"

#include <utility>

namespace kestranectl {

namespace {

// One word of a line, whatever the text holds.
std::string word(const std::string& text)
{
    std::string shown = printable(text);
    if (!shown.empty() && shown.find_first_of(" \"") == std::string::npos)
        return shown;
    std::string quoted = "\"";
    for (const char character : shown) {
        if (character == '"')
            quoted += '\\';
        quoted += character;
    }
    return quoted + '"';
}

std::string shownText(const std::string& text)
{
    return word(text);
}

std::string shownText(bool flag)
{
    return flag ? "true" : "false";
}

std::string shownText(std::int64_t number)
{
    return std::to_string(number);
}

void write(base::JsonWriter& writer, const Field& field)
{
    if (const auto* const text = std::get_if<std::string>(&field.value)) {
        writer.member(field.key, printable(*text));
        return;
    }
    std::visit([&](const auto& value) { writer.member(field.key, value); }, field.value);
}

// What is told of a change beside its subject and kind.
std::vector<Field> toldFields(const BridgeChange& change)
{
    std::vector<Field> fields { { .key = "name", .value = change.key.second } };
    if (change.kind == ChangeKind::gone)
        return fields;
    fields.insert(fields.end(), change.item.fields.begin(), change.item.fields.end());
    if (!change.item.problem.empty())
        fields.push_back({ .key = "problem", .value = change.item.problem });
    return fields;
}

} // namespace

std::vector<BridgeChange> changesBetween(const BridgeSnapshot& before, const BridgeSnapshot& after)
{
    std::vector<BridgeChange> changes;
    auto old = before.items.begin();
    auto now = after.items.begin();
    while (old != before.items.end() || now != after.items.end()) {
        const bool onlyOld
            = now == after.items.end() || (old != before.items.end() && old->first < now->first);
        const bool onlyNew
            = old == before.items.end() || (now != after.items.end() && now->first < old->first);
        if (onlyOld)
            changes.push_back({ ChangeKind::gone, old->first, old->second });
        else if (onlyNew)
            changes.push_back({ ChangeKind::appeared, now->first, now->second });
        else if (!saysTheSame(old->second, now->second))
            changes.push_back({ ChangeKind::changed, now->first, now->second });
        if (!onlyNew)
            ++old;
        if (!onlyOld)
            ++now;
    }
    return changes;
}

std::string textLine(const BridgeChange& change, base::Timestamp time)
{
    std::string line = base::formatISO8601(time);
    line += "  ";
    line += base::text(change.key.first);
    line += "  ";
    line += base::text(change.kind);
    std::string_view separator = "  ";
    for (const Field& field : toldFields(change)) {
        line += std::exchange(separator, " ");
        line += field.key;
        line += '=';
        line += std::visit([](const auto& value) { return shownText(value); }, field.value);
    }
    return line + '\n';
}

std::string jsonLine(const BridgeChange& change, base::Timestamp time)
{
    base::JsonWriter writer;
    writer.member("time", base::formatISO8601(time));
    writer.member("subject", change.key.first);
    writer.member("change", change.kind);
    for (const Field& field : toldFields(change))
        write(writer, field);
    // Fails for times that are not finite alone, and there are none.
    return std::move(writer).finish().value_or("{}") + '\n';
}

} // namespace kestranectl
