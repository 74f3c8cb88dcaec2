// SPDX-License-Identifier: Apache-2.0
// package/rotlimits.h - what may be kept of one target of rotation.
#pragma once

/// Limits as the operator set them; a limit holds only when it is switched on.
struct RotLimits {
    bool byDate = false;
    int days = 0;
    bool bySize = false;
    int sizeMB = 0;
    int num = 0; ///< items to keep; 0: any number

    bool operator==(const RotLimits&) const = default;
};
