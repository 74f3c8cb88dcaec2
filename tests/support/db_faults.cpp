// SPDX-License-Identifier: Apache-2.0
// tests/support/db_faults.cpp - stands before the database layer.
#include "db_faults.h"

#include <dlfcn.h>

#include <cstdlib>
#include <string>

#include "package/db.h"

DbFaults g_dbFaults;

namespace {

template <typename Function>
Function* RealFunction(const char* mangled)
{
    void* const address = ::dlsym(RTLD_NEXT, mangled);
    if (address == nullptr) {
        std::abort(); // the signature changed: this file has to follow
    }
    return reinterpret_cast<Function*>(address);
}

} // namespace

int VxDBFetchRow(DBResult_tag* result, unsigned int* row) noexcept
{
    static auto* const real =
        RealFunction<int(DBResult_tag*, unsigned int*)>("_Z12VxDBFetchRowP12DBResult_tagPj");
    return g_dbFaults.failFetchRow ? -1 : real(result, row);
}

int VxDB::Execute(DB_INSTANCE instance, std::string sql, DBResult_tag** result) noexcept
{
    using Execute = int(DB_INSTANCE, std::string, DBResult_tag**);
    static auto* const real = RealFunction<Execute>("_ZN4VxDB7ExecuteENS_11DB_INSTANCEENSt7__cxx1112basic_"
                                                    "stringIcSt11char_traitsIcESaIcEEEPP12DBResult_tag");
    const int code = real(instance, std::move(sql), result);
    g_dbFaults.liveResults += result != nullptr && *result != nullptr ? 1 : 0;
    return code;
}

void VxDBFreeResult(DBResult_tag* result) noexcept
{
    static auto* const real = RealFunction<void(DBResult_tag*)>("_Z14VxDBFreeResultP12DBResult_tag");
    g_dbFaults.liveResults -= result != nullptr ? 1 : 0;
    real(result);
}
