// SPDX-License-Identifier: Apache-2.0
// package/homemode.h - what stays active while somebody is at home.
#pragma once

#include <set>

#include "package/export.h"

/// Kinds of items that the home mode names.
enum class HomeModeItem : int { ACTION_RULE = 1, CAMERA = 2, IO_MODULE = 3 };

/// The settings of the home mode.
class VX_API HomeModeSetting {
public:
    /// Takes items out of the settings because they are gone. Joins an open transaction of the system
    /// database.
    ///
    /// @return 0, also when none of them was named; -1 (logged).
    [[nodiscard]] static int UpdateWhenDeleteItems(HomeModeItem kind, const std::set<int>& ids) noexcept;

    /// Names items, and tells which are named. @return 0; -1 (logged).
    [[nodiscard]] static int AddItems(HomeModeItem kind, const std::set<int>& ids) noexcept;
    [[nodiscard]] static int GetItems(HomeModeItem kind, std::set<int>& ids) noexcept;
};
