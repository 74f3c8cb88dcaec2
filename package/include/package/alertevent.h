// SPDX-License-Identifier: Apache-2.0
// package/alertevent.h - alerts, rows of table "alert_event", and how long they are kept.
//
// Columns besides the common ones: type (kind of alert, 1024 for those of analytics devices), device_id (the
// camera, or the analytics device).
#pragma once

#include <cstdint>
#include <list>
#include <map>
#include <string>

#include "package/event.h"

/// Type of the alerts whose device is an analytics task instead of a camera.
constexpr int ALERT_TYPE_IVA = 1024;

/// One alert; GetCamId() is its device.
class VX_API AlertEvent : public Event {
public:
    AlertEvent() noexcept : Event(REC_KIND_ALERT) {}
    AlertEvent(const AlertEvent&) = default;
    AlertEvent(AlertEvent&&) = default;
    AlertEvent& operator=(const AlertEvent&) = default;
    AlertEvent& operator=(AlertEvent&&) = default;
    ~AlertEvent() override;

    int PutRowIntoObj(DBResult_tag* result, unsigned int row) override;
    std::string InsertSql() const override;
    int GetType() const noexcept { return m_type; }
    void SetType(int type) noexcept { m_type = type; }

private:
    int m_type = 0;
};

/// How long alerts are kept.
class VX_API AlertAdvSetting {
public:
    /// @return 0 (the defaults when nothing was stored yet); -1 (logged).
    [[nodiscard]] int Load() noexcept;
    [[nodiscard]] int Save() noexcept;

    int GetDaysLimit() const noexcept { return m_days; } ///< 0 or less: no limit
    void SetDaysLimit(int days) noexcept { m_days = days; }

private:
    int m_days = 0;
};

/// Type of alert to the devices that have live ones; each by one search of the index.
/// @return 0 (also without a database); -1 (logged), `devices` unchanged.
[[nodiscard]] VX_API int ListAlertDevices(std::map<int, std::list<int>>& devices) noexcept;

/// The analytics tasks of each camera: camera id to the device ids of its alerts. Under 0: the tasks without a
/// camera, and the devices of alerts whose task is gone.
/// @return 0; -1 (logged), `devices` unchanged.
[[nodiscard]] VX_API int EnumIvaSettings(std::map<int, std::list<int>>& devices) noexcept;
