// SPDX-License-Identifier: Apache-2.0
// package/src/db/schema_alert.cpp - tables of alert.db, one migration a version.
#include "schema_internal.h"

namespace {

constexpr const char* MIGRATIONS[] = {
    R"sql(
CREATE TABLE alert_event (
    id          INTEGER PRIMARY KEY AUTOINCREMENT,
    type        INTEGER NOT NULL DEFAULT 0,
    device_id   INTEGER NOT NULL,            -- the camera, or the analytics task where type is 1024
    text        TEXT    NOT NULL DEFAULT '',
    start_time  INTEGER NOT NULL,
    end_time    INTEGER NOT NULL DEFAULT 0,  -- 0 until it is closed
    stop_time   INTEGER GENERATED ALWAYS AS (CASE WHEN end_time > 0 THEN end_time ELSE start_time END) VIRTUAL,
    size        INTEGER NOT NULL DEFAULT 0,  -- bytes
    path        TEXT    NOT NULL DEFAULT '', -- relative to rec/
    mark_as_del INTEGER NOT NULL DEFAULT 0
);
CREATE INDEX alert_event_live ON alert_event (device_id, type, stop_time, size, mark_as_del) WHERE mark_as_del = 0;
CREATE INDEX alert_event_live_start ON alert_event (device_id, type, start_time) WHERE mark_as_del = 0;
CREATE INDEX alert_event_marked ON alert_event (mark_as_del) WHERE mark_as_del = 1;
CREATE UNIQUE INDEX alert_event_path ON alert_event (path) WHERE path <> '';
CREATE TABLE rec_volume (
    id   INTEGER PRIMARY KEY CHECK (id = 1),
    uuid TEXT NOT NULL -- of the volume that holds the files, see package/recsweep.h
);
)sql",
};

} // namespace

std::span<const char* const> AlertMigrations() noexcept
{
    return MIGRATIONS;
}
