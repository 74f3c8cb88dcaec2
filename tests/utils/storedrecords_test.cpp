// SPDX-License-Identifier: Apache-2.0
// tests/utils/storedrecords_test.cpp - the records that the library declares, each in the table that it names.
#include <gtest/gtest.h>

#include "dvapplcnt.h"
#include "dvasetting.h"
#include "facesetting.h"
#include "ipspeakerinfo.h"
#include "licenseplateresult.h"
#include "notificationwebhook.h"
#include "posinfo.h"
#include "sharerecstorage.h"
#include "support/sql.h"
#include "support/temp_root.h"
#include "transactionslog.h"

namespace {

/// A record's JSON with another value in each column, by the column's type: 1, "1" or true.
Json::Value Changed(Json::Value json)
{
    for (const std::string& column : json.getMemberNames()) {
        Json::Value& value = json[column];
        value = value.isString() ? Json::Value("1") : value.isBool() ? Json::Value(true) : Json::Value(1);
    }
    return json;
}

/// The columns that a table has beyond those of a record, which "INSERT OR REPLACE" would set back.
std::string ColumnsBeyond(const Json::Value& json, VxDB::DB_INSTANCE instance, const std::string& table)
{
    const std::vector<std::string> names = json.getMemberNames();
    return Sql("SELECT name FROM pragma_table_info('" + table + "') WHERE name NOT IN ('" +
                   Iter2String(names.begin(), names.end(), "','") + "')",
               instance);
}

template <typename Record, typename Mapping>
void ExpectMapped(const Mapping& mapping, VxDB::DB_INSTANCE instance, const char* table)
{
    SCOPED_TRACE(table);
    Record record{};
    const Json::Value json = Changed(mapping.ToJson(record));
    EXPECT_EQ(ColumnsBeyond(json, instance, table), "");
    ASSERT_EQ(mapping.FromJson(json, record), 0);
    ASSERT_EQ(mapping.Insert(record), 0);
    Record loaded{};
    ASSERT_EQ(mapping.FromJson(mapping.ToJson(record), loaded), 0); // the key
    ASSERT_EQ(mapping.Load(loaded), 0);
    EXPECT_EQ(mapping.ToJson(loaded), json);
}

template <typename Row>
void ExpectWrapped()
{
    Row row;
    SCOPED_TRACE(row.m_szTableName);
    const Json::Value json = Changed(row.GetJson());
    EXPECT_EQ(ColumnsBeyond(json, row.m_DBI, row.m_szTableName), "");
    ASSERT_EQ(row.SetByJson(json), 0);
    ASSERT_NE(Sql(row.strSqlInsert(true), row.m_DBI), "");
    Row loaded;
    ASSERT_EQ(LoadFromDB(row.m_DBI, "SELECT * FROM " + row.m_szTableName, loaded), 0);
    EXPECT_EQ(loaded.GetJson(), json);
    EXPECT_EQ(row.Delete(), 0);
}

// Catches: a column that a record or its table lacks, or of another type; a record in another one's table.
TEST(StoredRecordsTest, EachIsStoredWholeInItsTable)
{
    const TempRoot root;
    ExpectMapped<PosInfo>(GetPosMapping(), VxDB::DB_SYSTEM, gszTablePos);
    ExpectMapped<IPSpeakerInfo>(GetIPSpeakerMapping(), VxDB::DB_SYSTEM, gszTableIPSpeaker);
    ExpectMapped<ShareRecStorage>(GetShareRecStorageMapping(), VxDB::DB_SYSTEM, gszTableShareRecStorage);
    ExpectMapped<TransactionsLog>(GetTransactionsLogMapping(), VxDB::DB_LOG, gszTableTransactionsLog);
    ExpectMapped<WebhookInfo>(
        VxDB::DBMapping<WebhookInfo, WEBHOOK_INFO_FIELDS, WEBHOOK_INFO_ID>(VxDB::DB_SYSTEM, gszTableWebhook),
        VxDB::DB_SYSTEM, gszTableWebhook);
    ExpectWrapped<TransactionsContent>();
    ExpectWrapped<DvaPplCnt>();
    ExpectWrapped<DvaSetting>();
    ExpectWrapped<FaceSetting>();
    ExpectWrapped<LicensePlateResult>();
}

} // namespace
