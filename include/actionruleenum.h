// SPDX-License-Identifier: Apache-2.0
// actionruleenum.h - the enumerations of action rules. Plain integers in memory and in the database: a value
// that stands here under no name is kept and passed on as it is.
#pragma once

#include "webhookenum.h"

/// Where an event comes from, or an action goes to.
enum DEVICE_SRC : int {
    DEVICE_SRC_CAMERA = 0,
    DEVICE_SRC_WEBHOOK = 1,
    DEVICE_SRC_IO_MODULE = 2,
    DEVICE_SRC_IFTTT = 12,
};

/// An event within its source.
enum RULE_EVENT : int {
    RULE_EVENT_NONE = 0,
    RULE_EVENT_CONN_LOST = 1,
    RULE_EVENT_CONN_RECOVER = 2,
    RULE_EVENT_MOTION = 3,
    RULE_EVENT_TAMPER = 4,
    RULE_EVENT_DIGITAL_INPUT = 5, ///< item: the port, or -1 for any
    RULE_EVENT_AUDIO = 6,
    RULE_EVENT_PD = 7,
    RULE_EVENT_DOORBELL = 8,
    RULE_EVENT_DOOR_ACCESS = 9,
    RULE_EVENT_EXIT_BUTTON = 10,
    RULE_EVENT_DOOR_LOCK = 11,
    RULE_EVENT_DOOR_UNLOCK = 12,
    RULE_EVENT_QR_CODE = 13,
    RULE_EVENT_EXTERNAL_INPUT = 14, ///< item: the input, or -1 for any
    RULE_EVENT_PEOPLE_VEHICLE = 15,
    RULE_EVENT_INTRUSION = 16,
    RULE_EVENT_CROWDED = 17,
    RULE_EVENT_APPLICATION = 18, ///< item: the application's id
    RULE_EVENT_TIME_LAPSE = 19,  ///< item: the task's id
};

enum RULE_ACTION : int {
    RULE_ACTION_NONE = 0,
    RULE_ACTION_ENABLE_DEVICE = 1,
    RULE_ACTION_DISABLE_DEVICE = 2,
    RULE_ACTION_START_REC = 3,
    RULE_ACTION_STOP_REC = 13,
    RULE_ACTION_BOOKMARK = 27,
};

enum ACT_TIME_UNIT : int {
    ACT_TIME_UNIT_NONE = 0,
    ACT_TIME_UNIT_SEC = 1,
    ACT_TIME_UNIT_MIN = 2,
    ACT_TIME_UNIT_HOUR = 3,
};

enum ACT_TYPE : int {
    ACT_TYPE_ONCE = 0,
    ACT_TYPE_INTERRUPTIBLE = 1,
};

enum VxRULE_TYPE : int {
    VxRULE_TYPE_TRIGGERED = 0,
    VxRULE_TYPE_SCHEDULED = 1,
};

/// The state of an action on one device. 3 is logged as an error, 2 and 4 as a warning, all others as news.
enum RULE_ACT_STATUS : int {
    RULE_ACT_STATUS_IDLE = 0,
    RULE_ACT_STATUS_STARTED = 1,
    RULE_ACT_STATUS_STOPPED = 2,
    RULE_ACT_STATUS_FAILED = 3,
    RULE_ACT_STATUS_INTERRUPTED = 4,
};

/// How several events of one rule combine.
enum MULTI_EVT_SETTING : int {
    MULTI_EVT_SETTING_ANY = 0,
    MULTI_EVT_SETTING_ALL = 1,
};

/// What happens to ids in a set of devices.
enum ACTRULED_DEV_OP_TYPE : int {
    ACTRULED_DEV_OP_TYPE_ADD = 0,
    ACTRULED_DEV_OP_TYPE_REMOVE = 1,
};
