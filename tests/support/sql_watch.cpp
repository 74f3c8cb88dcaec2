// SPDX-License-Identifier: Apache-2.0
// tests/support/sql_watch.cpp - stands before the function that runs all statements.
#include "sql_watch.h"

#include <dlfcn.h>

#include <cstdlib>

#include "package/db.h"

SqlWatch g_sqlWatch;

int VxDB::Executep(const std::string& path, std::string sql, DBResult_tag** result) noexcept
{
    using Function = int(const std::string&, std::string, DBResult_tag**);
    static auto* const real = reinterpret_cast<Function*>(::dlsym(
        RTLD_NEXT, "_ZN4VxDB8ExecutepERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEES5_PP12DBResult_"
                   "tag"));
    if (real == nullptr) {
        std::abort(); // the signature changed: this file has to follow
    }
    if (g_sqlWatch.before) {
        g_sqlWatch.before(path, sql);
    }
    const int code = real(path, sql, result);
    if (g_sqlWatch.after) {
        g_sqlWatch.after(path, sql);
    }
    return code;
}
