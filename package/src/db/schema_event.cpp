// SPDX-License-Identifier: Apache-2.0
// package/src/db/schema_event.cpp - tables of event.db, one migration a version.
#include "schema_internal.h"

namespace {

constexpr const char* MIGRATIONS[] = {
    R"sql(
CREATE TABLE event (
    id          INTEGER PRIMARY KEY AUTOINCREMENT,
    camera_id   INTEGER NOT NULL,            -- in an archive task's database: the task
    rec_group   INTEGER NOT NULL DEFAULT 0,
    start_time  INTEGER NOT NULL,
    end_time    INTEGER NOT NULL DEFAULT 0,  -- 0 until it is closed
    stop_time   INTEGER GENERATED ALWAYS AS (CASE WHEN end_time > 0 THEN end_time ELSE start_time END) VIRTUAL,
    size        INTEGER NOT NULL DEFAULT 0,  -- bytes
    path        TEXT    NOT NULL DEFAULT '', -- relative to rec/
    cam_end_ms  INTEGER NOT NULL DEFAULT 0,  -- end as the camera counts it, for what it had stored itself
    rotate_only INTEGER NOT NULL DEFAULT 0,  -- 1: never shown
    rec_cnt_ts  INTEGER NOT NULL DEFAULT 0,  -- when the counters last changed for it
    mark_as_del INTEGER NOT NULL DEFAULT 0
);
CREATE INDEX event_live ON event (camera_id, rec_group, stop_time, size, mark_as_del) WHERE mark_as_del = 0;
CREATE INDEX event_live_start ON event (camera_id, rec_group, start_time) WHERE mark_as_del = 0;
CREATE INDEX event_marked ON event (mark_as_del) WHERE mark_as_del = 1;
CREATE UNIQUE INDEX event_path ON event (path) WHERE path <> '';
CREATE INDEX event_open ON event (camera_id, rec_group) WHERE end_time = 0;
CREATE TABLE recording_count (
    camera_id INTEGER NOT NULL,
    day       INTEGER NOT NULL, -- seconds / 86400
    count     INTEGER NOT NULL,
    PRIMARY KEY (camera_id, day)
) WITHOUT ROWID;
CREATE TABLE rec_volume (
    id   INTEGER PRIMARY KEY CHECK (id = 1),
    uuid TEXT NOT NULL -- of the volume that holds the files, see package/recsweep.h
);
)sql",
    // What ended in the same second goes in the order of its start.
    R"sql(
DROP INDEX event_live;
CREATE INDEX event_live ON event (camera_id, rec_group, stop_time, start_time, size, mark_as_del) WHERE mark_as_del = 0;
)sql",
};

} // namespace

std::span<const char* const> EventMigrations() noexcept
{
    return MIGRATIONS;
}
