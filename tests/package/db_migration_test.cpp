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
            std::list<std::string> problems;
            EXPECT_EQ(VxDB::CheckDB(VxDB::GetDBPath(schema.instance), problems),
                      VxDB::DB_ADMIN_STATUS::FAULTY);
            EXPECT_EQ(problems.size(), 2U); // its version, and that others may read it
            EXPECT_EQ(Layout(schema.instance), expected) << schema.name << version;
        }
    }
}
