// SPDX-License-Identifier: Apache-2.0
// dvapplcnt.h - how many people passed, as an analytics task counted them.
#pragma once

#include "dbwrapper.h"

/// The columns of table "ppl_cnt".
enum DVA_PPL_CNT_DB_COLUMN : int {
    DVA_PPL_CNT_ID = 0,         ///< -1: not yet stored
    DVA_PPL_CNT_TASK_ID = 1,    ///< row of dva_setting
    DVA_PPL_CNT_START_TIME = 2, ///< seconds since 1970
    DVA_PPL_CNT_SECONDS = 3,    ///< length of the interval
    DVA_PPL_CNT_ENTERED = 4,
    DVA_PPL_CNT_LEFT = 5,
};

VX_TAGGED_FIELD(DVA_PPL_CNT_ID, int, "id");
VX_TAGGED_FIELD(DVA_PPL_CNT_TASK_ID, int, "task_id");
VX_TAGGED_FIELD(DVA_PPL_CNT_START_TIME, int, "start_time");
VX_TAGGED_FIELD(DVA_PPL_CNT_SECONDS, int, "seconds");
VX_TAGGED_FIELD(DVA_PPL_CNT_ENTERED, int, "entered");
VX_TAGGED_FIELD(DVA_PPL_CNT_LEFT, int, "left_count");

template <>
struct DBWrapperTraits<DVA_PPL_CNT_DB_COLUMN>
    : DBWrapperColumns<DVA_PPL_CNT_ID, DVA_PPL_CNT_TASK_ID, DVA_PPL_CNT_START_TIME, DVA_PPL_CNT_SECONDS,
                       DVA_PPL_CNT_ENTERED, DVA_PPL_CNT_LEFT> {
    static constexpr VxDB::DB_INSTANCE DBI = VxDB::DB_DVA;
    static constexpr const char* TABLE = gszTablePplCnt;
    static constexpr bool LOG_ON_ERROR = true;
};

/// What one task counted in one interval.
using DvaPplCnt = DBWrapper<DVA_PPL_CNT_DB_COLUMN>;
