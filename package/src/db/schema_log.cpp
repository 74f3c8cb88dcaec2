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
};

} // namespace

std::span<const char* const> LogMigrations() noexcept
{
    return MIGRATIONS;
}
