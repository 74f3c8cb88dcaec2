// SPDX-License-Identifier: Apache-2.0
// package/logenum.h - the enumerations whose texts the package defines: log categories, severities, and the
// connection status of a recording server.
#pragma once

#include "package/enum2str.h"
#include "package/export.h"

/// Log categories, 0..511. The number is the contract (it selects the threshold in the shared record); the
/// name says what logs under it.
enum LOG_CATEG : int {
    LOG_CATEG_GENERAL = 0,           ///< HTTP header parsing, SMS sending, cloud-service cameras
    LOG_CATEG_ARCHIVE_PULL = 2,      ///< archive bandwidth parameters, archive-pull upgrade
    LOG_CATEG_CAMERA_SYNC = 6,       ///< camera synchronisation relay
    LOG_CATEG_CAMERA = 7,            ///< enabling, disabling, checksums, event execution parameters
    LOG_CATEG_UPGRADE_SYNC = 11,     ///< recording-server upgrade sync files
    LOG_CATEG_RELAY = 14,            ///< relay decisions, NTP settings, snapshots from a recording server
    LOG_CATEG_EMAP = 19,             ///< e-maps and geo-maps
    LOG_CATEG_IO_MODULE = 28,        ///< I/O-module actions
    LOG_CATEG_LAYOUT = 29,           ///< layouts
    LOG_CATEG_LOCAL_DISPLAY = 33,    ///< local display users
    LOG_CATEG_LOG_SEND = 34,         ///< log sending settings
    LOG_CATEG_NOTIFICATION = 38,     ///< notification daemon, message sender, webhook sender
    LOG_CATEG_EMAIL = 40,            ///< e-mail notification settings
    LOG_CATEG_SMS = 42,              ///< SMS settings and sending
    LOG_CATEG_ROTATE = 49,           ///< rotation of events and alerts
    LOG_CATEG_PKG_VERSION = 61,      ///< package version checks with the host
    LOG_CATEG_SHMFIFO = 62,          ///< shared-memory stream FIFO
    LOG_CATEG_TEMP_FILE = 66,        ///< spreadsheet conversion, temporary sync files, thumbnails
    LOG_CATEG_RELAY_CONNECT = 73,    ///< relay-connect service
    LOG_CATEG_ANALYTICS_REPORT = 78, ///< analytics reports
    LOG_CATEG_POS = 80,              ///< point-of-sale actions and transaction content
    LOG_CATEG_TIMELAPSE = 90,        ///< time-lapse
    LOG_CATEG_IP_SPEAKER = 92,       ///< IP speakers
    LOG_CATEG_LIVE_BROADCAST = 101,  ///< live-broadcast client
    LOG_CATEG_FACE = 106,            ///< face recognition utilities
    LOG_CATEG_CLOUD_INFO = 114,      ///< cloud-service information and plans
    LOG_CATEG_HTTP_CLIENT = 116,     ///< HTTP client handler
    LOG_CATEG_CLOUD_RECORDING = 117, ///< cloud recording loader
    LOG_CATEG_DB = 120,              ///< the database layer, records mapped to rows
};

/// Severities; a lower number is more severe. A threshold of 0 silences a category.
enum LOG_LEVEL : int {
    LOG_LEVEL_ERR = 1,
    LOG_LEVEL_WARN = 2,
    LOG_LEVEL_NOTICE = 3,
    LOG_LEVEL_INFO = 4,
    LOG_LEVEL_DEBUG = 5,
    LOG_LEVEL_TRACE = 6,
    LOG_LEVEL_ALL = 7,
};

/// How a secondary recording server is connected.
enum SLAVE_ND_CONN_STATUS : int {
    SLAVE_ND_CONN_STATUS_NONE = 0,
    SLAVE_ND_CONN_STATUS_CONNECTED = 1,
    SLAVE_ND_CONN_STATUS_DISCONNECTED = 2,
    SLAVE_ND_CONN_STATUS_CONNECTING = 3,
    SLAVE_ND_CONN_STATUS_LOGIN_FAILED = 4,
    SLAVE_ND_CONN_STATUS_VERSION_MISMATCH = 5,
};

template <>
VX_API VxEnum2StrMap<LOG_CATEG>::VxEnum2StrMap();
template <>
VX_API VxEnum2StrMap<LOG_LEVEL>::VxEnum2StrMap();
template <>
VX_API VxEnum2StrMap<SLAVE_ND_CONN_STATUS>::VxEnum2StrMap();
