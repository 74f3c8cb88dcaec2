// SPDX-License-Identifier: Apache-2.0
// package/server.h - the recording servers that this box knows.
#pragma once

#include <map>
#include <string>

#include "package/export.h"

/// The id of the box itself; the others count from 1.
constexpr int LOCAL_SERVER_ID = 0;

/// The names of the other recording servers, by their ids.
///
/// @param names  replaced on 0, unchanged on -1
/// @return 0; -1 (logged).
/// Thread-safety: any thread.
[[nodiscard]] VX_API int GetNdNameMap(std::map<int, std::string>& names) noexcept;
