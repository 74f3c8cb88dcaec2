// SPDX-License-Identifier: Apache-2.0
// package/notifytype.h - kinds of notifications.
#pragma once

/// What a notification tells. Any integer may come; the kinds named here are those whose message carries a
/// snapshot or clip, and the one in which no kind is given. The numbers are the package's, the names say the use.
enum Vx_NOTIFY_TYPE : int {
    NOTIFY_NONE = 0,
    // what a camera sees and hears
    NOTIFY_CAM_CONNECTED = 5,
    NOTIFY_CAM_CONNECTION_LOST = 6,
    NOTIFY_CAM_MOTION = 7,
    NOTIFY_CAM_ALARM_INPUT = 8,
    NOTIFY_CAM_ALARM_OUTPUT = 9,
    NOTIFY_CAM_AUDIO = 10,
    NOTIFY_CAM_TAMPERING = 11,
    NOTIFY_CAM_PIR = 12,
    NOTIFY_CAM_MANUAL = 13,
    NOTIFY_CAM_CUSTOM_FIRST = 46, // the camera's own detections, by their index
    NOTIFY_CAM_CUSTOM_LAST = 51,
    NOTIFY_CAM_SNAPSHOT_TAKEN = 56,
    // what analytics find
    NOTIFY_ANALYTICS_FIRST = 61,
    NOTIFY_ANALYTICS_LAST = 72,
    // doors and intercoms
    NOTIFY_DOOR_GRANTED = 85,
    NOTIFY_DOOR_DENIED = 86,
    NOTIFY_DOOR_EVENT_FIRST = 89,
    NOTIFY_DOOR_EVENT_LAST = 95,
    NOTIFY_INTERCOM_FIRST = 98,
    NOTIFY_INTERCOM_LAST = 101,
    // modules, rules and video tasks
    NOTIFY_IO_MODULE_INPUT = 105,
    NOTIFY_TASK_ALERT_FIRST = 109,
    NOTIFY_TASK_ALERT_LAST = 111,
    NOTIFY_ACTION_RULE = 114,
    NOTIFY_FACE_ALERT_FIRST = 119,
    NOTIFY_FACE_ALERT_LAST = 121,
};
