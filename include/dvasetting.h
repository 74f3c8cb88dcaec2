// SPDX-License-Identifier: Apache-2.0
// dvasetting.h - the settings of one analytics task, as rotation reads them.
#pragma once

#include <string>

#include "dbwrapper.h"

/// The columns of table "dva_setting".
enum DVA_SETTING_DB_COLUMNS : int {
    DVA_SETTING_ID = 0,          ///< task id; -1: not yet stored
    DVA_SETTING_NAME = 1,        ///< display name
    DVA_SETTING_CAMERA_ID = 2,   ///< camera that the task watches
    DVA_SETTING_TASK_TYPE = 3,   ///< kind of analysis
    DVA_SETTING_ENABLED = 4,     ///< 1: the task runs
    DVA_SETTING_SHARE_PATH = 5,  ///< folder that the recordings lie in
    DVA_SETTING_ROT_BY_DATE = 6, ///< 1: the limit in days holds
    DVA_SETTING_ROT_DAYS = 7,    ///< days to keep
    DVA_SETTING_ROT_BY_SIZE = 8, ///< 1: the limit in size holds
    DVA_SETTING_ROT_SIZE_MB = 9, ///< megabytes to keep
    DVA_SETTING_ROT_NUM = 10,    ///< recordings to keep; 0: any number
    DVA_SETTING_ON_CAMERA = 11,  ///< 1: the task runs on the camera itself
};

VX_TAGGED_FIELD(DVA_SETTING_ID, int, "id");
VX_TAGGED_FIELD(DVA_SETTING_NAME, std::string, "name");
VX_TAGGED_FIELD(DVA_SETTING_CAMERA_ID, int, "camera_id");
VX_TAGGED_FIELD(DVA_SETTING_TASK_TYPE, int, "task_type");
VX_TAGGED_FIELD(DVA_SETTING_ENABLED, int, "enabled");
VX_TAGGED_FIELD(DVA_SETTING_SHARE_PATH, std::string, "share_path");
VX_TAGGED_FIELD(DVA_SETTING_ROT_BY_DATE, int, "rotate_by_date");
VX_TAGGED_FIELD(DVA_SETTING_ROT_DAYS, int, "rotate_days");
VX_TAGGED_FIELD(DVA_SETTING_ROT_BY_SIZE, int, "rotate_by_size");
VX_TAGGED_FIELD(DVA_SETTING_ROT_SIZE_MB, int, "rotate_size_mb");
VX_TAGGED_FIELD(DVA_SETTING_ROT_NUM, int, "rotate_num");
VX_TAGGED_FIELD(DVA_SETTING_ON_CAMERA, int, "on_camera");

template <>
struct DBWrapperTraits<DVA_SETTING_DB_COLUMNS>
    : DBWrapperColumns<DVA_SETTING_ID, DVA_SETTING_NAME, DVA_SETTING_CAMERA_ID, DVA_SETTING_TASK_TYPE,
                       DVA_SETTING_ENABLED, DVA_SETTING_SHARE_PATH, DVA_SETTING_ROT_BY_DATE,
                       DVA_SETTING_ROT_DAYS, DVA_SETTING_ROT_BY_SIZE, DVA_SETTING_ROT_SIZE_MB,
                       DVA_SETTING_ROT_NUM, DVA_SETTING_ON_CAMERA> {
    static constexpr VxDB::DB_INSTANCE DBI = VxDB::DB_SYSTEM;
    static constexpr const char* TABLE = gszTableDvaSetting;
    static constexpr bool LOG_ON_ERROR = true;
};

/// One analytics task's settings.
using DvaSetting = DBWrapper<DVA_SETTING_DB_COLUMNS>;
