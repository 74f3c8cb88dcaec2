// SPDX-License-Identifier: Apache-2.0
// package/src/db/schema_lapse.cpp - tables of lapse.db, one migration a version.
#include "schema_internal.h"

namespace {

constexpr const char* MIGRATIONS[] = {
    R"sql(
CREATE TABLE lapse_recording (
    id          INTEGER PRIMARY KEY AUTOINCREMENT,
    task_id     INTEGER NOT NULL,
    camera_id   INTEGER NOT NULL DEFAULT 0,
    start_time  INTEGER NOT NULL,
    end_time    INTEGER NOT NULL DEFAULT 0,  -- 0 until it is closed
    stop_time   INTEGER GENERATED ALWAYS AS (CASE WHEN end_time > 0 THEN end_time ELSE start_time END) VIRTUAL,
    size        INTEGER NOT NULL DEFAULT 0,  -- bytes
    path        TEXT    NOT NULL DEFAULT '', -- relative to rec/
    mark_as_del INTEGER NOT NULL DEFAULT 0
);
CREATE INDEX lapse_recording_live ON lapse_recording (task_id, stop_time, size, mark_as_del) WHERE mark_as_del = 0;
CREATE INDEX lapse_recording_live_start ON lapse_recording (task_id, start_time) WHERE mark_as_del = 0;
CREATE INDEX lapse_recording_marked ON lapse_recording (mark_as_del) WHERE mark_as_del = 1;
CREATE UNIQUE INDEX lapse_recording_path ON lapse_recording (path) WHERE path <> '';
CREATE TABLE rec_volume (
    id   INTEGER PRIMARY KEY CHECK (id = 1),
    uuid TEXT NOT NULL -- of the volume that holds the files, see package/recsweep.h
);
)sql",
    // What ended in the same second goes in the order of its start.
    R"sql(
DROP INDEX lapse_recording_live;
CREATE INDEX lapse_recording_live ON lapse_recording (task_id, stop_time, start_time, size, mark_as_del) WHERE mark_as_del = 0;
)sql",
};

} // namespace

std::span<const char* const> LapseMigrations() noexcept
{
    return MIGRATIONS;
}
