// SPDX-License-Identifier: Apache-2.0
// tests/support/sql.h - statements of a test's own.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "package/db.h"

/// Runs a statement that must succeed. @return its rows joined by blanks, the fields of each joined by slashes
inline std::string Sql(const std::string& sql, VxDB::DB_INSTANCE instance = VxDB::DB_SYSTEM)
{
    DBResult_tag* pRows = nullptr;
    EXPECT_EQ(VxDB::Execute(instance, sql, &pRows), 0) << sql;
    std::string text;
    std::vector<std::string_view> fields;
    for (unsigned int row = 0; pRows != nullptr && VxDBFetchRow(pRows, &row) == 0;) {
        VxDB::FetchRowTexts(pRows, row, fields);
        for (std::size_t i = 0; i < fields.size(); ++i) {
            text += (i > 0 ? "/" : text.empty() ? "" : " ") + std::string(fields[i]);
        }
    }
    VxDBFreeResult(pRows);
    return text;
}
