// SPDX-License-Identifier: Apache-2.0
// package/src/db/connections_internal.h - the open connections of this process.
#pragma once

#include <functional>
#include <string>

#include "driver.h"

/// Runs a script on the database at `path`, over this thread's connection to it, which is opened when there
/// is none. Throws std::bad_alloc.
///
/// A fork waits until no thread runs a statement and then closes every connection, so that neither parent nor
/// child goes on with locks and descriptors that the other believes to be its own.
DbOutcome RunOnPath(const std::string& path, const DbSchema* pSchema, const std::string& sql,
                    DbRowSink* rows);

/// Opens a transaction on this thread's connection to `path`; every RunOnPath() on it joins.
DbOutcome BeginOnPath(const std::string& path, const DbSchema* pSchema);

/// Ends it.
DbOutcome EndOnPath(const std::string& path, bool isCommit);

/// Opens a connection apart from the cached ones, hands it to `work` and closes it. Throws std::bad_alloc.
DbOutcome RunApart(const DbOpenSpec& spec, const std::function<DbOutcome(DbConnection&)>& work);
