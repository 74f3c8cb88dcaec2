// SPDX-License-Identifier: Apache-2.0
// dbmapping.h - records mapped to rows: the statements and the JSON of a record follow from its list of
// fields.
//
//     enum DOOR_FIELD { DOOR_ID, DOOR_NAME };
//     VX_TAGGED_FIELD(DOOR_ID, int, "id");
//     VX_TAGGED_FIELD(DOOR_NAME, std::string, "name");
//     using DoorInfo = TaggedStruct<DOOR_FIELD, DOOR_ID, DOOR_NAME>;
//     const VxDB::DBMapping<DoorInfo, DOOR_FIELD, DOOR_ID> doors(VxDB::DB_SYSTEM, "door");
#pragma once

#include <json/value.h>

#include <exception>
#include <string>
#include <utility>

#include "dbrow.h"
#include "dbvalue.h"
#include "package/db.h"
#include "taggedstruct.h"

namespace VxDB {

/// Renders the fields of a record for its statements. Fields come in tag order, separated by "," alone.
/// The functions may throw std::bad_alloc; DBMapping's do not.
template <typename TS, typename Fields>
class FieldsSerializer {
public:
    /// " WHERE " and one term (column, " = ", value) for each field of KeyProxy, joined by " AND ".
    template <typename KeyProxy>
    static std::string GetWhereString(const TS& rec)
    {
        std::string sql;
        AppendWhere<KeyProxy>(sql, rec);
        return sql;
    }

    template <typename KeyProxy>
    static void AppendWhere(std::string& sql, const TS& rec)
    {
        const char* separator = " WHERE ";
        rec.Visit([&]<Fields F, typename T>(std::integral_constant<Fields, F>, const T& value) {
            if constexpr (KeyProxy::template Has<F>()) {
                sql += separator;
                sql += detail::COLUMN_NAME<F>;
                sql += " = ";
                detail::AppendSqlValue(sql, value);
                separator = " AND ";
            }
        });
    }

    /// The column names of all fields but those of WithoutProxy.
    template <typename WithoutProxy>
    static void AppendColumns(std::string& sql)
    {
        const char* separator = "";
        TS::VisitTags([&]<Fields F>(std::integral_constant<Fields, F>) {
            if constexpr (!WithoutProxy::template Has<F>()) {
                sql += separator;
                sql += detail::COLUMN_NAME<F>;
                separator = ",";
            }
        });
    }

    /// The values of all fields but those of WithoutProxy.
    template <typename WithoutProxy>
    static void AppendValues(std::string& sql, const TS& rec)
    {
        const char* separator = "";
        rec.Visit([&]<Fields F, typename T>(std::integral_constant<Fields, F>, const T& value) {
            if constexpr (!WithoutProxy::template Has<F>()) {
                sql += separator;
                detail::AppendSqlValue(sql, value);
                separator = ",";
            }
        });
    }

    /// Column, " = ", value of all fields but those of WithoutProxy.
    template <typename WithoutProxy>
    static void AppendAssignments(std::string& sql, const TS& rec)
    {
        const char* separator = "";
        std::string text; // a value is rendered before its column's name is written
        rec.Visit([&]<Fields F, typename T>(std::integral_constant<Fields, F>, const T& value) {
            if constexpr (!WithoutProxy::template Has<F>()) {
                text.clear();
                detail::AppendSqlValue(text, value);
                sql += separator;
                sql += detail::COLUMN_NAME<F>;
                sql += " = ";
                sql += text;
                separator = ",";
            }
        });
    }

    /// Room for a statement with names and values of all fields.
    static std::size_t SizeOf(const TS& rec)
    {
        std::size_t size = 128;
        rec.Visit([&]<Fields F, typename T>(std::integral_constant<Fields, F>, const T& value) {
            size += detail::COLUMN_NAME<F>.size() + 4 + detail::SqlValueSize(value);
        });
        return size;
    }
};

/// Binds a record to its table. KeyField names the key; every other field is a plain column.
///
/// Every operation returns 0 or -1 and throws nothing. On -1 the result is freed, the reason is logged and the
/// record keeps whatever fields were already set.
/// Log:           category 120, level 1, as functions ExecuteSQL, SetFieldsFromSQL and Enum.
/// Thread-safety: a mapping may be shared by threads; a record by one at a time.
template <typename TS, typename Fields, Fields... KeyField>
class DBMapping {
    static_assert(sizeof...(KeyField) > 0, "A mapping names at least one key field.");
    static_assert((TS::template Has<KeyField>() && ...),
                  "A key of the mapping is not among the record's fields.");
    static_assert(TS::FIELD_COUNT > sizeof...(KeyField), "A mapped record has a field besides its key.");

public:
    using Serializer = FieldsSerializer<TS, Fields>;
    using KeyProxy = TaggedStructProxy<TS, KeyField...>;

    /// @param dbi    database instance that holds the table
    /// @param table  table name; written into statements as it stands
    DBMapping(DB_INSTANCE dbi, std::string table) noexcept : m_DBI(dbi), m_szTableName(std::move(table)) {}

    /// Fills every field of `rec` from the row whose key equals rec's key.
    /// @return 0; -1 also when there is no such row.
    [[nodiscard]] int Load(TS& rec) const noexcept
    try {
        return detail::SetFieldsFromSQL(m_DBI, GetLoadSQL(rec), {&rec, &ReadPlainFields});
    } catch (const std::exception& e) {
        return Fail("Load", e);
    }

    /// Inserts all non-key fields and stores the key that the database chose in `rec`.
    [[nodiscard]] int Insert(TS& rec) const noexcept
    try {
        return detail::SetFieldsFromSQL(m_DBI, GetInsertSQL(rec), {&rec, &ReadKeyField});
    } catch (const std::exception& e) {
        return Fail("Insert", e);
    }

    /// Writes all non-key fields of the row with rec's key. A key that has no row is no failure.
    [[nodiscard]] int Update(const TS& rec) const noexcept
    try {
        return detail::ExecuteSQL(m_DBI, GetUpdateSQL(rec));
    } catch (const std::exception& e) {
        return Fail("Update", e);
    }

    /// Writes all fields, key included; a row that has the key already is replaced.
    [[nodiscard]] int InsertOrReplace(TS& rec) const noexcept
    try {
        return detail::ExecuteSQL(m_DBI, GetInsertOrReplaceSQL(rec));
    } catch (const std::exception& e) {
        return Fail("InsertOrReplace", e);
    }

    /// Appends one element per row to `out`, whose elements are records or derive from them.
    ///
    /// @param condition  complete clause, such as "WHERE enabled = 1"; empty = none
    /// @param ordering   complete clause, such as "ORDER BY name"; empty = none
    /// @param limit      complete clause, such as "LIMIT 10 OFFSET 20"; empty = none
    /// @return 0, also when there is no row; -1: rows that were read before the failure stay in `out`.
    // Decision: each clause is put behind one space, in this order; an empty one adds nothing.
    template <typename Container>
    [[nodiscard]] int Enum(Container& out, const std::string& condition = {},
                           const std::string& ordering = {}, const std::string& limit = {}) const noexcept
    try {
        return detail::ReadAllRows(m_DBI, GetEnumSQL(condition, ordering, limit),
                                   {&out, &AppendRow<Container>});
    } catch (const std::exception& e) {
        return Fail("Enum", e);
    }

    /// The record as a JSON object: one member per field, under its column's name. Null if memory runs out.
    [[nodiscard]] Json::Value ToJson(const TS& rec) const noexcept
    try {
        Json::Value json(Json::objectValue);
        rec.Visit([&]<Fields F, typename T>(std::integral_constant<Fields, F>, const T& value) {
            json[TaggedField<F>::COLUMN] = detail::ToJson(value);
        });
        return json;
    } catch (const std::exception& e) {
        static_cast<void>(Fail("ToJson", e));
        return Json::Value();
    }

    /// Sets the fields that the object `json` has; fields that it lacks keep their values.
    ///
    /// @return 0; -1 if `json` is no object, or a member has no value of the field's type (logged, each):
    ///         that field keeps its value, the others are set all the same.
    [[nodiscard]] int FromJson(const Json::Value& json, TS& rec) const noexcept
    try {
        if (!json.isObject()) {
            detail::LogMappingError("FromJson", "the JSON is not an object");
            return -1;
        }
        int result = 0;
        rec.Visit([&]<Fields F, typename T>(std::integral_constant<Fields, F>, T& value) {
            const char* const column = TaggedField<F>::COLUMN;
            if (json.isMember(column) && !detail::SetFieldFromJson(value, json[column], column)) {
                result = -1;
            }
        });
        return result;
    } catch (const std::exception& e) {
        return Fail("FromJson", e);
    }

private:
    using Nothing = TaggedStructProxy<TS>;

    template <typename Container>
    static void AppendRow(void* out, DBResult_tag* result, unsigned int row)
    {
        auto& container = *static_cast<Container*>(out);
        container.emplace_back();
        TS& rec = container.back();
        rec.Visit([&]<Fields F, typename T>(std::integral_constant<Fields, F>, T& value) {
            SqlConversion<T>::FromSqlResult(value, result, row, TaggedField<F>::COLUMN);
        });
    }

    static void ReadPlainFields(void* record, DBResult_tag* result, unsigned int row)
    {
        static_cast<TS*>(record)->Visit(
            [&]<Fields F, typename T>(std::integral_constant<Fields, F>, T& value) {
                if constexpr (!KeyProxy::template Has<F>()) {
                    SqlConversion<T>::FromSqlResult(value, result, row, TaggedField<F>::COLUMN);
                }
            });
    }

    static void ReadKeyField(void* record, DBResult_tag* result, unsigned int row)
    {
        auto& key = KeyProxy(*static_cast<TS*>(record)).Value();
        SqlConversion<std::remove_reference_t<decltype(key)>>::FromSqlResult(key, result, row, "id");
    }

    std::string StartSQL(const TS& rec, const char* verb) const
    {
        std::string sql;
        sql.reserve(Serializer::SizeOf(rec));
        sql += verb;
        return sql;
    }

    std::string GetLoadSQL(const TS& rec) const
    {
        std::string sql = StartSQL(rec, "SELECT ");
        Serializer::template AppendColumns<KeyProxy>(sql);
        sql += " FROM ";
        sql += m_szTableName;
        Serializer::template AppendWhere<KeyProxy>(sql, rec);
        return sql;
    }

    std::string GetInsertSQL(const TS& rec) const
    {
        static_assert(
            sizeof...(KeyField) == 1 && ((detail::COLUMN_NAME<KeyField> == "id") && ...),
            "Insert() reads the new key from the column \"id\": use InsertOrReplace() for other keys.");
        std::string sql = StartSQL(rec, "INSERT INTO ");
        sql += m_szTableName;
        sql += '(';
        Serializer::template AppendColumns<KeyProxy>(sql);
        sql += ") VALUES (";
        Serializer::template AppendValues<KeyProxy>(sql, rec);
        sql += ") ";
        sql += GetReturnColumnsStatement("id");
        return sql;
    }

    std::string GetUpdateSQL(const TS& rec) const
    {
        std::string sql = StartSQL(rec, "UPDATE ");
        sql += m_szTableName;
        sql += " SET ";
        Serializer::template AppendAssignments<KeyProxy>(sql, rec);
        Serializer::template AppendWhere<KeyProxy>(sql, rec);
        return sql;
    }

    std::string GetInsertOrReplaceSQL(const TS& rec) const
    {
        std::string sql = StartSQL(rec, "INSERT OR REPLACE INTO ");
        sql += m_szTableName;
        sql += '(';
        Serializer::template AppendColumns<Nothing>(sql);
        sql += ") VALUES (";
        Serializer::template AppendValues<Nothing>(sql, rec);
        sql += ')';
        return sql;
    }

    std::string GetEnumSQL(const std::string& condition, const std::string& ordering,
                           const std::string& limit) const
    {
        std::string sql = "SELECT ";
        Serializer::template AppendColumns<Nothing>(sql);
        sql += " FROM ";
        sql += m_szTableName;
        for (const std::string* clause : {&condition, &ordering, &limit}) {
            if (!clause->empty()) {
                sql += ' ';
                sql += *clause;
            }
        }
        return sql;
    }

    static int Fail(const char* func, const std::exception& e) noexcept
    {
        detail::LogMappingError(func, e.what());
        return -1;
    }

    DB_INSTANCE m_DBI;
    std::string m_szTableName;
};

} // namespace VxDB
