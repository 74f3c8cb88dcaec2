// SPDX-License-Identifier: Apache-2.0
// actionrule/rulefield_internal.h - how one field of a rule or an event is read from a row, written into a
// statement, and turned to and from JSON. One overload a type; never installed.
#pragma once

#include <json/value.h>

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "actionrule.h"
#include "package/db.h"
#include "package/dbpasswd.h"
#include "package/idtext.h"
#include "vxdb.h"

namespace rulefield {

/// An integer that is not a bool, or an enumeration: all are 32-bit numbers in column and JSON.
template <typename T>
concept Number = (std::is_enum_v<T> || std::is_same_v<T, int>);

// ---- from a row. @return false when the text is broken, and the field is as it was

template <Number T>
bool Read(T& field, std::string_view text)
{
    field = static_cast<T>(VxDB::ParseNumber(text));
    return true;
}

inline bool Read(bool& field, std::string_view text)
{
    field = VxDB::IsTrueText(text);
    return true;
}

inline bool Read(std::string& field, std::string_view text)
{
    field = text;
    return true;
}

inline bool Read(std::set<int>& field, std::string_view text)
{
    return StringToIdSet(text, field) == 0;
}

inline bool Read(std::map<int, int>& field, std::string_view text)
{
    return StringToIdMap(text, field) == 0;
}

inline bool Read(RuleSecret& field, std::string_view text)
{
    const std::string sealed(text);
    if (DecryptDBPasswd(sealed, field.plain) != 0) {
        return false;
    }
    field.sealed = sealed;
    return true;
}

inline bool Read(RuleSchedule& field, std::string_view text)
{
    return field.Set(std::string(text)) == 0;
}

/// Reads the rows of one result into records; their columns are looked up once. Fields: see ActionRuleFields.
template <typename Fields, typename Record>
class RowReader {
public:
    explicit RowReader(DBResult_tag* result) : m_result(result)
    {
        Record record;
        Fields::ForEach(record, [&](const auto&, const char* column) {
            const int number = VxDB::FindColumn(result, column);
            m_columns.push_back(number < 0 ? MISSING : static_cast<std::size_t>(number));
        });
    }

    /// @return the columns whose text is broken; their fields are as they were
    std::vector<const char*> Read(Record& record, unsigned int row)
    {
        VxDB::FetchRowTexts(m_result, row, m_texts);
        std::vector<const char*> broken;
        std::size_t n = 0;
        Fields::ForEach(record, [&](auto& field, const char* column) {
            const std::size_t place = m_columns[n++];
            if (!rulefield::Read(field, place < m_texts.size() ? m_texts[place] : std::string_view())) {
                broken.push_back(column);
            }
        });
        return broken;
    }

private:
    static constexpr std::size_t MISSING = static_cast<std::size_t>(-1);

    DBResult_tag* m_result;
    std::vector<std::size_t> m_columns; ///< of the n-th field
    std::vector<std::string_view> m_texts;
};

// ---- into a statement; throws std::runtime_error when there is no text for it

template <typename Builder, Number T>
void Write(Builder& builder, const char* column, T field)
{
    builder.Field(column, static_cast<int>(field));
}

template <typename Builder>
void Write(Builder& builder, const char* column, bool field)
{
    builder.Field(column, field);
}

template <typename Builder>
void Write(Builder& builder, const char* column, const std::string& field)
{
    builder.Field(column, VxDB::Value(field));
}

template <typename Builder>
void Write(Builder& builder, const char* column, const std::set<int>& field)
{
    builder.Field(column, VxDB::Value(Iter2String(field.begin(), field.end(), ",")));
}

template <typename Builder>
void Write(Builder& builder, const char* column, const std::map<int, int>& field)
{
    builder.Field(column, VxDB::Value(IdMapToString(field)));
}

template <typename Builder>
void Write(Builder& builder, const char* column, const RuleSecret& field)
{
    std::string sealed = field.sealed;
    if (sealed.empty() && EncryptDBPasswd(field.plain, sealed) != 0) {
        throw std::runtime_error("the password cannot be enciphered");
    }
    builder.Field(column, VxDB::Value(std::move(sealed)));
}

template <typename Builder>
void Write(Builder& builder, const char* column, const RuleSchedule& field)
{
    builder.Field(column, VxDB::Value(field.Text()));
}

inline constexpr const char* ID_COLUMN = "id";

/// Writes every column but the id. Fields: see ActionRuleFields.
template <typename Fields, typename Record, typename Builder>
void WriteColumns(const Record& record, Builder& builder)
{
    Fields::ForEach(record, [&](const auto& field, const char* column) {
        if (std::string_view(column) != ID_COLUMN) {
            Write(builder, column, field);
        }
    });
}

/// The statement that stores a new row and returns its id.
template <typename Fields, typename Record>
std::string InsertSql(const char* table, const Record& record)
{
    VxDB::SqlBuilder::Insert insert(table);
    WriteColumns<Fields>(record, insert);
    insert.m_returning << ID_COLUMN;
    return insert.Expr().str();
}

template <typename Fields, typename Record>
std::string UpdateSql(const char* table, const Record& record)
{
    VxDB::SqlBuilder::Update update(table, ID_COLUMN);
    WriteColumns<Fields>(record, update);
    update.SetupId(record.GetId());
    return update.Expr().str();
}

// ---- to JSON

template <Number T>
Json::Value ToJson(T field)
{
    return static_cast<Json::Int>(field);
}
inline Json::Value ToJson(bool field)
{
    return field;
}
inline Json::Value ToJson(const std::string& field)
{
    return field;
}
inline Json::Value ToJson(const RuleSecret& field)
{
    return field.plain;
}
inline Json::Value ToJson(const RuleSchedule& field)
{
    return field.Text();
}
inline Json::Value ToJson(const std::set<int>& field)
{
    Json::Value ids(Json::arrayValue);
    for (const int id : field) {
        ids.append(id);
    }
    return ids;
}
inline Json::Value ToJson(const std::map<int, int>& field)
{
    Json::Value map(Json::objectValue);
    for (const auto& [id, value] : field) {
        map[std::to_string(id)] = value;
    }
    return map;
}

template <typename Fields, typename Record>
Json::Value RecordToJson(const Record& record)
{
    Json::Value json(Json::objectValue);
    Fields::ForEach(record, [&](const auto& field, const char* column) { json[column] = ToJson(field); });
    return json;
}

// ---- from JSON. @return what is wrong; empty when the field is set, unchanged otherwise

template <Number T>
std::string FromJson(T& field, const Json::Value& json)
{
    if (!json.isInt()) {
        return "is not an integer of 32 bits";
    }
    field = static_cast<T>(json.asInt());
    return {};
}

inline std::string FromJson(bool& field, const Json::Value& json)
{
    if (!json.isBool()) {
        return "is neither true nor false";
    }
    field = json.asBool();
    return {};
}

inline std::string FromJson(std::string& field, const Json::Value& json)
{
    if (!json.isString()) {
        return "is not a text";
    }
    field = json.asString();
    return {};
}

inline std::string FromJson(RuleSecret& field, const Json::Value& json)
{
    RuleSecret changed;
    std::string wrong = FromJson(changed.plain, json);
    if (wrong.empty() && changed.plain != field.plain) {
        field = std::move(changed);
    }
    return wrong;
}

inline std::string FromJson(RuleSchedule& field, const Json::Value& json)
{
    std::string error = "is not a text";
    return json.isString() && field.Set(json.asString(), &error) == 0 ? std::string() : error;
}

inline std::string FromJson(std::set<int>& field, const Json::Value& json)
{
    std::set<int> ids;
    for (const Json::Value& id : json) {
        if (!id.isInt()) {
            return "is not an array of ids";
        }
        ids.insert(id.asInt());
    }
    if (!json.isArray()) {
        return "is not an array of ids";
    }
    field = std::move(ids);
    return {};
}

inline std::string FromJson(std::map<int, int>& field, const Json::Value& json)
{
    if (!json.isObject()) {
        return "is not an object of ids and numbers";
    }
    std::string text;
    for (const std::string& id : json.getMemberNames()) {
        if (!json[id].isInt()) {
            return "is not an object of ids and numbers";
        }
        text += (text.empty() ? "" : ",") + id + ":" + std::to_string(json[id].asInt());
    }
    return StringToIdMap(text, field) == 0 ? std::string() : "is not an object of ids and numbers";
}

/// Sets one field from the member of that name, where the object has it.
///
/// @return false, and `error` names the field, when the member is of a wrong kind
template <typename T>
bool SetMember(T& field, const Json::Value& json, const char* column, std::string& error)
{
    if (!json.isMember(column)) {
        return true;
    }
    const std::string wrong = FromJson(field, json[column]);
    if (!wrong.empty()) {
        error = std::string("field \"") + column + "\" " + wrong;
    }
    return wrong.empty();
}

/// Sets every field that the object has. @param what  "a rule", for the complaint about another kind of JSON
/// @return what is wrong with the first field that cannot be set; those before it are set then
template <typename Fields, typename Record>
std::string SetFields(Record& record, const Json::Value& json, const std::string& what)
{
    std::string error = json.isObject() ? "" : what + " is a JSON object";
    Fields::ForEach(record, [&](auto& field, const char* column) {
        if (error.empty()) {
            SetMember(field, json, column, error);
        }
    });
    return error;
}

} // namespace rulefield
