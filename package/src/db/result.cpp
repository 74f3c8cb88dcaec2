// SPDX-License-Identifier: Apache-2.0
// package/src/db/result.cpp - rows in one block of memory, and the calls that read them.
#include <strings.h>

#include <cerrno>
#include <cstring>
#include <new>

#include "package/db.h"
#include "result_internal.h"

namespace {

constexpr std::size_t NARROW_MAX = 0xFFFF;

template <typename End>
void WriteRow(char* out, std::span<const DbField> fields) noexcept
{
    char* text = out + fields.size() * sizeof(End);
    const char* const pTexts = text;
    for (const DbField& field : fields) {
        if (field.data() != nullptr) {
            std::memcpy(text, field.data(), field.size());
            text += field.size();
            *text++ = '\0';
        }
        const End end = static_cast<End>(text - pTexts);
        std::memcpy(out, &end, sizeof end);
        out += sizeof end;
    }
}

template <typename End>
void ReadFields(const char* row, std::span<DbField> fields) noexcept
{
    const char* const pTexts = row + fields.size() * sizeof(End);
    End start = 0;
    for (DbField& field : fields) {
        End end = 0;
        std::memcpy(&end, row, sizeof end);
        row += sizeof end;
        field = start == end ? DbField() : DbField(pTexts + start, static_cast<std::size_t>(end - start) - 1);
        start = end;
    }
}

template <typename End>
DbField ReadField(const char* row, std::size_t column, std::size_t columnCount) noexcept
{
    End start = 0;
    End end = 0;
    if (column > 0) {
        std::memcpy(&start, row + (column - 1) * sizeof(End), sizeof start);
    }
    std::memcpy(&end, row + column * sizeof(End), sizeof end);
    if (start == end) {
        return {};
    }
    return {row + columnCount * sizeof(End) + start, static_cast<std::size_t>(end - start) - 1};
}

} // namespace

int DBResult_tag::FindColumn(const char* name) noexcept
{
    if (name == nullptr || m_columns.empty()) {
        return -1;
    }
    const std::size_t guess = m_columns[m_lastColumn].next;
    if (std::strcmp(m_names.c_str() + m_columns[guess].namePos, name) == 0) {
        m_lastColumn = guess;
        return static_cast<int>(guess);
    }
    for (const auto compare : {&std::strcmp, &::strcasecmp}) {
        for (std::size_t i = 0; i < m_columns.size(); ++i) {
            if (compare(m_names.c_str() + m_columns[i].namePos, name) == 0) {
                m_columns[m_lastColumn].next = static_cast<std::uint32_t>(i);
                m_lastColumn = i;
                return static_cast<int>(i);
            }
        }
    }
    return -1;
}

DbField DBResult_tag::Field(std::size_t row, std::size_t column) const noexcept
{
    const std::size_t place = m_rows[row];
    const char* const pRow = m_pBlock + (place & ~std::size_t{1});
    return (place & 1) != 0 ? ReadField<std::uint32_t>(pRow, column, m_columns.size())
                            : ReadField<std::uint16_t>(pRow, column, m_columns.size());
}

void DBResult_tag::Fields(std::size_t row, std::span<DbField> fields) const noexcept
{
    const std::size_t place = m_rows[row];
    const char* const pRow = m_pBlock + (place & ~std::size_t{1});
    if ((place & 1) != 0) {
        ReadFields<std::uint32_t>(pRow, fields);
    } else {
        ReadFields<std::uint16_t>(pRow, fields);
    }
}

void DbRowSink::Start(std::span<const char* const> columnNames)
{
    DBResult_tag& result = *m_pResult;
    result.m_size = 0;
    result.m_rows.clear();
    result.m_columns.clear();
    result.m_names.clear();
    result.m_columns.reserve(columnNames.size());
    for (const char* const name : columnNames) {
        const auto next = static_cast<std::uint32_t>((result.m_columns.size() + 1) % columnNames.size());
        result.m_columns.push_back({static_cast<std::uint32_t>(result.m_names.size()), next});
        result.m_names.append(name, std::strlen(name) + 1);
    }
    result.m_lastColumn = columnNames.empty() ? 0 : columnNames.size() - 1;
}

void DbRowSink::AddRow(std::span<const DbField> fields)
{
    DBResult_tag& result = *m_pResult;
    std::size_t textSize = 0;
    for (const DbField& field : fields) {
        textSize += field.data() != nullptr ? field.size() + 1 : 0;
    }
    const bool isWide = textSize > NARROW_MAX;
    const std::size_t endSize = isWide ? sizeof(std::uint32_t) : sizeof(std::uint16_t);
    const std::size_t rowSize = fields.size() * endSize + textSize;
    char* const pRow = Reserve(rowSize + 1);
    const std::size_t place = result.m_size;
    result.m_rows.push_back(place | (isWide ? 1U : 0U));
    if (isWide) {
        WriteRow<std::uint32_t>(pRow, fields);
    } else {
        WriteRow<std::uint16_t>(pRow, fields);
    }
    result.m_size = (place + rowSize + 1) & ~std::size_t{1};
}

bool DbRowSink::HandOver()
{
    DBResult_tag& result = *m_pResult;
    const bool wantsMore = !m_take || result.m_rows.empty() || m_take(result);
    if (m_take) {
        m_hasHandedOver = m_hasHandedOver || !result.m_rows.empty();
        result.m_size = 0;
        result.m_rows.clear();
        result.m_cursor = 0;
    }
    return wantsMore;
}

char* DbRowSink::Reserve(std::size_t bytes)
{
    DBResult_tag& result = *m_pResult;
    const std::size_t need = result.m_size + bytes;
    if (need > result.m_capacity) {
        const std::size_t growth =
            result.m_capacity < (std::size_t{1} << 20) ? result.m_capacity : result.m_capacity / 4;
        std::size_t capacity = result.m_capacity + growth;
        if (capacity < need) {
            capacity = need < 256 ? 256 : need;
        }
        void* const pBlock = std::realloc(result.m_pBlock, capacity);
        if (pBlock == nullptr) {
            throw std::bad_alloc();
        }
        result.m_pBlock = static_cast<char*>(pBlock);
        result.m_capacity = capacity;
    }
    return result.m_pBlock + result.m_size;
}

DBResult_tag* DbRowSink::Release() noexcept
{
    DBResult_tag& result = *m_pResult;
    if (result.m_capacity - result.m_size > result.m_size / 8 && result.m_size > 0) {
        if (void* const pBlock = std::realloc(result.m_pBlock, result.m_size); pBlock != nullptr) {
            result.m_pBlock = static_cast<char*>(pBlock);
            result.m_capacity = result.m_size;
        }
    }
    return m_pResult.release();
}

int VxDBNumRows(DBResult_tag* result) noexcept
{
    return result != nullptr ? static_cast<int>(result->RowCount()) : 0;
}

int VxDBFetchRow(DBResult_tag* result, unsigned int* row) noexcept
{
    if (result == nullptr || row == nullptr || result->m_cursor >= result->RowCount()) {
        return -1;
    }
    *row = static_cast<unsigned int>(result->m_cursor++);
    return 0;
}

std::string_view VxDB::FetchFieldText(DBResult_tag* result, unsigned int row, const char* column) noexcept
{
    if (result == nullptr || row >= result->RowCount()) {
        return {};
    }
    const int index = result->FindColumn(column);
    return index < 0 ? std::string_view() : result->Field(row, static_cast<std::size_t>(index));
}

void VxDB::FetchRowTexts(DBResult_tag* result, unsigned int row, std::vector<std::string_view>& texts)
{
    texts.clear();
    if (result != nullptr && row < result->RowCount()) {
        texts.resize(result->ColumnCount());
        result->Fields(row, texts);
    }
}

int VxDB::FindColumn(DBResult_tag* result, const char* column) noexcept
{
    return result != nullptr ? result->FindColumn(column) : -1;
}

const char* VxDBFetchField(DBResult_tag* result, unsigned int row, const char* column) noexcept
{
    return VxDB::FetchFieldText(result, row, column).data();
}

bool VxDB::IsTrueText(std::string_view text) noexcept
{
    if (text.size() == 1 && text[0] >= '0' && text[0] <= '9') {
        return text[0] != '0'; // what columns hold
    }
    if (text.data() == nullptr) {
        return false;
    }
    if (::strcasecmp(text.data(), "t") == 0 || ::strcasecmp(text.data(), "true") == 0) {
        return true;
    }
    const int savedErrno = errno;
    const bool isNotZero = std::strtoll(text.data(), nullptr, 10) != 0;
    errno = savedErrno;
    return isNotZero;
}

bool VxDB::FetchFieldAsBool(DBResult_tag* result, unsigned int row, const char* column) noexcept
{
    return IsTrueText(FetchFieldText(result, row, column));
}

void VxDBFreeResult(DBResult_tag* result) noexcept
{
    delete result;
}
