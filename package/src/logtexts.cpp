// SPDX-License-Identifier: Apache-2.0
// package/src/logtexts.cpp - the texts of categories, severities and connection states.
// A text holds no blank: it is one column of a log line and one argument of a command.
#include "package/logenum.h"

template <>
VxEnum2StrMap<LOG_CATEG>::VxEnum2StrMap()
    : m_map{
          {LOG_CATEG_GENERAL, "general"},
          {LOG_CATEG_ARCHIVE_PULL, "archive-pull"},
          {LOG_CATEG_CAMERA_SYNC, "camera-sync"},
          {LOG_CATEG_CAMERA, "camera"},
          {LOG_CATEG_UPGRADE_SYNC, "upgrade-sync"},
          {LOG_CATEG_RELAY, "relay"},
          {LOG_CATEG_EMAP, "emap"},
          {LOG_CATEG_IO_MODULE, "io-module"},
          {LOG_CATEG_LAYOUT, "layout"},
          {LOG_CATEG_LOCAL_DISPLAY, "local-display"},
          {LOG_CATEG_LOG_SEND, "log-send"},
          {LOG_CATEG_NOTIFICATION, "notification"},
          {LOG_CATEG_EMAIL, "email"},
          {LOG_CATEG_SMS, "sms"},
          {LOG_CATEG_ROTATE, "rotate"},
          {LOG_CATEG_PKG_VERSION, "pkg-version"},
          {LOG_CATEG_SHMFIFO, "shmfifo"},
          {LOG_CATEG_TEMP_FILE, "temp-file"},
          {LOG_CATEG_RELAY_CONNECT, "relay-connect"},
          {LOG_CATEG_ANALYTICS_REPORT, "analytics-report"},
          {LOG_CATEG_POS, "pos"},
          {LOG_CATEG_TIMELAPSE, "timelapse"},
          {LOG_CATEG_IP_SPEAKER, "ip-speaker"},
          {LOG_CATEG_LIVE_BROADCAST, "live-broadcast"},
          {LOG_CATEG_FACE, "face"},
          {LOG_CATEG_CLOUD_INFO, "cloud-info"},
          {LOG_CATEG_HTTP_CLIENT, "http-client"},
          {LOG_CATEG_CLOUD_RECORDING, "cloud-recording"},
          {LOG_CATEG_DB, "db"},
      }
{}

template <>
VxEnum2StrMap<LOG_LEVEL>::VxEnum2StrMap()
    : m_map{
          {LOG_LEVEL_ERR, "ERR"},   {LOG_LEVEL_WARN, "WARN"},   {LOG_LEVEL_NOTICE, "NOTICE"},
          {LOG_LEVEL_INFO, "INFO"}, {LOG_LEVEL_DEBUG, "DEBUG"}, {LOG_LEVEL_TRACE, "TRACE"},
          {LOG_LEVEL_ALL, "ALL"},
      }
{}

template <>
VxEnum2StrMap<SLAVE_ND_CONN_STATUS>::VxEnum2StrMap()
    : m_map{
          {SLAVE_ND_CONN_STATUS_NONE, ""},
          {SLAVE_ND_CONN_STATUS_CONNECTED, "connected"},
          {SLAVE_ND_CONN_STATUS_DISCONNECTED, "disconnected"},
          {SLAVE_ND_CONN_STATUS_CONNECTING, "connecting"},
          {SLAVE_ND_CONN_STATUS_LOGIN_FAILED, "login_failed"},
          {SLAVE_ND_CONN_STATUS_VERSION_MISMATCH, "version_mismatch"},
      }
{}
