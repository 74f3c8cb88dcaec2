// SPDX-License-Identifier: Apache-2.0
// package/iokeys.h - which digital inputs and outputs are in use, and by which entries.
//
// A key names one port of one device: "di:SOURCE:SERVER:DEVICE:PORT" or "do:...".
#pragma once

#include <set>
#include <string>

#include "package/export.h"

enum class IOKeyKind { DI, DO };

/// The key of one port. Pure.
VX_API std::string MakeIOKey(IOKeyKind kind, int source, int serverId, int deviceId, int port);

namespace IOKeys {

/// The statement that notes an entry under keys; the same entry twice is no error. Empty for no keys.
VX_API std::string AddEntrySql(const std::set<std::string>& keys, int entryId);

/// Takes an entry out from under keys. Joins an open transaction of the system database.
///
/// @return 0, also when it was not there; -1 (logged).
[[nodiscard]] VX_API int RemoveEntryId(const std::set<std::string>& keys, int entryId) noexcept;

/// The entries under a key. @return 0; -1 (logged) and `entryIds` is unchanged.
[[nodiscard]] VX_API int GetEntryIds(const std::string& key, std::set<int>& entryIds) noexcept;

} // namespace IOKeys
