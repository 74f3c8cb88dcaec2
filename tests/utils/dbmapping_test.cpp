// SPDX-License-Identifier: Apache-2.0
// tests/utils/dbmapping_test.cpp - mapped records on a real database.
#include "dbmapping.h"

#include <algorithm>
#include <climits>
#include <list>
#include <random>

#include "sample_record.h"
#include "support/allocation.h"
#include "support/db_faults.h"
#include "support/log_capture.h"
#include "support/sql.h"
#include "support/temp_root.h"

namespace {

using PairMapping = VxDB::DBMapping<Sample, SAMPLE_FIELD, SAMPLE_ID, SAMPLE_WORD>;

// What a record is must not depend on the struct that holds it: a tail of a record is a record.
static_assert(std::is_base_of_v<TaggedStruct<SAMPLE_FIELD, SAMPLE_LEVEL, SAMPLE_BITS>, Sample>);

Sample MakeSample()
{
    Sample rec;
    rec.Get<SAMPLE_ID>() = 7;
    rec.Get<SAMPLE_SMALL>() = -128;
    rec.Get<SAMPLE_WORD>() = UINT_MAX;
    rec.Get<SAMPLE_BIG>() = LLONG_MIN;
    rec.Get<SAMPLE_NAME>() = "o'clock";
    rec.Get<SAMPLE_LEVEL>() = LEVEL::HIGH;
    rec.Get<SAMPLE_BITS>() = 5;
    return rec;
}

class DBMappingTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        Sql("CREATE TABLE sample (id INTEGER PRIMARY KEY, small, word, big, flag, name, level, bits)");
        m_log.Take();
    }
    void TearDown() override { EXPECT_EQ(g_dbFaults.liveResults, 0) << "a result was not freed"; }

    std::string MappingLog() { return m_log.TakeText("include/dbmapping "); }

    TempRoot m_root;
    LogCapture m_log;
    const SampleMapping m_mapping{VxDB::DB_SYSTEM, "sample"};
    const SampleMapping m_nowhere{VxDB::DB_SYSTEM, "nowhere"};
};

// Catches: a failure without its message, under another name, or one that changes the record.
TEST_F(DBMappingTest, EachFailedStepSaysWhatFailedAndLeavesTheRecord)
{
    Sql("CREATE TABLE twins (id, small, word, big, flag, name, level, bits);"
        "INSERT INTO twins (id) VALUES (7); INSERT INTO twins (id) VALUES (7)");
    Sample rec = MakeSample();
    m_log.Take();

    EXPECT_EQ(m_mapping.Load(rec), -1);
    EXPECT_EQ(MappingLog(), "include/dbmapping SetFieldsFromSQL: Failed to get result.\n");
    EXPECT_EQ((SampleMapping{VxDB::DB_SYSTEM, "twins"}).Load(rec), -1);
    EXPECT_EQ(MappingLog(), "include/dbmapping SetFieldsFromSQL: Failed to get result.\n");
    Sql("CREATE TRIGGER refuse BEFORE INSERT ON sample BEGIN SELECT RAISE(IGNORE); END");
    EXPECT_EQ(m_mapping.Insert(rec), -1) << "an INSERT that adds nothing returns no row";
    EXPECT_EQ(MappingLog(), "include/dbmapping SetFieldsFromSQL: Failed to get result.\n");
    Sql("DROP TRIGGER refuse");
    g_dbFaults.failFetchRow = true;
    EXPECT_EQ(m_mapping.Insert(rec), -1);
    EXPECT_EQ(MappingLog(), "include/dbmapping SetFieldsFromSQL: Failed to get id.\n");
    EXPECT_EQ((SampleMapping{VxDB::DB_SYSTEM, "sample WHERE id = 1 --"}).Load(rec), -1);
    EXPECT_EQ(MappingLog(), "include/dbmapping SetFieldsFromSQL: Failed to get id.\n");
    std::list<Sample> all;
    EXPECT_EQ(m_mapping.Enum(all), -1);
    EXPECT_EQ(MappingLog(), "include/dbmapping Enum: Failed to fetch row.\n");
    g_dbFaults.failFetchRow = false;
    EXPECT_EQ(rec, MakeSample());
}

// Catches: any character of a statement that is not as agreed. A statement on a table that is not there is
// logged as it was sent.
TEST_F(DBMappingTest, StatementsAreTheAgreedTexts)
{
    const std::string execute = "include/dbmapping ExecuteSQL: Failed to execute command: ";
    const std::string setFields = "include/dbmapping SetFieldsFromSQL: Failed to execute command: ";
    const std::string values = "-128,4294967295,-9223372036854775808,0,'o''clock',300,'5'";
    Sample rec = MakeSample();
    std::vector<Sample> all;

    EXPECT_EQ(m_nowhere.Load(rec), -1);
    EXPECT_EQ(MappingLog(),
              setFields + "SELECT small,word,big,flag,name,level,bits FROM nowhere WHERE id = 7\n");
    EXPECT_EQ(m_nowhere.Insert(rec), -1);
    EXPECT_EQ(MappingLog(), setFields + "INSERT INTO nowhere(small,word,big,flag,name,level,bits) VALUES (" +
                                values + ") RETURNING id\n");
    EXPECT_EQ(m_nowhere.InsertOrReplace(rec), -1);
    EXPECT_EQ(MappingLog(),
              execute + "INSERT OR REPLACE INTO nowhere(id,small,word,big,flag,name,level,bits) VALUES (7," +
                  values + ")\n");
    EXPECT_EQ(m_nowhere.Update(rec), -1);
    EXPECT_EQ(MappingLog(),
              execute + "UPDATE nowhere SET small = -128,word = 4294967295,big = -9223372036854775808,"
                        "flag = 0,name = 'o''clock',level = 300,bits = '5' WHERE id = 7\n");
    EXPECT_EQ((PairMapping{VxDB::DB_SYSTEM, "nowhere"}).Load(rec), -1);
    EXPECT_EQ(MappingLog(),
              setFields +
                  "SELECT small,big,flag,name,level,bits FROM nowhere WHERE id = 7 AND word = 4294967295\n");
    const std::string select = "include/dbmapping Enum: Failed to execute command: "
                               "SELECT id,small,word,big,flag,name,level,bits FROM nowhere";
    EXPECT_EQ(m_nowhere.Enum(all), -1);
    EXPECT_EQ(MappingLog(), select + "\n");
    EXPECT_EQ(m_nowhere.Enum(all, "WHERE id > 3", "ORDER BY name", "LIMIT 2"), -1);
    EXPECT_EQ(MappingLog(), select + " WHERE id > 3 ORDER BY name LIMIT 2\n");
    EXPECT_EQ(m_nowhere.Enum(all, "", "", "LIMIT 2"), -1);
    EXPECT_EQ(MappingLog(), select + " LIMIT 2\n");
    EXPECT_TRUE(all.empty());
}

// Catches: a member of the wrong type that throws or is taken as 0, a number cut to its type, a JSON key that
// is not the column.
TEST_F(DBMappingTest, JsonOfAWrongTypeLeavesTheFieldAndIsLogged)
{
    Sample rec = MakeSample();
    Json::Value json = m_mapping.ToJson(rec);
    EXPECT_EQ(json["big"].asLargestInt(), LLONG_MIN);
    json["small"] = 128;
    json["word"] = -1;
    json["big"] = Json::Value(Json::objectValue);
    json["flag"] = "true";
    json["name"] = Json::Value(Json::arrayValue);
    json["bits"] = 8;
    json["level"] = -1;
    EXPECT_EQ(m_mapping.FromJson(json, rec), -1);
    Sample expected = MakeSample();
    expected.Get<SAMPLE_LEVEL>() = LEVEL::LOW;
    EXPECT_TRUE(rec == expected);
    const std::string log = MappingLog();
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 6);
    EXPECT_NE(log.find("FromJson: Failed converting Json [{}] to field [big]\n"), std::string::npos) << log;

    EXPECT_EQ(m_mapping.FromJson(Json::Value("text"), rec), -1);
    EXPECT_EQ(m_mapping.FromJson(Json::Value(Json::objectValue), rec), 0);
    EXPECT_TRUE(rec == expected);
}

Sample RandomSample(std::mt19937& random)
{
    Sample rec;
    rec.Get<SAMPLE_SMALL>() = static_cast<signed char>(random());
    rec.Get<SAMPLE_WORD>() = static_cast<unsigned int>(random());
    rec.Get<SAMPLE_BIG>() =
        static_cast<long long>((static_cast<unsigned long long>(random()) << 32) | random());
    rec.Get<SAMPLE_FLAG>() = random() % 2 == 0;
    rec.Get<SAMPLE_NAME>().resize(random() % 40);
    for (char& c : rec.Get<SAMPLE_NAME>()) {
        c = random() % 3 == 0 ? "'\\%_\0\n\xff;"[random() % 8] : static_cast<char>(random());
    }
    rec.Get<SAMPLE_LEVEL>() = static_cast<LEVEL>(static_cast<short>(random()));
    rec.Get<SAMPLE_BITS>() = random() % 8;
    return rec;
}

// Catches: a value that is changed on its way to the database and back, in any of the four operations, or by JSON.
TEST_F(DBMappingTest, AnyRecordSurvivesTheDatabaseAndJson)
{
    std::mt19937 random(20261121);
    std::vector<std::string> texts = {"",
                                      "Gate 'A'; DROP TABLE sample;--",
                                      std::string("a\0b", 3),
                                      "\xff\xfe bytes \xc3",
                                      "\\%_\n\r\t\"\x01",
                                      std::string(65535, 'y'),
                                      std::string(65536, '\''),
                                      std::string(3 << 20, '\'')};
    texts.resize(300);
    std::vector<Sample> stored;
    for (const std::string& text : texts) {
        Sample rec = RandomSample(random);
        rec.Get<SAMPLE_NAME>() += text;
        ASSERT_EQ(m_mapping.Insert(rec), 0);
        const int id = rec.Get<SAMPLE_ID>();
        Sample loaded;
        for (const bool isUpdate : {true, false}) {
            loaded.Get<SAMPLE_ID>() = id;
            ASSERT_EQ(m_mapping.Load(loaded), 0);
            ASSERT_TRUE(loaded == rec) << text.substr(0, 40);
            rec = RandomSample(random);
            rec.Get<SAMPLE_ID>() = id;
            rec.Get<SAMPLE_NAME>() += text;
            ASSERT_EQ(isUpdate ? m_mapping.Update(rec) : m_mapping.InsertOrReplace(rec), 0);
        }
        ASSERT_EQ(m_mapping.FromJson(m_mapping.ToJson(rec), loaded), 0);
        ASSERT_TRUE(loaded == rec);
        stored.push_back(rec);
    }
    std::vector<Sample> all;
    ASSERT_EQ(m_mapping.Enum(all, "", "ORDER BY id"), 0);
    EXPECT_TRUE(all == stored);
    EXPECT_EQ(MappingLog(), "");
}

// Catches: an exception that leaves an operation, or a result that nobody frees, wherever memory runs out.
TEST_F(DBMappingTest, LackOfMemoryIsAnOrdinaryFailure)
{
    Sample rec = MakeSample();
    rec.Get<SAMPLE_NAME>() = std::string(100, 'n');
    ASSERT_EQ(m_mapping.InsertOrReplace(rec), 0);
    const auto failsThenWorks = [](auto&& operation) {
        for (int n = 0; n < 200; ++n) {
            FailAllocation failing(n);
            if (operation() == 0) {
                return n > 0;
            }
        }
        return false;
    };
    std::list<Sample> all;
    Json::Value json = m_mapping.ToJson(rec);
    EXPECT_TRUE(failsThenWorks([&] { return m_mapping.Load(rec); }));
    EXPECT_TRUE(failsThenWorks([&] { return m_mapping.Insert(rec); }));
    EXPECT_TRUE(failsThenWorks([&] { return m_mapping.Update(rec); }));
    EXPECT_TRUE(failsThenWorks([&] { return m_mapping.InsertOrReplace(rec); }));
    EXPECT_TRUE(failsThenWorks([&] { return m_mapping.Enum(all); }));
    EXPECT_TRUE(failsThenWorks([&] { return m_mapping.ToJson(rec).isNull() ? -1 : 0; }));
    EXPECT_TRUE(failsThenWorks([&] { return m_mapping.FromJson(json, rec); }));
}

} // namespace
