// SPDX-License-Identifier: Apache-2.0
// package/dbtables.h - names of the tables, so that no statement spells one itself.
#pragma once

#include "package/export.h"

// The system database.
VX_API extern const char gszTableWebhook[];
VX_API extern const char gszTableActionRule[];
VX_API extern const char gszTableActionRuleEvent[];
VX_API extern const char gszTableActionRuleMultiRule[];
VX_API extern const char gszTableIOKeys[];
VX_API extern const char gszTableHomeMode[];
VX_API extern const char gszTableCamera[];
VX_API extern const char gszTableCamRecGroup[];
VX_API extern const char gszTableRecSetting[];
VX_API extern const char gszTableAutoUpdate[];
VX_API extern const char gszTableRecServer[];
VX_API extern const char gszTableArchPullTask[];
VX_API extern const char gszTableTimeLapseTask[];
VX_API extern const char gszTableDvaSetting[];
VX_API extern const char gszTableFaceSetting[];
VX_API extern const char gszTableAlertSetting[];
VX_API extern const char gszTableLogRotateSetting[];
VX_API extern const char gszTablePos[];
VX_API extern const char gszTableIPSpeaker[];
VX_API extern const char gszTableShareRecStorage[];

// The log database.
VX_API extern const char gszTableLog[];
VX_API extern const char gszTableLogEvent[];
VX_API extern const char gszTableIOModuleLog[];
VX_API extern const char gszTableMessage[];
VX_API extern const char gszTableActRuleHistory[];
VX_API extern const char gszTableBookmark[];
VX_API extern const char gszTableIntercomLog[];
VX_API extern const char gszTableOrvocamLog[];
VX_API extern const char gszTableDetectionEvent[];
VX_API extern const char gszTableTransactionsLog[];
VX_API extern const char gszTableTransactionsContent[];

// One database each.
VX_API extern const char gszTableEvent[];
VX_API extern const char gszTableRecordingCount[]; ///< beside the events that it counts
VX_API extern const char gszTableRecVolume[];      ///< in each of them
VX_API extern const char gszTableAlertEvent[];
VX_API extern const char gszTableLapseRecording[];
VX_API extern const char gszTableIVARecording[];
VX_API extern const char gszTableFaceRecording[];
VX_API extern const char gszTablePplCnt[];             ///< beside the analytics recordings
VX_API extern const char gszTableLicensePlateResult[]; ///< beside them, too
