// SPDX-License-Identifier: Apache-2.0
// tools/rotate_pass.h - one round of the rotation daemon: passes over all targets, alerts, the sweep, reports.
#pragma once

#include <array>
#include <list>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "rotate_common.h"

/// What a round came to.
struct RoundResult {
    std::vector<VolumeNeed> needs = std::vector<VolumeNeed>(1); ///< that of rec/ first
    struct Pass {
        std::string name;
        int bySize = 0;
        int byVolume = 0;
        int byDate = 0;
        int byNumber = 0;
        long long sizeMB = 0;
        bool hasFailed = false;
    };
    std::list<Pass> passes;         ///< those that removed something or failed
    std::list<std::string> refused; ///< targets whose volume is not there, and why
    int targets = 0;
    int alerts = 0;
    int swept = 0;
    bool hasFailed = false;
    bool isStopped = false; ///< it was told to stop before it was over
};

/// Runs rounds. The loggers live as long as it, so that what a round could not report is reported later.
/// Thread-safety: one thread; the run flag may be written by a signal handler.
class RotateRounds {
public:
    /// @param reserveMB  to be left free on the volume; below 0: as configured
    RotateRounds(const volatile int& runFlag, long long reserveMB, bool sweep);
    RoundResult Run();
    /// Writes what is still to be reported.
    void Finish();

private:
    bool Goes() const { return m_runFlag == 1; }
    void RotateOne(const RotateTarget& target, RoundResult& result);
    bool IsWithinLimits(const RotateTarget& target);
    void RotateAlerts(long volBound, RoundResult& result);
    void RotateAlertsOfType(int type, const std::list<int>& ids, long volBound, RoundResult& result);
    void Sweep(RoundResult& result);
    VxRotLogger& LoggerOf(EVT_TYPE type);
    void Announce(const RotateTarget& target);

    const volatile int& m_runFlag;
    long long m_reserveMB;
    bool m_sweep;
    std::map<std::pair<EVT_TYPE, std::string>, bool> m_isWithin; ///< of this round: a kind's share
    VxRotLogger m_cameraLogger{EVT_TYPE_CAMERA};
    VxArchiveRotLogger m_archiveLogger;
    VxLapseRotLogger m_lapseLogger;
    VxDvaRotLogger m_dvaLogger;
    VxFaceRotLogger m_faceLogger;
    VxRotLogger m_alertLogger{EVT_TYPE_ALERT};
};
