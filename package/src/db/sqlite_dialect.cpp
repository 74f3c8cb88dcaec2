// SPDX-License-Identifier: Apache-2.0
// package/src/db/sqlite_dialect.cpp - what SQLite's SQL says in its own way: chores, return clauses, quoting.
#include <cstdint>
#include <cstring>
#include <string>

#include "driver.h"

namespace {

/// Whether one of the eight bytes is a NUL or a single quote.
bool HasSpecialByte(std::uint64_t bytes) noexcept
{
    constexpr std::uint64_t ONES = 0x0101010101010101U;
    constexpr std::uint64_t HIGHS = 0x8080808080808080U;
    const std::uint64_t quotes = bytes ^ (ONES * static_cast<unsigned char>('\''));
    return (((bytes - ONES) & ~bytes) | ((quotes - ONES) & ~quotes)) & HIGHS;
}

/// SQL text ends at a NUL byte, so such a value is written in hexadecimal.
char* WriteHexLiteral(char* out, std::string_view text) noexcept
{
    static constexpr char DIGITS[] = "0123456789ABCDEF";
    out = static_cast<char*>(std::memcpy(out, "CAST(x'", 7)) + 7;
    for (const char c : text) {
        *out++ = DIGITS[static_cast<unsigned char>(c) >> 4];
        *out++ = DIGITS[static_cast<unsigned char>(c) & 15];
    }
    return static_cast<char*>(std::memcpy(out, "' AS TEXT)", 10)) + 10;
}

} // namespace

const char* DialectChore(DbChore chore) noexcept
{
    switch (chore) {
    case DbChore::TABLES:
        return "SELECT name FROM sqlite_master WHERE type='table' AND name NOT LIKE 'sqlite\\_%' ESCAPE '\\' "
               "ORDER BY name";
    case DbChore::VERSION:
        return "PRAGMA user_version";
    case DbChore::UNUSED:
        return "SELECT freelist_count * page_size FROM pragma_freelist_count, pragma_page_size";
    case DbChore::INTEGRITY:
        return "PRAGMA integrity_check";
    case DbChore::REFERENCES:
        return "SELECT 'row ' || rowid || ' of ' || \"table\" || ' refers to nothing in ' || parent "
               "FROM pragma_foreign_key_check";
    case DbChore::COMPACT:
        return "VACUUM";
    case DbChore::FLUSH:
        break;
    }
    return "PRAGMA wal_checkpoint(TRUNCATE)";
}

std::string DialectReturnColumns(std::initializer_list<std::string_view> columns)
{
    std::string clause = "RETURNING ";
    const char* separator = "";
    for (const std::string_view column : columns) {
        clause.append(separator).append(column);
        separator = ",";
    }
    return clause;
}

std::string DialectReturnId()
{
    return "SELECT last_insert_rowid() AS id WHERE changes() > 0;";
}

char* DialectWriteQuoted(char* const out, std::string_view text) noexcept
{
    const char* from = text.data();
    const char* const end = from + text.size();
    char* to = out;
    *to++ = '\'';
    while (from != end) {
        std::uint64_t bytes = 0;
        while (end - from >= 8 && (std::memcpy(&bytes, from, 8), !HasSpecialByte(bytes))) {
            std::memcpy(to, &bytes, 8);
            from += 8;
            to += 8;
        }
        for (int i = 0; i < 8 && from != end; ++i) {
            const char c = *from++;
            if (c == '\0') {
                return WriteHexLiteral(out, text);
            }
            *to++ = c;
            if (c == '\'') {
                *to++ = c;
            }
        }
    }
    *to++ = '\'';
    return to;
}
