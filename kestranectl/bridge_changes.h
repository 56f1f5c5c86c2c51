#pragma once
// What is different between two looks at the bridge directory, and how that is told.

#include "base/timestamp.h"
#include "kestranectl/bridge_snapshot.h"

#include <string>
#include <vector>

namespace kestranectl {

enum class ChangeKind : std::uint8_t { appeared, changed, gone };

struct BridgeChange {
    ChangeKind kind = ChangeKind::appeared;
    BridgeSnapshot::Key key {};
    BridgeItem item {}; // as it is now; as it was, where it is gone
};

/// Everything that came, went or says something else, in the order of the subjects and, within
/// them, of the names: events in the order in which hosts received them.
[[nodiscard]] std::vector<BridgeChange> changesBetween(
    const BridgeSnapshot& before, const BridgeSnapshot& after);

/// One line with its line feed: the time in ISO 8601, the subject, the kind of change, and
/// "key=value" for the name, every field and the problem, if there is one. Values with blanks or
/// quotation marks stand in quotation marks. Of what is gone only the name is told.
[[nodiscard]] std::string textLine(const BridgeChange& change, base::Timestamp time);

/// The same as a JSON object with its line feed: "time", "subject", "change", "name", the fields,
/// "problem". Texts are printable there, too.
[[nodiscard]] std::string jsonLine(const BridgeChange& change, base::Timestamp time);

} // namespace kestranectl

template <> struct base::EnumerationTexts<kestranectl::ChangeKind> {
    static constexpr std::array<std::string_view, 3> texts { "appeared", "changed", "gone" };
};
