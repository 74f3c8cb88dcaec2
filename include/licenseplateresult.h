// SPDX-License-Identifier: Apache-2.0
// licenseplateresult.h - a number plate as an analytics task read it.
#pragma once

#include <string>

#include "dbwrapper.h"

/// The columns of table "license_plate_result".
enum LICENSE_PLATE_RESULT_DB_COLUMNS : int {
    LICENSE_PLATE_RESULT_ID = 0,      ///< -1: not yet stored
    LICENSE_PLATE_RESULT_TASK_ID = 1, ///< row of dva_setting
    LICENSE_PLATE_RESULT_CAMERA_ID = 2,
    LICENSE_PLATE_RESULT_TIMESTAMP = 3,    ///< seconds since 1970
    LICENSE_PLATE_RESULT_PLATE = 4,        ///< without blanks
    LICENSE_PLATE_RESULT_CONFIDENCE = 5,   ///< percent
    LICENSE_PLATE_RESULT_RECORDING_ID = 6, ///< row of iva_recording; 0: none
};

VX_TAGGED_FIELD(LICENSE_PLATE_RESULT_ID, int, "id");
VX_TAGGED_FIELD(LICENSE_PLATE_RESULT_TASK_ID, int, "task_id");
VX_TAGGED_FIELD(LICENSE_PLATE_RESULT_CAMERA_ID, int, "camera_id");
VX_TAGGED_FIELD(LICENSE_PLATE_RESULT_TIMESTAMP, int, "timestamp");
VX_TAGGED_FIELD(LICENSE_PLATE_RESULT_PLATE, std::string, "plate");
VX_TAGGED_FIELD(LICENSE_PLATE_RESULT_CONFIDENCE, int, "confidence");
VX_TAGGED_FIELD(LICENSE_PLATE_RESULT_RECORDING_ID, int, "recording_id");

template <>
struct DBWrapperTraits<LICENSE_PLATE_RESULT_DB_COLUMNS>
    : DBWrapperColumns<LICENSE_PLATE_RESULT_ID, LICENSE_PLATE_RESULT_TASK_ID, LICENSE_PLATE_RESULT_CAMERA_ID,
                       LICENSE_PLATE_RESULT_TIMESTAMP, LICENSE_PLATE_RESULT_PLATE,
                       LICENSE_PLATE_RESULT_CONFIDENCE, LICENSE_PLATE_RESULT_RECORDING_ID> {
    static constexpr VxDB::DB_INSTANCE DBI = VxDB::DB_DVA;
    static constexpr const char* TABLE = gszTableLicensePlateResult;
    static constexpr bool LOG_ON_ERROR = true;
};

/// One reading.
using LicensePlateResult = DBWrapper<LICENSE_PLATE_RESULT_DB_COLUMNS>;
