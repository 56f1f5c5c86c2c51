#pragma once
// What the bridge directory holds at one moment, read without touching it.

#include "base/enumeration.h"
#include "host/companion_application.h"

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace kestranectl {

/// What an item is. Items are shown in this order.
enum class BridgeSubject : std::uint8_t {
    directory, // the bridge directory or one of the three in it
    token,
    state,
    preferences,
    readiness,
    command,
    event
};

using FieldValue = std::variant<std::string, bool, std::int64_t>;

/// What one field of a record says. Times and identifiers are texts.
struct Field {
    std::string_view key; // the field's name in the record; of static storage
    FieldValue value;
    /// Whether another value is worth telling. The application writes its state every few seconds
    /// with nothing but the time of writing changed.
    bool counts = true;

    friend bool operator==(const Field&, const Field&) = default;
};

struct BridgeItem {
    std::vector<Field> fields {}; // in the record's order; never a token
    /// Why those for whom it is meant take no notice of it; empty where nothing is wrong.
    std::string problem {};
    /// What is compared and never shown.
    std::string secret {};
};

/// Whether there is no difference that is worth telling.
[[nodiscard]] bool saysTheSame(const BridgeItem& left, const BridgeItem& right);

struct BridgeSnapshot {
    /// The subject, and the item's name in its directory; of the bridge directory its path.
    using Key = std::pair<BridgeSubject, std::string>;

    std::map<Key, BridgeItem> items {};

    /// The token that records must carry; empty if there is none.
    [[nodiscard]] std::string_view token() const;
};

/// Looks at everything in the bridge directory with the bounds and rules of those who read it.
/// Events that `previous` holds are not read again: their files never change.
[[nodiscard]] BridgeSnapshot takeSnapshot(
    const host::HostEnvironment& environment, const BridgeSnapshot& previous = {});

/// The name of the directory of these items in the bridge directory, and how their names end.
[[nodiscard]] std::string_view directoryName(BridgeSubject subject);
[[nodiscard]] std::string_view nameEnding(BridgeSubject subject);

} // namespace kestranectl

template <> struct base::EnumerationTexts<kestranectl::BridgeSubject> {
    static constexpr std::array<std::string_view, 7> texts { "directory", "token", "state",
        "preferences", "readiness", "command", "event" };
};
