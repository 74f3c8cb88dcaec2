// SPDX-License-Identifier: Apache-2.0
// package/src/db/tables.cpp - the values of the table names; the schemas beside this file use the same words.
#include "package/dbtables.h"

const char gszTableWebhook[] = "webhook";
const char gszTableActionRule[] = "actionrule";
const char gszTableActionRuleEvent[] = "actionrule_event";
const char gszTableActionRuleMultiRule[] = "actionrule_multirule";
const char gszTableIOKeys[] = "io_keys";
const char gszTableHomeMode[] = "home_mode";
const char gszTableCamera[] = "camera";
const char gszTableCamRecGroup[] = "cam_rec_group";
const char gszTableRecSetting[] = "rec_setting";
const char gszTableAutoUpdate[] = "auto_update";
const char gszTableRecServer[] = "recording_server";
const char gszTableArchPullTask[] = "arch_pull_task";
const char gszTableTimeLapseTask[] = "timelapse_task";
const char gszTableDvaSetting[] = "dva_setting";
const char gszTableFaceSetting[] = "face_setting";
const char gszTableAlertSetting[] = "alert_setting";
const char gszTableLogRotateSetting[] = "log_rotate_setting";
const char gszTablePos[] = "pos";
const char gszTableIPSpeaker[] = "ip_speaker";
const char gszTableShareRecStorage[] = "share_rec_storage";

const char gszTableLog[] = "log";
const char gszTableLogEvent[] = "log_event";
const char gszTableIOModuleLog[] = "iomodule_log";
const char gszTableMessage[] = "message";
const char gszTableActRuleHistory[] = "actionrule_history";
const char gszTableBookmark[] = "bookmark";
const char gszTableIntercomLog[] = "intercom_log";
const char gszTableOrvocamLog[] = "orvocam_log";
const char gszTableDetectionEvent[] = "detection_event";
const char gszTableTransactionsLog[] = "transactions_log";
const char gszTableTransactionsContent[] = "transactions_content";

const char gszTableEvent[] = "event";
const char gszTableRecordingCount[] = "recording_count";
const char gszTableRecVolume[] = "rec_volume";
const char gszTableAlertEvent[] = "alert_event";
const char gszTableLapseRecording[] = "lapse_recording";
const char gszTableIVARecording[] = "iva_recording";
const char gszTableFaceRecording[] = "face_recording";
const char gszTablePplCnt[] = "ppl_cnt";
const char gszTableLicensePlateResult[] = "license_plate_result";
