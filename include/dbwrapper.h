// SPDX-License-Identifier: Apache-2.0
// dbwrapper.h - rows keyed by a column enumeration: DBWrapper<COLUMNS> and LoadFromDB().
//
// What a row is, is said once, for its column enumeration:
//
//     enum DOOR_DB_COLUMNS { DOOR_COLUMN_ID, DOOR_COLUMN_NAME };
//     VX_TAGGED_FIELD(DOOR_COLUMN_ID, int, "id");
//     VX_TAGGED_FIELD(DOOR_COLUMN_NAME, std::string, "name");
//     template <>
//     struct DBWrapperTraits<DOOR_DB_COLUMNS> : DBWrapperColumns<DOOR_COLUMN_ID, DOOR_COLUMN_NAME> {
//         static constexpr VxDB::DB_INSTANCE DBI = VxDB::DB_SYSTEM;
//         static constexpr const char* TABLE = "door";
//         static constexpr bool LOG_ON_ERROR = true;
//     };
#pragma once

#include <json/value.h>

#include <array>
#include <cstddef>
#include <list>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "dbmember.h"
#include "dbrow.h"
#include "package/db.h"
#include "package/export.h"
#include "taggedfield.h"

namespace VxDB::detail {

template <typename T>
constexpr bool IS_MEMBER_TYPE = std::is_same_v<T, int> || std::is_same_v<T, std::string> ||
                                std::is_same_v<T, TEXT_RULE_TYPE> || std::is_same_v<T, MATCH_TYPE>;

/// Whether the fields are 0, 1, 2, ...: then a field is the index of its column.
template <auto... Fs>
constexpr bool IsCountedFromZero()
{
    std::size_t next = 0;
    return ((static_cast<std::size_t>(Fs) == next++) && ...);
}

} // namespace VxDB::detail

/// The columns of a wrapped row, in the order of their enumeration. The first one is the key.
template <auto F0, auto... Fs>
struct DBWrapperColumns {
    static_assert((std::is_same_v<decltype(F0), decltype(Fs)> && ...),
                  "The columns of a wrapped row are values of one enumeration.");
    static_assert(VxDB::detail::CheckFields<F0, Fs...>());
    static_assert(VxDB::detail::IsCountedFromZero<F0, Fs...>(),
                  "The columns of a wrapped row are all values of their enumeration: 0, 1, 2 and so on.");
    static_assert(VxDB::detail::IS_MEMBER_TYPE<typename TaggedField<F0>::Type> &&
                      (VxDB::detail::IS_MEMBER_TYPE<typename TaggedField<Fs>::Type> && ...),
                  "A column of a wrapped row is an int, a std::string, a TEXT_RULE_TYPE or a MATCH_TYPE.");

    static constexpr std::size_t COLUMN_COUNT = 1 + sizeof...(Fs);
    static constexpr std::array<const char*, COLUMN_COUNT> NAMES{TaggedField<F0>::COLUMN,
                                                                 TaggedField<Fs>::COLUMN...};

    /// Calls fn(std::integral_constant<COLUMNS, F>) for each column in order.
    template <typename Fn>
    static void VisitTags(Fn&& fn)
    {
        fn(std::integral_constant<decltype(F0), F0>{});
        (fn(std::integral_constant<decltype(Fs), Fs>{}), ...);
    }
};

/// What DBWrapper needs to know of a column enumeration; specialised for each.
template <typename COLUMNS>
struct DBWrapperTraits {
    static_assert(!std::is_same_v<COLUMNS, COLUMNS>,
                  "The column enumeration has no table: specialise DBWrapperTraits for it.");
};

/// One column of a row: its name and its value. The value is owned.
struct DBColumnData {
    const char* name;
    std::unique_ptr<DBMember> member;
};

/// What a row holds, without any knowledge of its types. Thread-safety: one thread at a time.
class VX_API DBWrapperBase {
public:
    std::string m_szTableName;
    VxDB::DB_INSTANCE m_DBI;
    std::vector<DBColumnData> m_ColumnDataList; ///< indexed by the column enumeration

protected:
    DBWrapperBase(VxDB::DB_INSTANCE dbi, const char* table) : m_szTableName(table), m_DBI(dbi) {}
    DBWrapperBase(DBWrapperBase&&) noexcept = default;
    DBWrapperBase& operator=(DBWrapperBase&&) noexcept = default;
    ~DBWrapperBase() = default;

    [[nodiscard]] std::string SelectText(const std::vector<std::size_t>& keys) const;
    [[nodiscard]] std::string InsertText(bool replace) const;
    [[nodiscard]] int DeleteRow() noexcept;
    [[nodiscard]] Json::Value AllColumns() const;
    [[nodiscard]] int SetColumns(const Json::Value& json) noexcept;
    void ReadRow(DBResult_tag* result, unsigned int row);
    static void LogError(const char* func, const char* what) noexcept;
};

/// The data of a wrapped row: table, database instance and one value per column.
template <typename COLUMNS>
class DBWrapperData : public DBWrapperBase {
public:
    using Traits = DBWrapperTraits<COLUMNS>;

    DBWrapperData() : DBWrapperBase(Traits::DBI, Traits::TABLE)
    {
        m_ColumnDataList.reserve(Traits::COLUMN_COUNT);
        Traits::VisitTags([this]<COLUMNS F>(std::integral_constant<COLUMNS, F>) {
            using Member = DBPrimitiveMember<typename TaggedField<F>::Type>;
            m_ColumnDataList.push_back({TaggedField<F>::COLUMN, std::make_unique<Member>()});
        });
    }
    DBWrapperData(const DBWrapperData& other) : DBWrapperData() { *this = other; }
    DBWrapperData(DBWrapperData&&) noexcept = default;
    DBWrapperData& operator=(DBWrapperData&&) noexcept = default;
    ~DBWrapperData() = default;
    DBWrapperData& operator=(const DBWrapperData& other)
    {
        if (this != &other) {
            m_szTableName = other.m_szTableName;
            m_DBI = other.m_DBI;
            Traits::VisitTags(
                [&]<COLUMNS F>(std::integral_constant<COLUMNS, F>) { Get<F>() = other.Get<F>(); });
        }
        return *this;
    }

    /// The value of column F.
    template <COLUMNS F>
    auto& Get() noexcept
    {
        using Member = DBPrimitiveMember<typename TaggedField<F>::Type>;
        static_assert(static_cast<std::size_t>(F) < Traits::COLUMN_COUNT, "The row has no such column.");
        return static_cast<Member&>(*m_ColumnDataList[static_cast<std::size_t>(F)].member).Value();
    }
    template <COLUMNS F>
    const auto& Get() const noexcept
    {
        return const_cast<DBWrapperData*>(this)->template Get<F>();
    }
};

/// A row keyed by the column enumeration COLUMNS. The first column is the key; a new row's key is -1.
///
/// Log:           category 120, level 1.
/// Thread-safety: one thread at a time.
template <typename COLUMNS>
class DBWrapper : public DBWrapperData<COLUMNS> {
public:
    using Traits = DBWrapperTraits<COLUMNS>;

    DBWrapper()
    {
        if constexpr (std::is_same_v<typename TaggedField<KEY>::Type, int>) {
            this->template Get<KEY>() = -1;
        }
    }

    /// "SELECT * FROM " table " WHERE " and one term (column, " = ", value) per listed key, joined by " AND
    /// ". Empty when memory runs out or a key is no column; such a text reads nothing.
    [[nodiscard]] std::string strSqlSelect(const std::list<COLUMNS>& keys) const noexcept
    try {
        std::vector<std::size_t> indexes;
        indexes.reserve(keys.size());
        for (const COLUMNS key : keys) {
            indexes.push_back(static_cast<std::size_t>(key));
        }
        return this->SelectText(indexes);
    } catch (const std::exception& e) {
        this->LogError("strSqlSelect", e.what());
        return {};
    }

    /// The statement that stores the row and returns its key; with `replace` it takes the place of a row that
    /// has the key already. Empty when memory runs out.
    // Decision: all columns are written, but a key of -1 is left to the database, which then chooses it.
    [[nodiscard]] std::string strSqlInsert(bool replace) const noexcept
    try {
        return this->InsertText(replace);
    } catch (const std::exception& e) {
        this->LogError("strSqlInsert", e.what());
        return {};
    }

    /// Deletes the row with this row's key.  @return 0, also when there is none; -1 (logged).
    [[nodiscard]] int Delete() noexcept { return this->DeleteRow(); }

    /// The row as a JSON object: one member per column, under its name. Null when memory runs out.
    [[nodiscard]] Json::Value GetJson() const noexcept
    try {
        return this->AllColumns();
    } catch (const std::exception& e) {
        this->LogError("GetJson", e.what());
        return Json::Value();
    }

    /// Sets the columns that the object `json` has.
    /// @return 0; -1 (logged) if it is no object or a member has no value of the column's type, which keeps
    /// its own.
    [[nodiscard]] int SetByJson(const Json::Value& json) noexcept { return this->SetColumns(json); }

    /// Whether a failure of LoadFromDB() is logged.
    [[nodiscard]] bool ShouldLogOnError() const noexcept { return Traits::LOG_ON_ERROR; }

    /// Reads all columns from a row of a result. For LoadFromDB().
    void FromSqlResult(DBResult_tag* result, unsigned int row) { this->ReadRow(result, row); }

private:
    static constexpr COLUMNS KEY = static_cast<COLUMNS>(0);
};

/// Runs `sql`, which must give exactly one row, and fills `row` from it by column name.
///
/// @return 0; -1: the statement failed, did not give one row, or the row could not be fetched. The result is
///         freed; columns already read stay read.
/// Log:           category 120, level 1, as include/vxdb; nothing where row.ShouldLogOnError() is false.
/// Thread-safety: one thread at a time per row.
template <typename Row>
[[nodiscard]] int LoadFromDB(VxDB::DB_INSTANCE dbi, const std::string& sql, Row& row) noexcept
{
    const VxDB::detail::RowReader reader{&row, [](void* record, DBResult_tag* result, unsigned int rowIndex) {
                                             static_cast<Row*>(record)->FromSqlResult(result, rowIndex);
                                         }};
    return VxDB::detail::ReadSingleRow(
        {"include/vxdb", __func__, "Failed to fetch row.\n", row.ShouldLogOnError()}, dbi, sql, reader);
}
