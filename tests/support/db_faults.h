// SPDX-License-Identifier: Apache-2.0
// tests/support/db_faults.h - faults of the database layer that no real database can be brought to. Linking
// db_faults.cpp puts them in place; while none is asked for everything works as ever.
#pragma once

struct DbFaults {
    bool failFetchRow = false; ///< VxDBFetchRow() fails
    int liveResults = 0;       ///< results handed out by VxDB::Execute() and not freed
};
extern DbFaults g_dbFaults;
