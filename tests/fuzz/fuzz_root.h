// SPDX-License-Identifier: Apache-2.0
// tests/fuzz/fuzz_root.h - what the fuzzers have in common: a silent package root and a loud end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "package/db.h"
#include "package/dbglogctl.h"
#include "support/temp_root.h"

/// What each fuzzer defines.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

/// Ends the program, which makes the fuzzer keep its input, unless `holds`.
inline void Require(bool holds, const char* what, const std::string& sql = "")
{
    if (!holds) {
        std::fprintf(stderr, "does not hold: %s\n%s\n", what, sql.c_str());
        std::abort();
    }
}

/// A package root that logs nothing: statements that are refused are everyday input here.
class FuzzRoot {
public:
    FuzzRoot() { Require(CreateDbgLogCfg(0) == 0, "a log configuration can be made"); }

private:
    TempRoot m_root;
};

/// The rows of a statement that has to succeed.
class Rows {
public:
    explicit Rows(const std::string& sql)
    {
        Require(VxDB::Execute(VxDB::DB_SYSTEM, sql, &m_pResult) == 0, "the statement is executed", sql);
    }
    ~Rows() { VxDBFreeResult(m_pResult); }
    Rows(const Rows&) = delete;
    Rows& operator=(const Rows&) = delete;

    DBResult_tag* Get() const { return m_pResult; }
    std::string Text(const char* column) const
    {
        return std::string(VxDB::FetchFieldText(m_pResult, 0, column));
    }

private:
    DBResult_tag* m_pResult = nullptr;
};
