// SPDX-License-Identifier: Apache-2.0
// package/src/db/schema_dva.cpp - tables of dva.db, one migration a version.
#include "schema_internal.h"

namespace {

constexpr const char* MIGRATIONS[] = {
    R"sql(
CREATE TABLE iva_recording (
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
CREATE INDEX iva_recording_live ON iva_recording (task_id, stop_time, size, mark_as_del) WHERE mark_as_del = 0;
CREATE INDEX iva_recording_live_start ON iva_recording (task_id, start_time) WHERE mark_as_del = 0;
CREATE INDEX iva_recording_marked ON iva_recording (mark_as_del) WHERE mark_as_del = 1;
CREATE UNIQUE INDEX iva_recording_path ON iva_recording (path) WHERE path <> '';
CREATE TABLE rec_volume (
    id   INTEGER PRIMARY KEY CHECK (id = 1),
    uuid TEXT NOT NULL -- of the volume that holds the files, see package/recsweep.h
);
)sql",
    // What ended in the same second goes in the order of its start.
    R"sql(
DROP INDEX iva_recording_live;
CREATE INDEX iva_recording_live ON iva_recording (task_id, stop_time, start_time, size, mark_as_del) WHERE mark_as_del = 0;
)sql",
    // What tasks count and read, beside what they record.
    R"sql(
CREATE TABLE ppl_cnt (
    id         INTEGER PRIMARY KEY AUTOINCREMENT,
    task_id    INTEGER NOT NULL,
    start_time INTEGER NOT NULL,
    seconds    INTEGER NOT NULL DEFAULT 0,
    entered    INTEGER NOT NULL DEFAULT 0,
    left_count INTEGER NOT NULL DEFAULT 0
);
CREATE INDEX ppl_cnt_start ON ppl_cnt (task_id, start_time);
CREATE TABLE license_plate_result (
    id           INTEGER PRIMARY KEY AUTOINCREMENT,
    task_id      INTEGER NOT NULL,
    camera_id    INTEGER NOT NULL DEFAULT 0,
    timestamp    INTEGER NOT NULL,
    plate        TEXT    NOT NULL DEFAULT '',
    confidence   INTEGER NOT NULL DEFAULT 0,
    recording_id INTEGER NOT NULL DEFAULT 0
);
CREATE INDEX license_plate_result_time ON license_plate_result (task_id, timestamp);
CREATE INDEX license_plate_result_plate ON license_plate_result (plate, timestamp);
)sql",
};

} // namespace

std::span<const char* const> DvaMigrations() noexcept
{
    return MIGRATIONS;
}
