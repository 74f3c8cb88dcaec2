// SPDX-License-Identifier: Apache-2.0
// tests/package/db_migration_test.cpp - databases of every earlier schema version.
#include <sqlite3.h>

#include <list>

#include "package/dbadmin.h"
#include "src/db/schema_internal.h"
#include "support/sql.h"
#include "support/temp_root.h"

namespace {

/// Makes a file as version `version` of the software left it.
void MakeDatabase(const DbSchema& schema, int version)
{
    const std::string path = VxDB::GetDBPath(schema.instance);
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    sqlite3* pDb = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &pDb), SQLITE_OK);
    std::string script = "PRAGMA application_id=" + std::to_string(schema.ApplicationId()) + ";";
    for (int i = 0; i < version; ++i) {
        script += schema.migrations[static_cast<std::size_t>(i)];
    }
    script += "PRAGMA user_version=" + std::to_string(version);
    EXPECT_EQ(sqlite3_exec(pDb, script.c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(pDb);
    sqlite3_close(pDb);
}

std::string Layout(VxDB::DB_INSTANCE instance)
{
    return Sql("SELECT sql FROM sqlite_master ORDER BY type, name", instance);
}

} // namespace

// Catches: a migration that does not apply to what earlier versions left, or ends in another schema than a
// new database has.
TEST(DbMigrationTest, EveryEarlierVersionBecomesThePresentOne)
{
    for (int i = 0; i < VxDB::DB_INSTANCE_COUNT; ++i) {
        const DbSchema& schema = *SchemaOf(static_cast<VxDB::DB_INSTANCE>(i));
        const TempRoot fresh;
        const std::string expected = Layout(schema.instance);
        for (int version = 0; version < schema.Version(); ++version) {
            const TempRoot root;
            MakeDatabase(schema, version);
            EXPECT_EQ(Layout(schema.instance), expected) << schema.name << version;
            std::list<std::string> problems;
            EXPECT_NE(VxDB::CheckDB(VxDB::GetDBPath(schema.instance), problems),
                      VxDB::DB_ADMIN_STATUS::UNREACHABLE);
        }
    }
}

// Catches: a check that changes what it looks at, finds nothing wrong, or takes a missing database for a
// fault.
TEST(DbAdminTest, InfoCheckAndVacuum)
{
    using enum VxDB::DB_ADMIN_STATUS;
    const TempRoot root;
    const std::string path = VxDB::GetDBPath(VxDB::DB_SYSTEM);
    const DbSchema& schema = *SchemaOf(VxDB::DB_SYSTEM);
    VxDB::DBInfo info;
    std::list<std::string> problems;
    EXPECT_EQ(VxDB::GetDBInfo(path, info, nullptr), ABSENT);
    EXPECT_FALSE(std::filesystem::exists(path));
    MakeDatabase(schema, schema.Version() - 1);
    EXPECT_EQ(VxDB::CheckDB(path, problems), FAULTY); // older version, and others may read it
    EXPECT_EQ(problems.size(), 2U);
    Sql("INSERT INTO webhook (name) VALUES ('" + std::string(1 << 20, 'x') + "')");
    std::filesystem::permissions(path, std::filesystem::perms(0600));
    problems.clear();
    EXPECT_EQ(VxDB::CheckDB(path, problems), OK);
    Sql("DELETE FROM webhook");
    EXPECT_EQ(VxDB::GetDBInfo(path, info, nullptr), OK);
    EXPECT_GE(info.unusedBytes, 1 << 20);
    EXPECT_EQ(info.schemaVersion, schema.Version());
    EXPECT_EQ(VxDB::VacuumDB(path, nullptr), OK);
    EXPECT_LT(std::filesystem::file_size(path), 1U << 20);
    Sql("PRAGMA user_version=1000");
    std::string problem;
    EXPECT_EQ(VxDB::GetDBInfo(path, info, &problem), FAULTY);
    EXPECT_NE(problem.find("later version"), std::string::npos);
}
