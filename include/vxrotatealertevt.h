// SPDX-License-Identifier: Apache-2.0
// vxrotatealertevt.h - rotation of alerts: whole lists of cameras, marked in one exclusive transaction.
#pragma once

#include <cstdint>
#include <list>
#include <map>
#include <string>

#include "package/alertevent.h"
#include "package/export.h"
#include "vxrotatelogger.h"

/// One run over alerts of one type.
///
/// The later of two bounds holds: the caller's, and that of the days limit when it is above 0.
/// Log:           category 49.
/// Thread-safety: one thread an object; the run flag may be written by any thread.
class VX_API VxRotAlertEvt {
public:
    /// Alerts of one transaction at most, so that its lock is held for a moment; the next run goes on.
    static constexpr std::size_t MAX_ALERTS = 20000;

    /// @param type             ALERT_TYPE_IVA: the ids given to DoRotate() are cameras, their analytics devices
    ///                         are meant; else the ids are the devices
    /// @param runFlag, logger  borrowed; outlive the object
    VxRotAlertEvt(int type, const volatile int& runFlag, const AlertAdvSetting& setting, VxRotLogger& logger);
    virtual ~VxRotAlertEvt();
    VxRotAlertEvt(const VxRotAlertEvt&) = delete;
    VxRotAlertEvt& operator=(const VxRotAlertEvt&) = delete;

    /// Builds the map from camera to device ids. @return 0; -1 (logged)
    int InitCamDevIdMap() noexcept;

    /// Marks the alerts of the ids that ended before the bound, all or none; then tells of it.
    /// @return 0; -1 (logged): nothing was marked, nobody was told
    int DoRotate(const std::list<int>& ids, const long& boundTime) noexcept;
    int DoRotateLogs(const std::list<int>& ids, const long& boundTime) noexcept;
    /// Executes the script in one exclusive transaction; nothing when it is empty or the run is to stop.
    int DoRotateBySql(const std::string& sql) noexcept;

    /// The statement that marks the alerts of one device; "" when there are none, or they cannot be listed,
    /// which fails the run.
    std::string GetSqlRotateLogs(int id, const long& boundTime);
    /// Alerts of one device that ended before the bound, live ones only: a clause without "WHERE".
    std::string GetWhereExpr(int id, long boundTime) const;
    static std::string GetSqlMarkAsDelByList(const std::list<std::int64_t>& ids);
    /// Collects the alerts of one device that ended before the bound. @return 0; -1 (logged)
    int DispatchAlertDeletion(int id, long boundTime, std::list<std::int64_t>& ids);

    bool IsDoRotate() const noexcept;
    /// Alerts that the last DoRotate() marked; MAX_ALERTS: there may be more.
    int MarkedCount() const noexcept { return m_marked; }

private:
    struct Found {
        int byDays = 0;
        int byBound = 0;
    };

    void Notify() noexcept;
    void UpdateLogger() noexcept;
    std::list<int> DevicesOf(int id);
    int CameraOf(int device) const;

    int m_type;
    const volatile int& m_runFlag;
    int m_daysLimit;
    VxRotLogger& m_logger;
    bool m_isMapped = false;
    bool m_isUnread = false; ///< alerts of a device could not be listed in this run
    std::map<int, std::list<int>> m_camDevIds;
    std::map<int, Found> m_found; ///< per camera, of this run
    std::list<Event> m_gone;      ///< of this run
    int m_marked = 0;
};
