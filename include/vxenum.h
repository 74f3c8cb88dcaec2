// SPDX-License-Identifier: Apache-2.0
// vxenum.h - texts of enumeration values.
#pragma once

#include <atomic>
#include <new>

#include "package/enum2str.h"
#include "package/export.h"
#include "package/logenum.h"

/// What a failover is doing.
enum FAILOVER_STATUS : int {
    FAILOVER_STATUS_NONE = 0,
    FAILOVER_STATUS_FAILOVERING = 1,
    FAILOVER_STATUS_RECOVERING = 2,
    FAILOVER_STATUS_WAIT_MANUAL_RESTORE = 3,
    FAILOVER_STATUS_ERROR = 4,
};

/// Why a failover began.
enum FAILOVER_REASON : int {
    FAILOVER_REASON_NONE = 0,
    FAILOVER_REASON_DISCON = 1,
    FAILOVER_REASON_VOL_CRASH = 2,
    FAILOVER_REASON_VOL_DEGRADE = 3,
    FAILOVER_REASON_MANUAL = 4,
    FAILOVER_REASON_PKG_UNINSTALL = 5,
    FAILOVER_REASON_PKG_DISABLE = 6,
    FAILOVER_REASON_CNT = 7,
};

/// What the failover daemon is told.
enum FAILOVERD_CMD_TYPE : int {
    FAILOVERD_CMD_SET_PUSH_FLAGS = 0,
    FAILOVERD_CMD_SET_ADMIT_BY_HOST_FLAG = 1,
    FAILOVERD_CMD_GET_ALL_FLAGS = 2,
    FAILOVERD_CMD_NUM = 3,
};

/// How a failover ends.
enum FAILOVER_RESTORE_TYPE : int {
    FAILOVER_RESTORE_TYPE_RESTORE = 0,
    FAILOVER_RESTORE_TYPE_CANCEL = 1,
    FAILOVER_RESTORE_TYPE_REPLACE = 2,
};

/// The text of an enumeration value.
///
/// A message may still be logged while the process is being taken down, or when there is no memory: as long
/// as there is no table every value is "unknown".
///
/// @return the text, "unknown" for a value that the table lacks; valid for the life of the process.
/// Thread-safety: any thread; the table is built once, on first use.
template <typename T>
const char* Enum2String(T value) noexcept
try {
    static constinit std::atomic<bool> gone{false};
    struct Farewell {
        ~Farewell() { gone.store(true, std::memory_order_relaxed); }
    };
    static const VxEnum2StrMap<T> table;
    static const Farewell beforeTable; // destroyed before the table, being made after it
    if (gone.load(std::memory_order_relaxed)) {
        return "unknown";
    }
    const auto found = table.m_map.lower_bound(value);
    if (found == table.m_map.end() || found->first != value) {
        return "unknown";
    }
    return found->second;
} catch (const std::bad_alloc&) {
    return "unknown"; // the next call makes the table
}

template <>
VX_API VxEnum2StrMap<FAILOVER_STATUS>::VxEnum2StrMap();
template <>
VX_API VxEnum2StrMap<FAILOVER_REASON>::VxEnum2StrMap();
template <>
VX_API VxEnum2StrMap<FAILOVERD_CMD_TYPE>::VxEnum2StrMap();
template <>
VX_API VxEnum2StrMap<FAILOVER_RESTORE_TYPE>::VxEnum2StrMap();

extern template VX_API const char* Enum2String<LOG_CATEG>(LOG_CATEG);
extern template VX_API const char* Enum2String<LOG_LEVEL>(LOG_LEVEL);
extern template VX_API const char* Enum2String<SLAVE_ND_CONN_STATUS>(SLAVE_ND_CONN_STATUS);
extern template VX_API const char* Enum2String<FAILOVER_STATUS>(FAILOVER_STATUS);
extern template VX_API const char* Enum2String<FAILOVER_REASON>(FAILOVER_REASON);
extern template VX_API const char* Enum2String<FAILOVERD_CMD_TYPE>(FAILOVERD_CMD_TYPE);
extern template VX_API const char* Enum2String<FAILOVER_RESTORE_TYPE>(FAILOVER_RESTORE_TYPE);
