// SPDX-License-Identifier: Apache-2.0
// tests/package/dbpasswd_test.cpp - passwords in database columns.
#include "package/dbpasswd.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <future>
#include <vector>

#include "support/temp_root.h"

namespace {

class DbPasswdTest : public ::testing::Test {
protected:
    std::filesystem::path KeyPath() const { return m_root.Path() / "etc" / "dbpasswd.key"; }

    TempRoot m_root;
};

} // namespace

// Catches: a password that is changed on the way, or that equal passwords give away.
TEST_F(DbPasswdTest, PasswordComesBackAndIsNeverWrittenAlike)
{
    const std::string passwords[] = {"x", "o'clock \xF0\x9F\x94\x91", std::string("a\0b", 3),
                                     std::string(5000, 'p')};
    for (const std::string& passwd : passwords) {
        std::string first;
        std::string second;
        std::string again;
        ASSERT_EQ(EncryptDBPasswd(passwd, first), 0);
        ASSERT_EQ(EncryptDBPasswd(passwd, second), 0);
        EXPECT_NE(first, second);
        EXPECT_TRUE(passwd.size() == 1 ||
                    first.find(passwd) == std::string::npos); // one letter may occur by chance
        ASSERT_EQ(DecryptDBPasswd(first, again), 0);
        EXPECT_EQ(again, passwd);
    }
    std::string empty = "old";
    EXPECT_EQ(EncryptDBPasswd("", empty), 0);
    EXPECT_EQ(empty, "");
}

// Catches: an altered text that is taken for a password, and an output that a failure overwrites.
TEST_F(DbPasswdTest, AlteredTextIsRefusedAndTheOldValueStays)
{
    std::string text;
    ASSERT_EQ(EncryptDBPasswd("secret", text), 0);
    std::string out = "old";
    for (std::size_t i = 0; i < text.size(); ++i) {
        std::string altered = text;
        altered[i] = altered[i] == 'A' ? 'B' : 'A';
        EXPECT_EQ(DecryptDBPasswd(altered, out), -1) << i;
    }
    for (const char* const other :
         {"secret", "v1:", "v1:AAAA", "v2:AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA"}) {
        EXPECT_EQ(DecryptDBPasswd(other, out), -1) << other;
    }
    EXPECT_EQ(out, "old");
}

// Catches: a key that others can read, a key cut short that is used all the same, two processes with two
// keys.
TEST_F(DbPasswdTest, KeyIsMadeOnceAndKeptFromOthers)
{
    std::vector<std::future<std::string>> writers;
    for (int i = 0; i < 8; ++i) {
        writers.push_back(std::async(std::launch::async, [] {
            std::string text;
            return EncryptDBPasswd("secret", text) == 0 ? text : std::string();
        }));
    }
    for (auto& writer : writers) {
        std::string out;
        EXPECT_EQ(DecryptDBPasswd(writer.get(), out), 0);
        EXPECT_EQ(out, "secret");
    }
    struct stat info {};
    ASSERT_EQ(::stat(KeyPath().c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);
    EXPECT_EQ(info.st_size, 32);

    std::string text;
    ::chmod(KeyPath().c_str(), 0640);
    EXPECT_EQ(EncryptDBPasswd("secret", text), -1);
    ::chmod(KeyPath().c_str(), 0600);
    std::filesystem::resize_file(KeyPath(), 31);
    EXPECT_EQ(EncryptDBPasswd("secret", text), -1);
}
