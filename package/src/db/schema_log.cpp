// SPDX-License-Identifier: Apache-2.0
// package/src/db/schema_log.cpp - tables of log.db, one migration a version.
#include "schema_internal.h"

namespace {

constexpr const char* MIGRATIONS[] = {
    R"sql(
CREATE TABLE actionrule_history (
    id         INTEGER PRIMARY KEY,
    level      INTEGER DEFAULT 1,
    timestamp  INTEGER DEFAULT 0,
    rule_name  TEXT    DEFAULT '',
    rule_type  INTEGER DEFAULT 0,
    act_status INTEGER DEFAULT 0
);
CREATE INDEX actionrule_history_timestamp ON actionrule_history (timestamp);
)sql",
    R"sql(
CREATE TABLE log (
    id        INTEGER PRIMARY KEY AUTOINCREMENT,
    log_id    INTEGER NOT NULL,  -- which message, 0x1330009e and the like
    level     INTEGER DEFAULT 1, -- 1 information, 2 warning, 3 error
    timestamp INTEGER NOT NULL,  -- seconds since 1970-01-01 UTC
    user      TEXT    DEFAULT '',
    args      TEXT    DEFAULT '' -- the message's arguments, a JSON array of texts
);
CREATE INDEX log_timestamp ON log (timestamp);
)sql",
    R"sql(
CREATE TABLE bookmark (
    id           INTEGER PRIMARY KEY AUTOINCREMENT,
    arch_task_id INTEGER NOT NULL DEFAULT 0, -- archive task of the event; 0: of this box
    event_id     INTEGER NOT NULL,
    timestamp    INTEGER NOT NULL,           -- the moment it marks, seconds since 1970-01-01 UTC
    name         TEXT    NOT NULL DEFAULT '',
    comment      TEXT    NOT NULL DEFAULT ''
);
CREATE INDEX bookmark_event ON bookmark (arch_task_id, event_id);
)sql",
    // the other logs; every timestamp is in seconds since 1970-01-01 UTC
    R"sql(
CREATE TABLE log_event (
    id          INTEGER PRIMARY KEY AUTOINCREMENT,
    category    INTEGER NOT NULL DEFAULT 0,
    name        TEXT    NOT NULL DEFAULT '', -- of the device or the task
    timestamp   INTEGER NOT NULL,
    server_id   INTEGER NOT NULL DEFAULT 0,  -- 0: this box
    description TEXT    NOT NULL DEFAULT ''
);
CREATE INDEX log_event_timestamp ON log_event (timestamp);
CREATE TABLE iomodule_log (
    id          INTEGER PRIMARY KEY AUTOINCREMENT,
    iomodule_id INTEGER NOT NULL DEFAULT 0,
    timestamp   INTEGER NOT NULL,
    event       TEXT    NOT NULL DEFAULT '',
    description TEXT    NOT NULL DEFAULT ''
);
CREATE INDEX iomodule_log_timestamp ON iomodule_log (timestamp);
CREATE TABLE message (
    id        INTEGER PRIMARY KEY AUTOINCREMENT,
    timestamp INTEGER NOT NULL,
    sender    TEXT    NOT NULL DEFAULT '',
    content   TEXT    NOT NULL DEFAULT ''
);
CREATE INDEX message_timestamp ON message (timestamp);
ALTER TABLE bookmark ADD COLUMN locked INTEGER NOT NULL DEFAULT 0; -- 1: never rotated
CREATE INDEX bookmark_timestamp ON bookmark (locked, timestamp);
CREATE TABLE intercom_log (
    id          INTEGER PRIMARY KEY AUTOINCREMENT,
    intercom_id INTEGER NOT NULL DEFAULT 0,
    timestamp   INTEGER NOT NULL,
    description TEXT    NOT NULL DEFAULT ''
);
CREATE INDEX intercom_log_timestamp ON intercom_log (intercom_id, timestamp);
CREATE TABLE orvocam_log (
    id          INTEGER PRIMARY KEY AUTOINCREMENT,
    camera_id   INTEGER NOT NULL DEFAULT 0, -- a camera that is a recorder itself
    timestamp   INTEGER NOT NULL,
    description TEXT    NOT NULL DEFAULT ''
);
CREATE INDEX orvocam_log_timestamp ON orvocam_log (camera_id, timestamp);
CREATE TABLE detection_event (
    id          INTEGER PRIMARY KEY AUTOINCREMENT,
    camera_id   INTEGER NOT NULL DEFAULT 0,
    timestamp   INTEGER NOT NULL,
    type        INTEGER NOT NULL DEFAULT 0,
    size_bytes  INTEGER NOT NULL DEFAULT 0, -- of the picture that belongs to it
    description TEXT    NOT NULL DEFAULT ''
);
CREATE INDEX detection_event_timestamp ON detection_event (timestamp);
)sql",
    R"sql(
CREATE TABLE transactions_log (
    id         INTEGER PRIMARY KEY AUTOINCREMENT,
    pos_id     INTEGER NOT NULL DEFAULT 0,
    pos_name   TEXT    NOT NULL DEFAULT '',
    server_id  INTEGER NOT NULL DEFAULT 0,
    status     INTEGER NOT NULL DEFAULT 0,
    start_time INTEGER NOT NULL,
    end_time   INTEGER NOT NULL DEFAULT 0,
    camera_id  INTEGER NOT NULL DEFAULT 0
);
CREATE INDEX transactions_log_start ON transactions_log (pos_id, start_time);
CREATE TABLE transactions_content (
    id             INTEGER PRIMARY KEY AUTOINCREMENT,
    transaction_id INTEGER NOT NULL,
    timestamp      INTEGER NOT NULL,
    msec           INTEGER NOT NULL DEFAULT 0,
    content        TEXT    NOT NULL DEFAULT ''
);
CREATE INDEX transactions_content_transaction ON transactions_content (transaction_id, timestamp, msec);
)sql",
};

} // namespace

std::span<const char* const> LogMigrations() noexcept
{
    return MIGRATIONS;
}
