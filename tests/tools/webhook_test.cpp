// SPDX-License-Identifier: Apache-2.0
// tests/tools/webhook_test.cpp - vx webhook, run as its users run it.
#include <fstream>

#include "support/temp_root.h"
#include "vx_process.h"

namespace {

constexpr const char* NASTY_NAME = "Gate 'A'; DROP TABLE webhook;--";

class WebhookToolTest : public ::testing::Test {
protected:
    static void Add(const std::string& name)
    {
        ExpectVx({"webhook", "add", "--name", name, "--url", "https://h.example/x", "--token", "s3cret"});
    }
    static Json::Value List() { return VxJson({"webhook", "list", "--show-secrets"}); }

    TempRoot m_root;
};

// Catches: a name that ends the statement, or that is listed as another.
TEST_F(WebhookToolTest, NameIsStoredAndListedToTheLetter)
{
    Add(NASTY_NAME);
    Add("two\nlines");
    const Json::Value all = List();
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(all[0]["name"], NASTY_NAME);
    EXPECT_EQ(all[1]["name"], "two\nlines");
    const std::string table = VxOut({"webhook", "list"});
    EXPECT_NE(table.find(std::string(" 1  ") + NASTY_NAME), std::string::npos) << table;
    EXPECT_NE(table.find("two\\x0alines"), std::string::npos)
        << "a control character would reach the terminal";
    EXPECT_EQ(table.find("s3cret"), std::string::npos);
}

// Catches: a masked token that is stored as the token, a number or name of a method that is not understood.
TEST_F(WebhookToolTest, MaskedTokenSurvivesARoundTrip)
{
    Add("one");
    const std::string shown = VxOut({"webhook", "show", "1", "--json"});
    const std::string path = (m_root.Path() / "record.json").string();
    std::ofstream(path) << shown;
    ExpectVx({"webhook", "edit", "1", "--from", path, "--method", "put", "--disable"});
    const Json::Value row = List()[0];
    EXPECT_EQ(row["token"], "s3cret");
    EXPECT_EQ(row["webhook_req_method"], 2);
    EXPECT_EQ(row["enabled"], false);
    EXPECT_EQ(row["name"], "one");
}

// Catches: input that is stored although it cannot be used, a message without field and value, a wrong exit
// code.
TEST_F(WebhookToolTest, BadInputIsNamedAndNothingIsStored)
{
    const std::vector<VxUse> uses = {
        {{"add", "--name", "a", "--url", "ftp://b"}, 2, "vx webhook add: --url [ftp://b]: "},
        {{"add", "--url", "http://b"}, 2, "vx webhook add: --name []: "},
        {{"add", "--name", "a", "--url", "http://b", "--method", "FOO"}, 2, "--method [FOO]: one of GET, "},
        {{"add", "--record", R"({"name":{}})"}, 2, "name [{}]: "},
        {{"add", "--record", R"({"nme":3})"}, 2, "nme [3]: a webhook has no such column"},
        {{"add", "--record", "{"}, 2, "--record: not JSON: Line 1, Column 2: "},
        {{"add", "--from", "/no/such/file"}, 3, "/no/such/file: cannot be read"},
        {{"edit", "9", "--name", "a"}, 1, "9: there is no such webhook"},
        {{"show", "9"}, 1, "9: there is no such webhook"},
        {{"rm", "9", "--yes"}, 1, "9: there is no such webhook"},
    };
    for (const auto& [verb, exitCode, message] : uses) {
        std::vector<std::string> args{"webhook"};
        args.insert(args.end(), verb.begin(), verb.end());
        ExpectVx(args, exitCode, message);
    }
    EXPECT_EQ(List().size(), 0u);
}

// Catches: a webhook that goes without consent, or stays.
TEST_F(WebhookToolTest, RemovalNeedsConsent)
{
    Add("one");
    ExpectVx({"webhook", "rm", "1"}, 4); // nobody can be asked
    ExpectVx({"webhook", "rm", "1", "--dry-run"});
    ExpectVx({"webhook", "add", "--name", "b", "--url", "http://b", "--dry-run"});
    ASSERT_EQ(List().size(), 1u);
    ExpectVx({"webhook", "rm", "1", "--yes"});
    EXPECT_EQ(List().size(), 0u);
}

// Catches: a database that cannot be read and that looks like an empty one.
TEST_F(WebhookToolTest, UnreadableDatabaseIsNotAnEmptyList)
{
    std::filesystem::create_directories(m_root.Path() / "db/system.db"); // a folder in the file's place
    ExpectVx({"webhook", "list"}, 3, "/db/system.db: the webhooks cannot be read");
}

} // namespace
