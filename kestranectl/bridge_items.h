#pragma once
// Single files of the bridge directory, read and taken apart field by field.

#include "bridge/bridge_store.h"
#include "kestranectl/bridge_snapshot.h"

#include <string_view>

namespace kestranectl {

/// Why something could not be read, with the key that it is about.
[[nodiscard]] std::string reason(const bridge::StoreFailure& failure);

/// Whether something could not be read because it is not there.
[[nodiscard]] bool isAbsence(const bridge::StoreFailure& failure);

/// The state as hosts see it: whether the application counts as running is its field
/// "appRunning". Fails where there is no file.
[[nodiscard]] bridge::StoreResult<BridgeItem> readStateItem(
    const host::HostEnvironment& environment);

// The others take the token that the record must carry. They fail where the file cannot be read; a
// record that breaks a rule is an item with a problem.

[[nodiscard]] bridge::StoreResult<BridgeItem> readPreferencesItem(
    const platform::Location& location, std::string_view token, const platform::FileSystem& files);
[[nodiscard]] bridge::StoreResult<BridgeItem> readReadinessItem(
    const platform::Location& location, std::string_view token, const platform::FileSystem& files);
[[nodiscard]] bridge::StoreResult<BridgeItem> readCommandItem(
    const platform::Location& location, std::string_view token, const platform::FileSystem& files);
[[nodiscard]] bridge::StoreResult<BridgeItem> readEventItem(
    const platform::Location& location, std::string_view token, const platform::FileSystem& files);

} // namespace kestranectl
