// SPDX-License-Identifier: Apache-2.0
// tests/tools/db_test.cpp - vx db, run as its users run it.
#include <sys/stat.h>

#include <fstream>

#include "package/db.h"
#include "support/temp_root.h"
#include "vx_process.h"

namespace {

class DbToolTest : public ::testing::Test {
protected:
    static void RunSql(const std::string& sql) { ASSERT_EQ(VxDB::Execute(VxDB::DB_SYSTEM, sql), 0) << sql; }
    static std::string Path() { return VxDB::GetDBPath(VxDB::DB_SYSTEM); }

    /// Some pages of text, all of it in the database's own file.
    static void FillSystemDb()
    {
        for (int i = 0; i < 3; ++i) {
            RunSql("INSERT INTO webhook (name) VALUES ('" + std::string(100000, 'x') + "')");
        }
        RunSql("PRAGMA wal_checkpoint(TRUNCATE)");
    }

    /// The one object that `args` print with --json.
    static Json::Value Entry(std::vector<std::string> args, int exitCode)
    {
        args.insert(args.begin(), "db");
        args.emplace_back("system");
        const Json::Value json = VxJson(args, exitCode);
        EXPECT_EQ(json.size(), 1u) << json;
        return json.isArray() && json.size() == 1 ? json[0] : Json::Value(Json::objectValue);
    }

    TempRoot m_root;
};

// Catches: a database that is made by looking at it, an absent one that is a fault, a name that is not
// understood and ignored.
TEST_F(DbToolTest, AbsentDatabasesAreNoFaultAndStayAbsent)
{
    for (const char* const verb : {"info", "check", "vacuum"}) {
        EXPECT_EQ(Entry({verb}, 0)["status"], "not made yet") << verb;
        EXPECT_FALSE(std::filesystem::exists(Path())) << verb;
        ExpectVx({"db", verb, "sytem"}, 2, "no database is called 'sytem'");
        ::setenv("VX_ROOT", "/proc/nowhere", 1);
        ExpectVx({"db", verb}, 3); // nothing can be said of what cannot be entered
        ::setenv("VX_ROOT", m_root.Path().c_str(), 1);
    }
}

// Catches: sizes and rows that are not those of the file, a healthy database that is found faulty, space that
// is not given back.
TEST_F(DbToolTest, HealthyDatabaseIsToldAndMadeSmaller)
{
    FillSystemDb();
    const Json::Value full = Entry({"info"}, 0);
    EXPECT_EQ(full["name"], "system");
    EXPECT_EQ(full["path"], Path());
    EXPECT_EQ(full["status"], "ok");
    EXPECT_EQ(full["schemaVersion"], full["knownVersion"]);
    EXPECT_EQ(full["tables"]["webhook"], 3);
    EXPECT_EQ(full["sizeBytes"].asUInt64(), std::filesystem::file_size(Path()));
    ExpectVx({"db", "info"}, 0, "webhook 3");
    const Json::Value checked = Entry({"check"}, 0);
    EXPECT_EQ(checked["status"], "ok");
    EXPECT_EQ(checked["problems"].size(), 0u);

    RunSql("DELETE FROM webhook");
    RunSql("PRAGMA wal_checkpoint(TRUNCATE)");
    EXPECT_GE(Entry({"info"}, 0)["unusedBytes"].asInt64(), 300000);
    const Json::Value vacuumed = Entry({"vacuum"}, 0);
    EXPECT_GE(vacuumed["bytesBefore"].asInt64(), vacuumed["bytesAfter"].asInt64() + 300000);
    EXPECT_EQ(vacuumed["bytesAfter"].asUInt64(), std::filesystem::file_size(Path()));
    EXPECT_EQ(Entry({"check"}, 0)["status"], "ok");
}

// Catches: damage that is not found, is found without a word, or ends with exit code 0.
TEST_F(DbToolTest, DamageIsFoundAndSaid)
{
    FillSystemDb();
    std::fstream file(Path(), std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(4096);
    file << std::string(static_cast<std::size_t>(std::filesystem::file_size(Path())) - 4096, '\x5A');
    file.close();
    const Json::Value checked = Entry({"check"}, 1);
    EXPECT_EQ(checked["status"], "faulty");
    EXPECT_GE(checked["problems"].size(), 1u);
    ExpectVx({"db", "check"}, 1, "system   faulty\n         ");
    ExpectVx({"db", "check"}, 1, "log      not made yet"); // the others are looked at as well

    std::ofstream(Path()) << "this is no database, and longer than the head of one would have to be, by far";
    ExpectVx({"db", "vacuum", "system"}, 1, "vx db vacuum: database [" + Path());
}

// Catches: a later version that is changed, or that looks like damage; a mode that lets others read it.
TEST_F(DbToolTest, LaterVersionAndOpenModeAreTold)
{
    FillSystemDb();
    ASSERT_EQ(::chmod(Path().c_str(), 0644), 0);
    const Json::Value open = Entry({"check"}, 1);
    ASSERT_EQ(open["problems"].size(), 1u);
    EXPECT_NE(open["problems"][0].asString().find("chmod 600 '" + Path()), std::string::npos);
    ASSERT_EQ(::chmod(Path().c_str(), 0600), 0);

    RunSql("PRAGMA user_version=1000");
    RunSql("PRAGMA wal_checkpoint(TRUNCATE)");
    EXPECT_EQ(Entry({"info"}, 1)["status"], "faulty");
    for (const char* const verb : {"info", "vacuum"}) {
        ExpectVx({"db", verb, "system"}, 1, "later version");
    }
    EXPECT_NE(Entry({"check"}, 1)["problems"][0].asString().find("later version"), std::string::npos);
}

} // namespace
