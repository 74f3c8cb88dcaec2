// SPDX-License-Identifier: Apache-2.0
// package/camevent.h - what the package's event library says of a camera's event sources.
#pragma once

#include <bitset>
#include <cstdint>

#include "package/export.h"
#include "package/recgroup.h"

/// The state of one event source at one moment. Copied whole; two statuses with the same pair of
/// timestamp words are the same report.
struct EVENT_STATUS {
    bool trigger = false;            ///< the source is triggered
    std::uint32_t timestampSec = 0;  ///< when the source said so, seconds since 1970-01-01 UTC
    std::uint32_t timestampUsec = 0; ///< the rest of that time, microseconds 0..999999

    bool IsSameTime(const EVENT_STATUS& other) const noexcept
    {
        return timestampSec == other.timestampSec && timestampUsec == other.timestampUsec;
    }
};

/// The connection of a camera. 1 is normal; 2..6 and 13..17 are failures; the others are states on the
/// way (connecting, switched off) that are neither.
enum CONN_STATUS : int {
    CONN_STATUS_UNKNOWN = 0,
    CONN_STATUS_NORMAL = 1,
    CONN_STATUS_DISCONNECTED = 2,
    CONN_STATUS_AUTH_FAILED = 3,
    CONN_STATUS_NO_STREAM = 4,
    CONN_STATUS_UNREACHABLE = 5,
    CONN_STATUS_BROKEN_STREAM = 6,
    CONN_STATUS_CONNECTING = 7,
    CONN_STATUS_DISABLED = 8,
    CONN_STATUS_SERVER_DISCONNECTED = 13,
    CONN_STATUS_SERVER_AUTH_FAILED = 14,
    CONN_STATUS_SERVER_NO_STREAM = 15,
    CONN_STATUS_SERVER_UNREACHABLE = 16,
    CONN_STATUS_SERVER_BROKEN_STREAM = 17,
};

/// Whether a connection status is a failure.
constexpr bool IsConnFailed(CONN_STATUS status) noexcept
{
    return (status >= 2 && status <= 6) || (status >= 13 && status <= 17);
}

/// Where a camera's recording decision is made while the box itself cannot reach it.
enum EDGE_METHOD : int {
    EDGE_METHOD_NONE = 0,
    EDGE_METHOD_CONTINUOUS = 1,
    EDGE_METHOD_MOTION = 2,
};

/// Which event sources a custom detection selects.
struct CustomFlags {
    /// Each recording group has two custom detections.
    enum Idx : int { CUSTOM_1 = 0, CUSTOM_2 = 1 };
    static constexpr int IDX_COUNT = 2;

    std::uint32_t source = 0; ///< one bit a kind of source
    std::uint32_t input = 0;  ///< bit i: digital input i; the bit behind the last input: the external one
};

/// The combined alert flags of a camera: one bit a kind of alert.
class AlertEventType {
public:
    static constexpr int FLAG_COUNT = 128;

    static constexpr int AD_FLAG = 1;
    static constexpr int MD_FLAG = 0;
    static constexpr int TD_FLAG = 2;
    static constexpr int DI_FLAG = 3;
    static constexpr int DO_FLAG = 4;
    static constexpr int PD_FLAG = 14;
    static constexpr int EXT_DI_FLAG = 15;
    static constexpr int DOORBELL_FLAG = 16;
    static constexpr int DOOR_ACCESS_FLAG = 17;
    static constexpr int REX_FLAG = 21;
    static constexpr int DOOR_LOCK_FLAG = 22;
    static constexpr int DOOR_UNLOCK_FLAG = 23;
    static constexpr int QR_CODE_FLAG = 25;
    static constexpr int PEOPLE_VEHICLE_FLAG = 64;
    static constexpr int INTRUSION_FLAG = 65;
    static constexpr int CROWDED_FLAG = 66;
    static constexpr int ACTION_RULE_FLAG = 80;

    /// Sets or clears one flag; a flag outside 0..127 is ignored.
    void Set(int flag) noexcept { Put(flag, true); }
    void Clear(int flag) noexcept { Put(flag, false); }
    /// Clears all flags.
    void Reset() noexcept { m_flags.reset(); }
    bool Has(int flag) const noexcept { return IsFlag(flag) && m_flags[static_cast<std::size_t>(flag)]; }
    bool IsEmpty() const noexcept { return m_flags.none(); }

    bool operator==(const AlertEventType& other) const noexcept { return m_flags == other.m_flags; }

private:
    static bool IsFlag(int flag) noexcept { return flag >= 0 && flag < FLAG_COUNT; }
    void Put(int flag, bool value) noexcept
    {
        if (IsFlag(flag)) {
            m_flags[static_cast<std::size_t>(flag)] = value;
        }
    }

    std::bitset<FLAG_COUNT> m_flags;
};

/// The alert flag of an application that runs in the camera.
///
/// @param appId  0..19
/// @return 32..51; -1 for an id that no application has.
VX_API int GetAppAlertEventType(int appId) noexcept;
