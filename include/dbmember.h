// SPDX-License-Identifier: Apache-2.0
// dbmember.h - one column value of a row, behind one interface for all value types.
#pragma once

#include <json/value.h>

#include <string>
#include <utility>

#include "package/db.h"
#include "package/export.h"
#include "textrule.h"

/// A column value. The order of the virtual functions is the contract of separately built callers.
/// Nothing throws. Thread-safety: one thread at a time.
class VX_API DBMember {
public:
    virtual ~DBMember();

    /// Sets the value from JSON.  @return 0; -1 (logged): the JSON has no such value, the old one stays.
    virtual int SetByJson(const Json::Value& json) noexcept = 0;

    /// The value as a JSON integer or text; null when memory runs out.
    [[nodiscard]] virtual Json::Value ToJson() const noexcept = 0;

    /// The value as it stands in a statement; empty when memory runs out, and the statement then fails.
    [[nodiscard]] virtual std::string ToSqlValue() const noexcept = 0;

    /// Reads the value from a row. A column that is NULL or missing gives 0 or "".
    virtual void FromSqlResult(DBResult_tag* result, unsigned int row,
                               const std::string& column) noexcept = 0;

protected:
    DBMember() = default;
    DBMember(const DBMember&) = default;
    DBMember& operator=(const DBMember&) = default;
};

/// A column value of type T: int, std::string, TEXT_RULE_TYPE or MATCH_TYPE.
///
/// A number is read from text in base 10 and from JSON as a large integer, then cut to T.
/// Log:           category 120, level 1.
template <typename T>
class VX_API DBPrimitiveMember : public DBMember {
public:
    DBPrimitiveMember() = default;
    explicit DBPrimitiveMember(T value) : m_value(std::move(value)) {}

    int SetByJson(const Json::Value& json) noexcept override;
    [[nodiscard]] Json::Value ToJson() const noexcept override;
    [[nodiscard]] std::string ToSqlValue() const noexcept override;
    void FromSqlResult(DBResult_tag* result, unsigned int row, const std::string& column) noexcept override;

    T& Value() noexcept { return m_value; }
    const T& Value() const noexcept { return m_value; }

private:
    T m_value{};
};

extern template class DBPrimitiveMember<int>;
extern template class DBPrimitiveMember<std::string>;
extern template class DBPrimitiveMember<TEXT_RULE_TYPE>;
extern template class DBPrimitiveMember<MATCH_TYPE>;
