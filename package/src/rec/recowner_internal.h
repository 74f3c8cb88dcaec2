// SPDX-License-Identifier: Apache-2.0
// package/src/rec/recowner_internal.h - numbers of cameras and tasks that recordings have already.
#pragma once

#include "package/rectable.h"

/// Gives the row that was just added to a table of owners a number behind those of all recordings, unless it has
/// one. So nothing new inherits what another has recorded, also after the database that gave out the numbers was
/// lost. Call it within the transaction of the row.
///
/// @param kind    of the recordings
/// @param folder  of rec/ that has one folder a number: "" cameras, "arch", "lapse", ... tasks
/// @return 0, `id` is the row's; -1 (logged).
[[nodiscard]] int MoveBehindOwners(const char* table, REC_KIND kind, const std::string& folder, int& id);
