// SPDX-License-Identifier: Apache-2.0
// tools/sensor_events.h - what sensors report, one JSON object a line, and the cameras that follow from it.
//
//     {"time": 1795435200, "camera": 3, "event": "motion", "on": true}
//     {"time": "2026-11-23 12:00:05", "camera": 3, "event": "digital input", "item": 1, "on": true}
//
// "event" is a name or a number, "item" the port or id (0 without), "on" true or false; for a door event "on"
// says that it happened now.
#pragma once

#include <ctime>
#include <string>

#include "actruleverdict.h"

/// One report.
struct SensorEvent {
    std::time_t time = 0;
    int camera = 0;
    RULE_EVENT event = RULE_EVENT_NONE;
    int item = 0;
    bool on = false;
};

/// An event by its name ("motion") or its number. @return RULE_EVENT_NONE for another text
RULE_EVENT ParseEventName(const std::string& text) noexcept;

/// Reads one line. @return what is wrong with it; empty when `event` is set
std::string ParseSensorEvent(const std::string& line, SensorEvent& event);

/// The cameras as the reports left them. Reports apply in their order; a camera begins at rest.
class SensorCameras {
public:
    /// @return what is wrong; empty when the camera follows
    std::string Apply(const SensorEvent& event);
    const CameraStates& States() const noexcept { return m_states; }

private:
    CamEventExecParam& Camera(int id);

    CameraStates m_states;
    std::uint32_t m_serial = 0; ///< tells reports of the same second apart
};
