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
};

} // namespace

std::span<const char* const> LogMigrations() noexcept
{
    return MIGRATIONS;
}
