// SPDX-License-Identifier: Apache-2.0
// tests/compile/sql_mistakes.cpp - what may not be written into an SQL expression.
#include "vxdb.h"

void Write(VxDB::SqlExpr& expr, const std::string& text)
{
    expr << VxDB::Value(text) << "a" << 1;
#ifdef VX_MISTAKE_BARE_STRING
    expr << text;
#endif
#ifdef VX_MISTAKE_BARE_STRING_FIELD
    VxDB::SqlBuilder::Update("t", "id").Field("name", text);
#endif
#ifdef VX_MISTAKE_RAW_TEMPORARY
    expr << VxDB::RawSql(text + ";");
#endif
#ifdef VX_MISTAKE_POINTER
    expr << &expr;
#endif
#ifdef VX_MISTAKE_CHARACTER
    expr << 'x';
#endif
#ifdef VX_MISTAKE_FLOATING
    expr << 1.5;
#endif
#ifdef VX_MISTAKE_COPIED_EXPRESSION
    VxDB::SqlExpr other;
    expr << other;
#endif
#ifdef VX_MISTAKE_UNKNOWN_VALUE
    static_cast<void>(VxDB::SqlConversion<double>::ToSqlValue(1.5));
#endif
}
