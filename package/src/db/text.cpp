// SPDX-License-Identifier: Apache-2.0
// package/src/db/text.cpp - values and clauses as SQL text.
#include "driver.h"
#include "package/db.h"

std::string VxDB::QuoteEscape(const std::string& text)
{
    std::string literal;
    AppendQuoted(literal, text);
    return literal;
}

void VxDB::AppendQuoted(std::string& out, std::string_view text)
{
    const std::size_t oldSize = out.size();
    out.resize(oldSize + MaxQuotedSize(text.size()));
    const char* const pEnd = WriteQuoted(out.data() + oldSize, text);
    out.resize(static_cast<std::size_t>(pEnd - out.data()));
}

char* VxDB::WriteQuoted(char* out, std::string_view text) noexcept
{
    return DialectWriteQuoted(out, text);
}

std::string VxDB::EscapeSpecialChars(std::string text)
{
    std::string escaped;
    escaped.reserve(text.size() + 8);
    for (const char c : text) {
        if (c == '%' || c == '_' || c == '\\') {
            escaped += '\\';
        }
        escaped += c;
    }
    return escaped;
}

std::string VxDB::GetReturnColumnsStatement(std::initializer_list<std::string_view> columns)
{
    return DialectReturnColumns(columns);
}

std::string VxDB::GetReturnIdStatement()
{
    return DialectReturnId();
}
