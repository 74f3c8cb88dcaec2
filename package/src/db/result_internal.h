// SPDX-License-Identifier: Apache-2.0
// package/src/db/result_internal.h - the rows of a statement in one block of memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// One field as a driver hands it over; data() null: NULL.
using DbField = std::string_view;

/// The block, one row behind the other, each
///
///   end of field 0..n-1   2 bytes each, 4 if the row's texts take more than 65535; from the first text on
///   texts                 each with a NUL behind it; a NULL field takes no byte at all, so its end is its
///   start
///
/// A row's entry in m_rows is its place in the block, which is even; bit 0 says that its ends have 4 bytes.
struct DBResult_tag {
    DBResult_tag() = default;
    DBResult_tag(const DBResult_tag&) = delete;
    DBResult_tag& operator=(const DBResult_tag&) = delete;
    ~DBResult_tag() { std::free(m_pBlock); }

    /// The column's number; -1 when there is none of that name.
    int FindColumn(const char* name) noexcept;
    DbField Field(std::size_t row, std::size_t column) const noexcept;
    /// All fields of a row; `fields` has one place a column.
    void Fields(std::size_t row, std::span<DbField> fields) const noexcept;
    std::size_t RowCount() const noexcept { return m_rows.size(); }
    std::size_t ColumnCount() const noexcept { return m_columns.size(); }

    std::size_t m_cursor = 0; ///< the row that the next VxDBFetchRow gives

private:
    friend class DbRowSink;

    struct Column {
        std::uint32_t namePos; ///< in m_names
        std::uint32_t next;    ///< the column that the caller asked for after this one, the last time
    };

    char* m_pBlock = nullptr;
    std::size_t m_size = 0;
    std::size_t m_capacity = 0;
    std::vector<std::size_t> m_rows;
    std::vector<Column> m_columns;
    std::string m_names; ///< each name with a NUL behind it
    std::size_t m_lastColumn = 0;
};

/// Fills a result, row by row. Throws std::bad_alloc.
class DbRowSink {
public:
    /// Takes a block of rows; @return false to be given no more.
    using Taker = std::function<bool(DBResult_tag& block)>;

    DbRowSink() : m_pResult(std::make_unique<DBResult_tag>()) {}
    /// Hands the rows over whenever `blockBytes` of them are there, and keeps none.
    DbRowSink(std::size_t blockBytes, Taker take)
        : m_pResult(std::make_unique<DBResult_tag>()), m_blockBytes(blockBytes), m_take(std::move(take))
    {}

    /// A statement with these columns starts; rows of an earlier one are dropped.
    void Start(std::span<const char* const> columnNames);
    void AddRow(std::span<const DbField> fields);
    /// Whether a block is ready to be handed over.
    bool IsBlockFull() const noexcept { return m_pResult->m_size >= m_blockBytes; }
    /// Hands over what is there. @return false when the taker wants no more.
    bool HandOver();
    /// Whether rows have left the sink, so that the statement cannot be run once more.
    bool HasHandedOver() const noexcept { return m_hasHandedOver; }
    /// Drops everything.
    void Reset() { m_pResult = std::make_unique<DBResult_tag>(); }
    /// Gives the result away, its block cut to what is used.
    DBResult_tag* Release() noexcept;
    const DBResult_tag& Result() const noexcept { return *m_pResult; }

private:
    char* Reserve(std::size_t bytes);

    std::unique_ptr<DBResult_tag> m_pResult;
    std::size_t m_blockBytes = SIZE_MAX;
    Taker m_take;
    bool m_hasHandedOver = false;
};
