// SPDX-License-Identifier: Apache-2.0
// cameventexecparam.h - the latest state of every event source of one camera.
#pragma once

#include <array>
#include <cstdint>
#include <ctime>
#include <list>
#include <map>
#include <set>

#include "package/camevent.h"
#include "package/export.h"

/// For each recording group and custom detection: a device outside the camera asks for recording.
struct VX_API ExtDeviceTrigCustomT {
    static constexpr int GROUP_COUNT = 2;

    std::array<std::array<bool, CustomFlags::IDX_COUNT>, GROUP_COUNT> trigger{};

    void Reset() noexcept { trigger = {}; }
    /// Each cell becomes true where the same cell of the other is.
    void OrOper(const ExtDeviceTrigCustomT& other) noexcept;
};

/// What the recording and rule daemons know of one camera's event sources: is a source triggered now,
/// and has it just become so?
///
/// A source that reports edges keeps two statuses. A report first turns the current status into the
/// previous one, when their trigger flags and times differ, and then becomes the current one, when its
/// time differs from the current one's. So an edge is seen until the next report of that source.
///
///   source                       kept as                       edge queries
///   MD, TD, AD, PD, QR code      one status                    -
///   DI, DO, DI side of a DIO     two statuses a port           ...BecomeActivate, ...BecomeInactivate
///   application, doorbell        two statuses                  ...BecomeActivate
///   people/vehicle, intrusion,   a flag, mirrored into the     -
///   crowded detection            alert flags 64, 65, 66
///   door access, lock, unlock    the time of the last one,     true for three seconds
///                                wall clock
///   external DI                  a mask, bit n: input n        -
///   time-lapse task              a set of task ids             -
///
/// Ports are numbered from 0; UpdateDoorActTime() alone counts from 1. Nothing here throws but
/// std::bad_alloc ends the process: an object holds a few dozen small nodes.
/// Thread-safety: one thread at a time for one camera.
class VX_API CamEventExecParam {
public:
    CamEventExecParam() = default;
    virtual ~CamEventExecParam() = default;
    CamEventExecParam(const CamEventExecParam&) = default;
    CamEventExecParam& operator=(const CamEventExecParam&) = default;

    // Recording, per group. Group 1 has its own flags; every other number means the first group.
    void SetNeedRotateForSpace(CAM_REC_GROUP group, bool need) noexcept;
    bool IsNeedRotateForSpace(CAM_REC_GROUP group) const noexcept;
    void SetStopRecForSpace(CAM_REC_GROUP group, bool stop) noexcept;
    bool IsStopRecForSpace(CAM_REC_GROUP group) const noexcept;
    void SetRecAllowed(CAM_REC_GROUP group, bool allowed) noexcept;
    bool IsRecAllowed(CAM_REC_GROUP group) const noexcept;
    /// The sources that a custom detection selects. An index other than 0 and 1 is ignored.
    void SetCustomDetMethod(CAM_REC_GROUP group, CustomFlags::Idx idx, const CustomFlags& flags) noexcept;
    CustomFlags GetCustomDetMethod(CAM_REC_GROUP group, CustomFlags::Idx idx) const noexcept;
    void SetEdgeMethod(CAM_REC_GROUP group, CustomFlags::Idx idx, EDGE_METHOD method) noexcept;
    EDGE_METHOD GetEdgeMethod(CAM_REC_GROUP group, CustomFlags::Idx idx) const noexcept;
    void SetExtDeviceTrigCustom(const ExtDeviceTrigCustomT& trigger) noexcept { m_extDeviceTrig = trigger; }
    const ExtDeviceTrigCustomT& GetExtDeviceTrigCustom() const noexcept { return m_extDeviceTrig; }

    void SetLastClipId(int clipId) noexcept { m_lastClipId = clipId; }
    int GetLastClipId() const noexcept { return m_lastClipId; }

    // Connection.
    void SetPrevConnStatus(CONN_STATUS status) noexcept { m_prevConnStatus = status; }
    CONN_STATUS GetPrevConnStatus() const noexcept { return m_prevConnStatus; }
    void SetCurConnStatus(CONN_STATUS status) noexcept { m_curConnStatus = status; }
    CONN_STATUS GetCurConnStatus() const noexcept { return m_curConnStatus; }
    void SetLastConnLostTm(std::time_t time) noexcept { m_lastConnLostTm = time; }
    std::time_t GetLastConnLostTm() const noexcept { return m_lastConnLostTm; }
    /// The connection was normal and is now lost (2..6 or 13..17).
    bool BecomeConnLost() const noexcept;
    /// The connection was lost and is now normal.
    bool BecomeConnRecover() const noexcept;
    bool IsConnNormal() const noexcept { return m_curConnStatus == CONN_STATUS_NORMAL; }

    // Detectors of the camera itself. A report with the stored time changes nothing.
    void SetMDStatus(const EVENT_STATUS& status) noexcept { StoreIfNew(m_md, status); }
    void SetTDStatus(const EVENT_STATUS& status) noexcept { StoreIfNew(m_td, status); }
    void SetADStatus(const EVENT_STATUS& status) noexcept { StoreIfNew(m_ad, status); }
    void SetPDStatus(const EVENT_STATUS& status) noexcept { StoreIfNew(m_pd, status); }
    void SetQRCodeStatus(const EVENT_STATUS& status) noexcept { StoreIfNew(m_qrCode, status); }
    virtual bool IsMDTrig() const noexcept { return m_md.trigger; }
    bool IsTDTrig() const noexcept { return m_td.trigger; }
    bool IsADTrig() const noexcept { return m_ad.trigger; }
    bool IsPDTrig() const noexcept { return m_pd.trigger; }
    bool IsQRCodeTrig() const noexcept { return m_qrCode.trigger; }

    // Analytics, mirrored into the alert flags at once.
    void SetPeopleVehicleStatus(bool trigger) noexcept;
    void SetIntrusionStatus(bool trigger) noexcept;
    void SetCrowdedDetectionStatus(bool trigger) noexcept;
    bool IsPeopleVehicleTrigger() const noexcept { return m_peopleVehicle; }
    bool IsIntrusionTrigger() const noexcept { return m_intrusion; }
    bool IsCrowdedDetectionTrigger() const noexcept { return m_crowded; }

    // Digital inputs, outputs, and ports that are both.
    /// Makes `count` inputs anew, all at rest. @param isMultiDi  the camera has several inputs
    void InitDIStatus(int count, bool isMultiDi);
    void InitDOStatus(int count);
    int GetDICnt() const noexcept { return m_diCount; }
    int GetDOCnt() const noexcept { return m_doCount; }
    bool IsMultiDi() const noexcept { return m_isMultiDi; }
    void SetDIStatus(int port, const EVENT_STATUS& status);
    void SetDOStatus(int port, const EVENT_STATUS& status);
    void SetDIOStatus(int port, const EVENT_STATUS& status);
    /// @param type  0: the port also acts as an input
    void SetDIOType(int port, int type);
    /// Port -1: any DI or any DI side of a DIO. A port at or above the DI count is never triggered.
    bool IsDITrig(int port) const noexcept;
    std::list<int> GetTrigDIs() const;
    bool DIBecomeActivate(int port) const noexcept { return BecomeActivate(m_di, port); }
    bool DIBecomeInactivate(int port) const noexcept { return BecomeInactivate(m_di, port); }
    bool DOBecomeActivate(int port) const noexcept { return BecomeActivate(m_do, port); }
    bool DOBecomeInactivate(int port) const noexcept { return BecomeInactivate(m_do, port); }
    bool DioDIBecomeActivate(int port) const noexcept { return BecomeActivate(m_dioDi, port); }
    bool DioDIBecomeInactivate(int port) const noexcept { return BecomeInactivate(m_dioDi, port); }
    /// The button that asks to leave: the index of the input that it hangs on, negative for none.
    void SetRexBtnIdx(int port) noexcept { m_rexBtnIdx = port; }
    int GetRexBtnIdx() const noexcept { return m_rexBtnIdx; }
    bool IsRexBtnTrig() const noexcept;
    /// Inputs of a device outside the camera, bit n for input n.
    void SetExtDIStatus(std::uint32_t mask) noexcept { m_extDi = mask; }
    /// One input alone; a port outside 0..31 is ignored.
    void SetExtDIInput(int port, bool trigger) noexcept;
    bool IsExtDITrig() const noexcept { return m_extDi != 0; }
    bool IsExtDITrig(int port) const noexcept;

    // Applications that run in the camera, named by their ids.
    /// Makes the statuses anew, all at rest, one an id; the order of the ids is kept.
    void InitAppStatus(const std::list<int>& appIds);
    int GetAppCnt() const noexcept { return static_cast<int>(m_appIds.size()); }
    /// @return the id at place i; 0 when there is none.
    int GetAppIdx(int i) const noexcept;
    void SetAppStatus(int index, const EVENT_STATUS& status);
    bool IsAppTrig(int index) const noexcept;
    bool AppBecomeActivate(int index) const noexcept { return BecomeActivate(m_apps, index); }

    // Doorbell and door.
    void SetDoorbellStatus(const EVENT_STATUS& status) noexcept { m_doorbell.Report(status); }
    bool IsDoorbellTrig() const noexcept { return m_doorbell.current.trigger; }
    bool DoorbellBecomeActivate() const noexcept { return m_doorbell.BecomeActivate(); }
    void SetDoorAcsTime(std::time_t time) noexcept { m_doorAcsTime = time; }
    /// Output port-1 moved: its activation unlocked the door now, its release locked it now.
    void UpdateDoorActTime(int port) noexcept;
    /// The same at a time that is given, for a day that is replayed.
    void UpdateDoorActTimeAt(int port, std::time_t now) noexcept;
    std::time_t GetDoorAcsTime() const noexcept { return m_doorAcsTime; }
    std::time_t GetDoorLockTime() const noexcept { return m_doorLockTime; }
    std::time_t GetDoorUnlockTime() const noexcept { return m_doorUnlockTime; }
    /// Whether a door time counts as now: at most three seconds before or after.
    static bool IsDoorTime(std::time_t time, std::time_t now) noexcept;
    bool IsDoorAcsTrig() const noexcept { return IsWithinDoorTime(m_doorAcsTime); }
    bool IsDoorLockTrig() const noexcept { return IsWithinDoorTime(m_doorLockTime); }
    bool IsDoorUnlockTrig() const noexcept { return IsWithinDoorTime(m_doorUnlockTime); }

    // Time-lapse tasks and rules.
    void SetLapseTaskFlag(int taskId, bool flag);
    bool IsLapseTaskTrig(int taskId) const noexcept { return m_lapseTasks.count(taskId) != 0; }
    void SetActionRuleAlert(bool alert) noexcept { m_actionRuleAlert = alert; }
    bool IsActionRuleAlert() const noexcept { return m_actionRuleAlert; }

    /// The motion detector, for the recording schedule. Log: category 7, level 5.
    bool IsScheMDTrig(int camId) const noexcept;
    /// Whether a source that the custom detection selects is triggered now.
    ///
    /// Applications take the bits from 12 on and so share 12 to 14 with people/vehicle, intrusion and
    /// crowding; that is intended.
    /// @return false for an index other than 0 and 1.
    /// Log: category 7, level 4: one line for each triggered source that is selected.
    bool IsScheCustomTrig(int camId, CAM_REC_GROUP group, CustomFlags::Idx idx) const noexcept;

    /// Computes the combined alert flags anew from every source.
    void RefreshTrigEvt() noexcept;
    const AlertEventType& GetAlertEventType() const noexcept { return m_alertType; }

private:
    /// The last two reports of one source.
    struct EdgeStatus {
        EVENT_STATUS previous;
        EVENT_STATUS current;
        int alertType = -1; ///< the alert flag of the port, -1 for none

        void Report(const EVENT_STATUS& status) noexcept;
        bool BecomeActivate() const noexcept { return !previous.trigger && current.trigger; }
        bool BecomeInactivate() const noexcept { return previous.trigger && !current.trigger; }
    };
    using PortMap = std::map<int, EdgeStatus>;

    static void StoreIfNew(EVENT_STATUS& stored, const EVENT_STATUS& status) noexcept;
    static void InitPorts(PortMap& ports, int count, int alertType);
    static bool IsPortTrig(const PortMap& ports, int port) noexcept;
    static bool IsAnyPortTrig(const PortMap& ports) noexcept;
    static bool BecomeActivate(const PortMap& ports, int port) noexcept;
    static bool BecomeInactivate(const PortMap& ports, int port) noexcept;
    static bool IsWithinDoorTime(std::time_t time) noexcept;
    void SetAnalyticsFlag(bool& stored, bool trigger, int flag) noexcept;

    struct RecGroupState {
        bool needRotateForSpace = false;
        bool stopRecForSpace = false;
        bool recAllowed = false;
        std::array<CustomFlags, CustomFlags::IDX_COUNT> custom{};
        std::array<EDGE_METHOD, CustomFlags::IDX_COUNT> edge{};
    };
    static std::size_t GroupSlot(CAM_REC_GROUP group) noexcept
    {
        return group == CAM_REC_GROUP_EVENT ? 1 : 0;
    }
    RecGroupState& Group(CAM_REC_GROUP group) noexcept { return m_groups[GroupSlot(group)]; }
    const RecGroupState& Group(CAM_REC_GROUP group) const noexcept { return m_groups[GroupSlot(group)]; }

    std::array<RecGroupState, ExtDeviceTrigCustomT::GROUP_COUNT> m_groups{};
    ExtDeviceTrigCustomT m_extDeviceTrig;
    int m_lastClipId = 0;
    CONN_STATUS m_prevConnStatus = CONN_STATUS_UNKNOWN;
    CONN_STATUS m_curConnStatus = CONN_STATUS_UNKNOWN;
    std::time_t m_lastConnLostTm = 0;
    std::time_t m_doorLockTime = 0;
    std::time_t m_doorUnlockTime = 0;
    std::time_t m_doorAcsTime = 0;
    std::uint32_t m_extDi = 0;
    bool m_actionRuleAlert = false;
    EVENT_STATUS m_md;
    EVENT_STATUS m_td;
    EVENT_STATUS m_ad;
    EVENT_STATUS m_pd;
    EVENT_STATUS m_qrCode;
    bool m_peopleVehicle = false;
    bool m_intrusion = false;
    bool m_crowded = false;
    int m_diCount = 0;
    int m_doCount = 0;
    int m_rexBtnIdx = -1;
    bool m_isMultiDi = false;
    PortMap m_di;
    PortMap m_do;
    PortMap m_dioDi;
    std::map<int, int> m_dioType;
    PortMap m_apps;
    std::list<int> m_appIds;
    EdgeStatus m_doorbell;
    std::set<int> m_lapseTasks;
    AlertEventType m_alertType;
};
