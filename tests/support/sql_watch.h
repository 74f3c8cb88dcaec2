// SPDX-License-Identifier: Apache-2.0
// tests/support/sql_watch.h - every statement that is run on a database, seen before and after it.
// Linking sql_watch.cpp puts it in place.
#pragma once

#include <functional>
#include <string>

struct SqlWatch {
    std::function<void(const std::string& dbPath, const std::string& sql)> before;
    std::function<void(const std::string& dbPath, const std::string& sql)> after;
};
extern SqlWatch g_sqlWatch;
