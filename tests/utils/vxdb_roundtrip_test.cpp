// SPDX-License-Identifier: Apache-2.0
// tests/utils/vxdb_roundtrip_test.cpp - generated values through the real database and back.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "support/temp_root.h"
#include "vxdb.h"

namespace {

class SqlRoundTripTest : public ::testing::Test {
protected:
    static constexpr int BATCH = 1000;

    void SetUp() override { Run("CREATE TABLE round (n INTEGER PRIMARY KEY, v TEXT)"); }

    static void Run(const std::string& sql) { ASSERT_EQ(VxDB::Execute(VxDB::DB_SYSTEM, sql), 0); }

    /// Bytes that are mostly those that matter: quotes, NUL, backslash, wildcards, separators, invalid UTF-8.
    std::string Generate(std::size_t maxSize)
    {
        static constexpr char SPECIAL[] = {'\'', '\0', '\\',   '%',    '_',    ';', '"',
                                           '-',  '\n', '\xC3', '\xFF', '\x80', 'a', 'A'};
        std::string text(m_random() % (maxSize + 1), '\0');
        for (char& c : text) {
            const auto number = m_random();
            c = number % 3 == 0 ? static_cast<char>(number >> 8) : SPECIAL[(number >> 8) % sizeof SPECIAL];
        }
        return text;
    }

    /// Stores the texts with plain INSERTs and reads all of them again.
    static std::vector<std::string> ThereAndBack(const std::vector<std::string>& texts)
    {
        std::string script;
        for (std::size_t i = 0; i < texts.size(); ++i) {
            VxDB::SqlBuilder::Insert insert("round");
            insert.Field("n", i).Field("v", VxDB::Value(texts[i]));
            script += insert.Expr().str();
        }
        DBResult_tag* pResult = nullptr;
        EXPECT_EQ(VxDB::Execute(VxDB::DB_SYSTEM,
                                "DELETE FROM round;" + script + "SELECT v FROM round ORDER BY n", &pResult),
                  0);
        std::vector<std::string> back;
        unsigned int row = 0;
        while (VxDBFetchRow(pResult, &row) == 0) {
            VxDB::SqlConversion<std::string>::FromSqlResult(back.emplace_back(), pResult, row, "v");
        }
        VxDBFreeResult(pResult);
        return back;
    }

    TempRoot m_root;
    std::mt19937 m_random{20240229};
};

} // namespace

// Catches: any text that a literal changes, cuts or lets out of its quotes. A million with VX_LONG=1.
TEST_F(SqlRoundTripTest, EveryTextComesBackAsItWas)
{
    const int batches = std::getenv("VX_LONG") != nullptr ? 1000 : 20;
    for (int i = 0; i < batches; ++i) {
        std::vector<std::string> texts(BATCH);
        std::ranges::generate(texts, [this] { return Generate(24); });
        ASSERT_EQ(ThereAndBack(texts), texts) << "batch " << i;
    }
}

// Catches: a limit on the length of a statement or a row, and ends of fields kept in too few bits.
TEST_F(SqlRoundTripTest, MegabyteTexts)
{
    std::vector<std::string> texts{std::string(65534, 'x'),  std::string(65535, 'y'),
                                   std::string(65536, '\''), std::string(5 << 20, 'z'),
                                   Generate(3 << 20),        ""};
    EXPECT_EQ(ThereAndBack(texts), texts);
}
