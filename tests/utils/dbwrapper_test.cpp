// SPDX-License-Identifier: Apache-2.0
// tests/utils/dbwrapper_test.cpp - column values and rows keyed by a column enumeration, on a real database.
#include "dbwrapper.h"

#include <climits>
#include <cstring>

#include "dvasetting.h"
#include "facesetting.h"
#include "support/allocation.h"
#include "support/db_faults.h"
#include "support/log_capture.h"
#include "support/sql.h"
#include "support/temp_root.h"

enum TEXT_DB_COLUMNS : int { TEXT_COLUMN_ID, TEXT_COLUMN_TEXT, TEXT_COLUMN_RULE, TEXT_COLUMN_MATCH };
VX_TAGGED_FIELD(TEXT_COLUMN_ID, int, "id");
VX_TAGGED_FIELD(TEXT_COLUMN_TEXT, std::string, "text");
VX_TAGGED_FIELD(TEXT_COLUMN_RULE, TEXT_RULE_TYPE, "rule");
VX_TAGGED_FIELD(TEXT_COLUMN_MATCH, MATCH_TYPE, "match");

template <>
struct DBWrapperTraits<TEXT_DB_COLUMNS>
    : DBWrapperColumns<TEXT_COLUMN_ID, TEXT_COLUMN_TEXT, TEXT_COLUMN_RULE, TEXT_COLUMN_MATCH> {
    static constexpr VxDB::DB_INSTANCE DBI = VxDB::DB_SYSTEM;
    static constexpr const char* TABLE = "text_rule";
    static constexpr bool LOG_ON_ERROR = false;
};

namespace {

using TextRow = DBWrapper<TEXT_DB_COLUMNS>;

class DBWrapperTest : public ::testing::Test {
protected:
    void TearDown() override { EXPECT_EQ(g_dbFaults.liveResults, 0) << "a result was not freed"; }

    TempRoot m_root;
    LogCapture m_log;
};

/// Stores a row and takes its key from the returned column.
template <typename Row>
int Store(Row& row)
{
    VxDB::Rows result;
    unsigned int index = 0;
    if (VxDB::Execute(row.m_DBI, row.strSqlInsert(false), result.Out()) != 0 ||
        VxDBFetchRow(result.Get(), &index) != 0) {
        return -1;
    }
    row.m_ColumnDataList[0].member->FromSqlResult(result.Get(), index, "id");
    return 0;
}

// Catches: a wrong conversion that changes the value, throws, or is not said.
TEST_F(DBWrapperTest, MemberKeepsItsValueWhenJsonHasNone)
{
    DBPrimitiveMember<int> number(41);
    DBPrimitiveMember<std::string> text("old");
    DBPrimitiveMember<MATCH_TYPE> match(MATCH_TYPE_REGEX);
    Json::Value object(Json::objectValue);
    object["a"] = "x\"y";
    EXPECT_EQ(number.SetByJson(object), -1);
    EXPECT_EQ(match.SetByJson("one"), -1);
    EXPECT_EQ(text.SetByJson(Json::Value(Json::arrayValue)), -1);
    const std::string line = "include/dbmember SetByJson: Failed converting Json [";
    EXPECT_EQ(m_log.TakeText(), line + "{\"a\":\"x\\\"y\"}] to DBPrimitiveMember\n" + line +
                                    "\"one\"] to DBPrimitiveMember\n" + line + "[]] to DBPrimitiveMember\n");
    EXPECT_EQ(number.Value(), 41);
    EXPECT_EQ(text.Value(), "old");
    EXPECT_EQ(match.Value(), MATCH_TYPE_REGEX);

    EXPECT_EQ(number.SetByJson(INT_MIN), 0);
    EXPECT_EQ(match.SetByJson(1), 0);
    EXPECT_EQ(text.SetByJson(12), 0);
    EXPECT_EQ(number.ToSqlValue() + match.ToSqlValue() + text.ToSqlValue(), "-21474836481'12'");
    EXPECT_TRUE(number.ToJson().isInt() && match.ToJson() == 1 && text.ToJson() == "12");
}

// Catches: a virtual function that moved, which a separately built caller would call for another.
TEST_F(DBWrapperTest, SlotsOfAMemberAreWhereCallersExpectThem)
{
    DBPrimitiveMember<int> member(5);
    void* const* slots = nullptr;
    std::memcpy(&slots, static_cast<void*>(&member), sizeof slots);
    using SetByJson = int (*)(void*, const Json::Value&);
    using ToJson = Json::Value (*)(const void*);
    using ToSqlValue = std::string (*)(const void*);
    using FromSqlResult = void (*)(void*, DBResult_tag*, unsigned int, const std::string&);
    EXPECT_EQ(reinterpret_cast<SetByJson>(slots[2])(&member, 77), 0); // 0 and 1: the destructor's two forms
    EXPECT_EQ(reinterpret_cast<ToJson>(slots[3])(&member), 77);
    EXPECT_EQ(reinterpret_cast<ToSqlValue>(slots[4])(&member), "77");
    reinterpret_cast<FromSqlResult>(slots[5])(&member, nullptr, 0, "id");
    EXPECT_EQ(member.Value(), 0) << "no such column";
}

// Catches: any character of a statement that is not as agreed.
TEST_F(DBWrapperTest, StatementsAreTheAgreedTexts)
{
    TextRow row;
    row.Get<TEXT_COLUMN_TEXT>() = "it's";
    row.Get<TEXT_COLUMN_MATCH>() = MATCH_TYPE_EXACT;
    EXPECT_EQ(row.strSqlInsert(false),
              "INSERT INTO text_rule (text,rule,match) VALUES ('it''s',0,1) RETURNING id");
    row.Get<TEXT_COLUMN_ID>() = 7;
    EXPECT_EQ(row.strSqlInsert(false),
              "INSERT INTO text_rule (id,text,rule,match) VALUES (7,'it''s',0,1) RETURNING id");
    EXPECT_EQ(row.strSqlInsert(true),
              "INSERT OR REPLACE INTO text_rule (id,text,rule,match) VALUES (7,'it''s',0,1) RETURNING id");
    EXPECT_EQ(row.strSqlSelect({TEXT_COLUMN_TEXT}), "SELECT * FROM text_rule WHERE text = 'it''s'");
    EXPECT_EQ(row.strSqlSelect({TEXT_COLUMN_MATCH, TEXT_COLUMN_ID}),
              "SELECT * FROM text_rule WHERE match = 1 AND id = 7");
    EXPECT_EQ(row.strSqlSelect({static_cast<TEXT_DB_COLUMNS>(99)}), "");
    EXPECT_EQ(row.Delete(), -1);
    m_log.Expect({"Delete: Failed to execute command: DELETE FROM text_rule WHERE id = 7\n"},
                 "include/dbwrapper ");
}

// Catches: a failed step with another message, one that is logged where it must not, a result that stays.
TEST_F(DBWrapperTest, LoadSaysWhichStepFailed)
{
    DvaSetting setting;
    const auto logOf = [&](auto& row, const std::string& sql) {
        EXPECT_EQ(LoadFromDB(VxDB::DB_SYSTEM, sql, row), -1);
        return m_log.TakeText("include/");
    };
    const std::string place = "include/vxdb LoadFromDB: ";
    EXPECT_EQ(logOf(setting, "SELECT * FROM nowhere"),
              place + "Failed to execute command: SELECT * FROM nowhere\n");
    EXPECT_EQ(logOf(setting, "SELECT * FROM dva_setting"), place + "Failed to get result.\n");
    EXPECT_EQ(logOf(setting, "SELECT 1 UNION SELECT 2"), place + "Failed to get result.\n");
    g_dbFaults.failFetchRow = true;
    EXPECT_EQ(logOf(setting, "SELECT 1"), place + "Failed to fetch row.\n");
    g_dbFaults.failFetchRow = false;
    TextRow silent;
    EXPECT_EQ(logOf(silent, "SELECT * FROM nowhere"), "");
    EXPECT_EQ(logOf(silent, "SELECT * FROM dva_setting"), "");
}

// Catches: columns read by place instead of by name, a missing or NULL column that keeps what was there.
TEST_F(DBWrapperTest, ColumnsAreReadByName)
{
    TextRow row;
    row.Get<TEXT_COLUMN_RULE>() = TEXT_RULE_HIDE;
    row.Get<TEXT_COLUMN_MATCH>() = MATCH_TYPE_REGEX;
    ASSERT_EQ(LoadFromDB(VxDB::DB_SYSTEM, "SELECT 'a b' AS text, NULL AS rule, 12 AS id", row), 0);
    EXPECT_EQ(row.Get<TEXT_COLUMN_ID>(), 12);
    EXPECT_EQ(row.Get<TEXT_COLUMN_TEXT>(), "a b");
    EXPECT_EQ(row.Get<TEXT_COLUMN_RULE>(), 0);
    EXPECT_EQ(row.Get<TEXT_COLUMN_MATCH>(), 0);
}

// Catches: a row that is not found again, or not deleted alone.
TEST_F(DBWrapperTest, SettingsOfTasksAreStoredLoadedReplacedAndDeleted)
{
    FaceSetting face;
    face.Get<FACE_SETTING_NAME>() = "Gate 'A'";
    ASSERT_EQ(Store(face), 0);
    EXPECT_EQ(face.Get<FACE_SETTING_ID>(), 1);

    DvaSetting first;
    first.Get<DVA_SETTING_NAME>() = "people";
    first.Get<DVA_SETTING_SHARE_PATH>() = "/rec/dva";
    first.Get<DVA_SETTING_ROT_DAYS>() = 30;
    first.Get<DVA_SETTING_ROT_SIZE_MB>() = INT_MAX;
    DvaSetting second = first;
    EXPECT_EQ(second.GetJson(), first.GetJson()) << "a copy holds the values, too";
    ASSERT_EQ(Store(first), 0);
    ASSERT_EQ(Store(second), 0);
    EXPECT_NE(first.Get<DVA_SETTING_ID>(), second.Get<DVA_SETTING_ID>());

    second.Get<DVA_SETTING_ROT_BY_DATE>() = 1;
    Sql(second.strSqlInsert(true));
    DvaSetting loaded;
    loaded.Get<DVA_SETTING_ID>() = second.Get<DVA_SETTING_ID>();
    ASSERT_EQ(LoadFromDB(loaded.m_DBI, loaded.strSqlSelect({DVA_SETTING_ID}), loaded), 0);
    EXPECT_EQ(loaded.GetJson(), second.GetJson());
    EXPECT_EQ(loaded.SetByJson(first.GetJson()), 0);
    EXPECT_EQ(loaded.GetJson(), first.GetJson());

    ASSERT_EQ(second.Delete(), 0);
    EXPECT_EQ(LoadFromDB(first.m_DBI, "SELECT * FROM dva_setting", loaded), 0)
        << "the other row is still there";
    EXPECT_EQ(loaded.GetJson(), first.GetJson());
}

// Catches: an exception that leaves an operation wherever memory runs out.
TEST_F(DBWrapperTest, LackOfMemoryIsAnOrdinaryFailure)
{
    DvaSetting row;
    row.Get<DVA_SETTING_NAME>() = std::string(100, 'n');
    ASSERT_EQ(Store(row), 0);
    const std::string sql = row.strSqlSelect({DVA_SETTING_ID});
    int failures = 0;
    for (int n = 0; n < 60; ++n) {
        FailAllocation failing(n);
        failures += row.strSqlInsert(true).empty() ? 1 : 0;
        failures += row.GetJson().isNull() ? 1 : 0;
    }
    for (int n = 0; n < 60; ++n) {
        FailAllocation failing(n);
        failures += LoadFromDB(row.m_DBI, sql, row) != 0 ? 1 : 0;
    }
    EXPECT_GT(failures, 3);
}

} // namespace
