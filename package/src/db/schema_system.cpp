// SPDX-License-Identifier: Apache-2.0
// package/src/db/schema_system.cpp - tables of system.db, one migration a version.
#include "schema_internal.h"

namespace {

constexpr const char* MIGRATIONS[] = {
    R"sql(
CREATE TABLE webhook (
    id                 INTEGER PRIMARY KEY AUTOINCREMENT,
    name               TEXT    DEFAULT '',
    provider           INTEGER DEFAULT 0,
    webhook_url        TEXT    DEFAULT '',
    webhook_req_method INTEGER DEFAULT 0,
    http_content_type  INTEGER DEFAULT 0,
    http_body          TEXT    DEFAULT '',
    enabled            INTEGER DEFAULT 1,
    token              TEXT    DEFAULT '',
    host_access_url    TEXT    DEFAULT '',
    headers            TEXT    DEFAULT ''
);
CREATE TABLE actionrule (
    id                 INTEGER PRIMARY KEY AUTOINCREMENT,
    enabled            INTEGER,
    name               TEXT,
    status             INTEGER,
    multi_status       TEXT,
    rule_type          INTEGER,
    act_type           INTEGER,
    evt_source         INTEGER,
    evt_server_id      INTEGER,
    evt_device_id      INTEGER,
    evt_id             INTEGER,
    evt_item           INTEGER,
    evt_min_interval   INTEGER,
    act_source         INTEGER,
    act_server_id      INTEGER,
    act_device_id      INTEGER,
    act_dev_ids        TEXT,
    act_id             INTEGER,
    act_item_id        INTEGER,
    act_item_ids       TEXT,
    act_times          INTEGER,
    act_time_unit      INTEGER,
    act_time_duration  INTEGER,
    act_return_pos     INTEGER,
    ext_url            TEXT,
    username           TEXT,
    password           TEXT,
    schedule           TEXT,
    multi_rule_id      INTEGER,
    multi_evt_ids      TEXT,
    multi_evt_setting  INTEGER,
    ifttt_key          TEXT,
    ifttt_event        TEXT,
    param1             TEXT,
    param2             TEXT,
    param3             TEXT,
    bmk_name           TEXT,
    bmk_comment        TEXT,
    bmk_lock           INTEGER,
    webhook_req_method INTEGER,
    http_content_type  INTEGER,
    http_body          TEXT,
    host_access_url    TEXT,
    bmk_show_osd       INTEGER,
    condition          INTEGER,
    condition_unit     INTEGER,
    condition_value    TEXT,
    url_split          INTEGER,
    headers            TEXT,
    notify_schedule    TEXT
);
CREATE INDEX actionrule_multi_rule_id ON actionrule (multi_rule_id);
CREATE TABLE actionrule_event (
    id                 INTEGER PRIMARY KEY AUTOINCREMENT,
    evt_source         INTEGER,
    evt_webhook_method INTEGER,
    evt_server_id      INTEGER,
    evt_device_id      INTEGER,
    evt_id             INTEGER,
    evt_item           INTEGER,
    evt_trigger        INTEGER,
    evt_status         INTEGER,
    webhook_token      TEXT,
    evt_dev_ids        TEXT
);
CREATE TABLE actionrule_multirule (
    id                 INTEGER PRIMARY KEY AUTOINCREMENT
);
)sql",
    // 2: settings of analytics and face tasks
    R"sql(
CREATE TABLE dva_setting (
    id                 INTEGER PRIMARY KEY AUTOINCREMENT,
    name               TEXT    NOT NULL DEFAULT '',
    camera_id          INTEGER NOT NULL DEFAULT 0,
    task_type          INTEGER NOT NULL DEFAULT 0,
    enabled            INTEGER NOT NULL DEFAULT 0,
    share_path         TEXT    NOT NULL DEFAULT '',
    rotate_by_date     INTEGER NOT NULL DEFAULT 0,
    rotate_days        INTEGER NOT NULL DEFAULT 0,
    rotate_by_size     INTEGER NOT NULL DEFAULT 0,
    rotate_size_mb     INTEGER NOT NULL DEFAULT 0
);
CREATE TABLE face_setting (
    id                 INTEGER PRIMARY KEY AUTOINCREMENT,
    name               TEXT    NOT NULL DEFAULT '',
    camera_id          INTEGER NOT NULL DEFAULT 0,
    enabled            INTEGER NOT NULL DEFAULT 0,
    share_path         TEXT    NOT NULL DEFAULT '',
    rotate_by_date     INTEGER NOT NULL DEFAULT 0,
    rotate_days        INTEGER NOT NULL DEFAULT 0,
    rotate_by_size     INTEGER NOT NULL DEFAULT 0,
    rotate_size_mb     INTEGER NOT NULL DEFAULT 0
);
)sql",
    // 3: cameras, ports in use, home mode
    R"sql(
CREATE TABLE camera (
    id      INTEGER PRIMARY KEY AUTOINCREMENT,
    name    TEXT    DEFAULT '',
    enabled INTEGER DEFAULT 1
);
CREATE TABLE io_keys (
    key      TEXT    NOT NULL,  -- a digital input or output, see package/iokeys.h
    entry_id INTEGER NOT NULL,  -- the rule that uses it
    PRIMARY KEY (key, entry_id)
) WITHOUT ROWID;
CREATE TABLE home_mode (
    kind    INTEGER NOT NULL,   -- kind of item, see package/homemode.h
    item_id INTEGER NOT NULL,
    PRIMARY KEY (kind, item_id)
) WITHOUT ROWID;
)sql",
    // 4: limits of cameras, tasks whose recordings are rotated, change notes for clients
    R"sql(
CREATE TABLE cam_rec_group (
    camera_id      INTEGER NOT NULL,
    rec_group      INTEGER NOT NULL,
    rotate_by_date INTEGER NOT NULL DEFAULT 0,
    rotate_days    INTEGER NOT NULL DEFAULT 0,
    rotate_by_size INTEGER NOT NULL DEFAULT 0,
    rotate_size_mb INTEGER NOT NULL DEFAULT 0,
    PRIMARY KEY (camera_id, rec_group)
) WITHOUT ROWID;
CREATE TABLE arch_pull_task (
    id             INTEGER PRIMARY KEY AUTOINCREMENT,
    name           TEXT    NOT NULL DEFAULT '',
    camera_id      INTEGER NOT NULL DEFAULT 0,
    share_path     TEXT    NOT NULL DEFAULT '', -- relative to rec/
    rotate_by_date INTEGER NOT NULL DEFAULT 0,
    rotate_days    INTEGER NOT NULL DEFAULT 0,
    rotate_by_size INTEGER NOT NULL DEFAULT 0,
    rotate_size_mb INTEGER NOT NULL DEFAULT 0,
    rotate_num     INTEGER NOT NULL DEFAULT 0   -- items to keep; 0: any number
);
CREATE TABLE timelapse_task (
    id             INTEGER PRIMARY KEY AUTOINCREMENT,
    name           TEXT    NOT NULL DEFAULT '',
    camera_id      INTEGER NOT NULL DEFAULT 0,
    share_path     TEXT    NOT NULL DEFAULT '',
    rotate_by_date INTEGER NOT NULL DEFAULT 0,
    rotate_days    INTEGER NOT NULL DEFAULT 0,
    rotate_by_size INTEGER NOT NULL DEFAULT 0,
    rotate_size_mb INTEGER NOT NULL DEFAULT 0,
    rotate_num     INTEGER NOT NULL DEFAULT 0
);
ALTER TABLE dva_setting ADD COLUMN rotate_num INTEGER NOT NULL DEFAULT 0;
ALTER TABLE dva_setting ADD COLUMN on_camera INTEGER NOT NULL DEFAULT 0; -- 1: it runs on the camera itself
ALTER TABLE face_setting ADD COLUMN rotate_num INTEGER NOT NULL DEFAULT 0;
CREATE INDEX dva_setting_camera ON dva_setting (camera_id);
CREATE TABLE alert_setting (
    id          INTEGER PRIMARY KEY CHECK (id = 1),
    rotate_days INTEGER NOT NULL DEFAULT 0
);
CREATE TABLE rec_setting (
    name  TEXT PRIMARY KEY, -- reserve_mb: megabytes that recording leaves free
    value INTEGER NOT NULL
) WITHOUT ROWID;
CREATE TABLE auto_update (
    kind     INTEGER NOT NULL, -- kind of record
    owner_id INTEGER NOT NULL, -- its camera or task
    serial   INTEGER NOT NULL, -- larger after each change
    deleted  INTEGER NOT NULL, -- items that have gone so far
    PRIMARY KEY (kind, owner_id)
) WITHOUT ROWID;
)sql",
    // 5: recording servers, how long logs are kept
    R"sql(
CREATE TABLE recording_server (
    id   INTEGER PRIMARY KEY AUTOINCREMENT,
    name TEXT    NOT NULL DEFAULT ''
);
CREATE TABLE log_rotate_setting (
    log                 INTEGER PRIMARY KEY, -- which log, see package/logrotatesettings.h
    enabled             INTEGER NOT NULL DEFAULT 0,
    days                INTEGER NOT NULL DEFAULT 90,
    size_limit_enabled  INTEGER NOT NULL DEFAULT 0,
    size_limit_mb       INTEGER NOT NULL DEFAULT 100,
    count_limit_enabled INTEGER NOT NULL DEFAULT 0,
    count_limit         INTEGER NOT NULL DEFAULT 10000,
    archive_dir         TEXT    NOT NULL DEFAULT '' -- '': the package's own
);
)sql",
    // 6: point-of-sale devices, IP speakers, shared folders for recordings
    R"sql(
CREATE TABLE pos (
    id         INTEGER PRIMARY KEY AUTOINCREMENT,
    name       TEXT    NOT NULL DEFAULT '',
    server_id  INTEGER NOT NULL DEFAULT 0,
    enabled    INTEGER NOT NULL DEFAULT 1,
    status     INTEGER NOT NULL DEFAULT 0,
    conn_type  INTEGER NOT NULL DEFAULT 0,
    host       TEXT    NOT NULL DEFAULT '',
    port       INTEGER NOT NULL DEFAULT 0,
    encoding   TEXT    NOT NULL DEFAULT '',
    start_text TEXT    NOT NULL DEFAULT '',
    end_text   TEXT    NOT NULL DEFAULT '',
    camera_id  INTEGER NOT NULL DEFAULT 0
);
CREATE TABLE ip_speaker (
    id        INTEGER PRIMARY KEY AUTOINCREMENT,
    name      TEXT    NOT NULL DEFAULT '',
    server_id INTEGER NOT NULL DEFAULT 0,
    enabled   INTEGER NOT NULL DEFAULT 1,
    status    INTEGER NOT NULL DEFAULT 0,
    vendor    TEXT    NOT NULL DEFAULT '',
    model     TEXT    NOT NULL DEFAULT '',
    host      TEXT    NOT NULL DEFAULT '',
    port      INTEGER NOT NULL DEFAULT 0,
    username  TEXT    NOT NULL DEFAULT '',
    password  TEXT    NOT NULL DEFAULT '',
    codec     TEXT    NOT NULL DEFAULT '',
    volume    INTEGER NOT NULL DEFAULT 0
);
CREATE TABLE share_rec_storage (
    id         INTEGER PRIMARY KEY AUTOINCREMENT,
    name       TEXT    NOT NULL DEFAULT '',
    server_id  INTEGER NOT NULL DEFAULT 0,
    status     INTEGER NOT NULL DEFAULT 0,
    host       TEXT    NOT NULL DEFAULT '',
    share      TEXT    NOT NULL DEFAULT '',
    mount_path TEXT    NOT NULL DEFAULT '',
    username   TEXT    NOT NULL DEFAULT '',
    password   TEXT    NOT NULL DEFAULT '',
    protocols  TEXT    NOT NULL DEFAULT '6',
    encrypted  INTEGER NOT NULL DEFAULT 0,
    quota_mb   INTEGER NOT NULL DEFAULT 0
);
)sql",
};

} // namespace

std::span<const char* const> SystemMigrations() noexcept
{
    return MIGRATIONS;
}
