// SPDX-License-Identifier: Apache-2.0
// facesetting.h - the settings of one face task, as rotation reads them.
#pragma once

#include <string>

#include "dbwrapper.h"

/// The columns of table "face_setting".
enum FACE_SETTING_DB_COLUMNS : int {
    FACE_SETTING_ID = 0,          ///< task id; -1: not yet stored
    FACE_SETTING_NAME = 1,        ///< display name
    FACE_SETTING_CAMERA_ID = 2,   ///< camera that the task watches
    FACE_SETTING_ENABLED = 3,     ///< 1: the task runs
    FACE_SETTING_SHARE_PATH = 4,  ///< folder that the captured faces lie in
    FACE_SETTING_ROT_BY_DATE = 5, ///< 1: the limit in days holds
    FACE_SETTING_ROT_DAYS = 6,    ///< days to keep
    FACE_SETTING_ROT_BY_SIZE = 7, ///< 1: the limit in size holds
    FACE_SETTING_ROT_SIZE_MB = 8, ///< megabytes to keep
    FACE_SETTING_ROT_NUM = 9,     ///< faces to keep; 0: any number
};

VX_TAGGED_FIELD(FACE_SETTING_ID, int, "id");
VX_TAGGED_FIELD(FACE_SETTING_NAME, std::string, "name");
VX_TAGGED_FIELD(FACE_SETTING_CAMERA_ID, int, "camera_id");
VX_TAGGED_FIELD(FACE_SETTING_ENABLED, int, "enabled");
VX_TAGGED_FIELD(FACE_SETTING_SHARE_PATH, std::string, "share_path");
VX_TAGGED_FIELD(FACE_SETTING_ROT_BY_DATE, int, "rotate_by_date");
VX_TAGGED_FIELD(FACE_SETTING_ROT_DAYS, int, "rotate_days");
VX_TAGGED_FIELD(FACE_SETTING_ROT_BY_SIZE, int, "rotate_by_size");
VX_TAGGED_FIELD(FACE_SETTING_ROT_SIZE_MB, int, "rotate_size_mb");
VX_TAGGED_FIELD(FACE_SETTING_ROT_NUM, int, "rotate_num");

template <>
struct DBWrapperTraits<FACE_SETTING_DB_COLUMNS>
    : DBWrapperColumns<FACE_SETTING_ID, FACE_SETTING_NAME, FACE_SETTING_CAMERA_ID, FACE_SETTING_ENABLED,
                       FACE_SETTING_SHARE_PATH, FACE_SETTING_ROT_BY_DATE, FACE_SETTING_ROT_DAYS,
                       FACE_SETTING_ROT_BY_SIZE, FACE_SETTING_ROT_SIZE_MB, FACE_SETTING_ROT_NUM> {
    static constexpr VxDB::DB_INSTANCE DBI = VxDB::DB_SYSTEM;
    static constexpr const char* TABLE = gszTableFaceSetting;
    static constexpr bool LOG_ON_ERROR = true;
};

/// One face task's settings.
using FaceSetting = DBWrapper<FACE_SETTING_DB_COLUMNS>;
