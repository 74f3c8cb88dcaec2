// SPDX-License-Identifier: Apache-2.0
// tests/notification/notificationwebhook_test.cpp - webhooks stored and checked.
#include "notificationwebhook.h"

#include <gtest/gtest.h>

#include "support/log_capture.h"
#include "support/temp_root.h"

namespace {

class NotificationWebhookTest : public ::testing::Test {
protected:
    NotificationWebhookTest()
    {
        m_webhook.Get<WEBHOOK_INFO_NAME>() = "Gate 'A'; DROP TABLE webhook;--";
        m_webhook.Get<WEBHOOK_INFO_URL>() = "https://hooks.example.net/a?b=c";
        m_webhook.Get<WEBHOOK_INFO_TOKEN>() = "t'oken";
    }

    TempRoot m_root;
    LogCapture m_log;
    NotificationWebhook m_webhook;
};

// Catches: a record whose columns are not those of the table, or an id that is not stored back.
TEST_F(NotificationWebhookTest, RecordIsInsertedOnceThenUpdatedAndDeleted)
{
    ASSERT_EQ(m_webhook.Save(), 0);
    const int id = m_webhook.Id();
    ASSERT_GT(id, 0);
    m_webhook.Get<WEBHOOK_INFO_ENABLED>() = false;
    m_webhook.Get<WEBHOOK_INFO_HEADERS>() = "X-A: 1\nX-B: 2";
    ASSERT_EQ(m_webhook.Save(), 0);

    std::list<NotificationWebhook> all;
    ASSERT_EQ(NotificationWebhook::GetAll(all), 0);
    ASSERT_EQ(all.size(), 1u) << "the second Save() must not insert";
    EXPECT_EQ(all.front().GetJson(), m_webhook.GetJson());
    NotificationWebhook loaded;
    ASSERT_EQ(loaded.Load(id), 0);
    EXPECT_EQ(loaded.GetJson(), m_webhook.GetJson());

    NotificationWebhook other = m_webhook;
    other.Get<WEBHOOK_INFO_ID>() = -1;
    ASSERT_EQ(other.Save(), 0);
    ASSERT_EQ(m_webhook.Delete(), 0);
    EXPECT_EQ(m_webhook.Id(), -1);
    EXPECT_EQ(loaded.Load(id), -1);
    EXPECT_EQ(m_log.TakeText("include/"), "include/dbmapping SetFieldsFromSQL: Failed to get result.\n");
    EXPECT_EQ(loaded.Load(other.Id()), 0) << "only one row is deleted";
}

// Catches: JSON that moves a record to another row.
TEST_F(NotificationWebhookTest, JsonNeverSetsTheId)
{
    Json::Value json = m_webhook.GetJson();
    json["id"] = 99;
    json["name"] = "other";
    EXPECT_EQ(m_webhook.SetByJson(json), 0);
    EXPECT_EQ(m_webhook.Id(), -1);
    EXPECT_EQ(m_webhook.Get<WEBHOOK_INFO_NAME>(), "other");
}

// Catches: a value that no request can be made of and that is accepted, or a good one that is refused.
TEST_F(NotificationWebhookTest, EachValueIsJudged)
{
    const struct {
        const char* column;
        Json::Value value;
        const char* complaint; ///< start of it; empty: the value is fine
    } cases[] = {
        {"enabled", true, ""},
        {"name", " \t", "name [ \t]: "},
        {"webhook_url", "HTTP://h", ""},
        {"webhook_url", "ftp://h/", "webhook_url [ftp://h/]: "},
        {"webhook_url", "http:///x", "webhook_url [http:///x]: "},
        {"webhook_url", "https://", "webhook_url [https://]: "},
        {"webhook_url", "http://h/\nHost: evil", "webhook_url ["},
        {"host_access_url", "", ""},
        {"host_access_url", "h:80", "host_access_url [h:80]: "},
        {"webhook_req_method", 4, "webhook_req_method [4]: "},
        {"http_content_type", -1, "http_content_type [-1]: "},
        {"provider", 2, "provider [2]: "},
        {"headers", "A-b: c: d\nE:\n", ""},
        {"headers", "A: b\nnonsense", "headers ["},
        {"headers", "A: b\r\nC: d", "headers ["},
    };
    for (const auto& [column, value, complaint] : cases) {
        NotificationWebhook webhook = m_webhook;
        Json::Value json(Json::objectValue);
        json[column] = value;
        ASSERT_EQ(webhook.SetByJson(json), 0);
        const std::string told = webhook.Check();
        EXPECT_TRUE(told.starts_with(complaint) && told.empty() == (*complaint == '\0'))
            << column << ": " << told;
    }
}

} // namespace
