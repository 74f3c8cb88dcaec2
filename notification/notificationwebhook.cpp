// SPDX-License-Identifier: Apache-2.0
// notification/notificationwebhook.cpp - storage and checks of webhooks.
#include "notificationwebhook.h"

#include <cctype>
#include <string_view>
#include <utility>

#include "dbmapping.h"
#include "dbrow.h"
#include "vxlog.h"

template <>
VxEnum2StrMap<WEBHOOK_REQ_METHOD>::VxEnum2StrMap()
    : m_map{
          {WEBHOOK_REQ_GET, "GET"},
          {WEBHOOK_REQ_POST, "POST"},
          {WEBHOOK_REQ_PUT, "PUT"},
          {WEBHOOK_REQ_DELETE, "DELETE"},
      }
{}

template <>
VxEnum2StrMap<HTTP_CONTENT_TYPE>::VxEnum2StrMap()
    : m_map{
          {HTTP_CONTENT_JSON, "json"},
          {HTTP_CONTENT_FORM, "form"},
          {HTTP_CONTENT_TEXT, "text"},
          {HTTP_CONTENT_XML, "xml"},
      }
{}

template <>
VxEnum2StrMap<WEBHOOK_PROVIDER>::VxEnum2StrMap()
    : m_map{
          {WEBHOOK_PROVIDER_CUSTOM, "custom"},
          {WEBHOOK_PROVIDER_CHAT, "chat"},
      }
{}

namespace {

using WebhookMapping = VxDB::DBMapping<WebhookInfo, WEBHOOK_INFO_FIELDS, WEBHOOK_INFO_ID>;

constexpr int NOT_STORED = -1;

WebhookMapping Mapping()
{
    return WebhookMapping(VxDB::DB_SYSTEM, gszTableWebhook);
}

/// One sentence about a value that cannot be used.
template <WEBHOOK_INFO_FIELDS F>
std::string Complaint(const std::string& value, const char* expected)
{
    std::string text = TaggedField<F>::COLUMN;
    text += " [";
    text += value;
    text += "]: ";
    text += expected;
    return text;
}

bool IsHttpUrl(std::string_view url)
{
    std::size_t schemeSize = 0;
    for (const std::string_view scheme : {std::string_view("http://"), std::string_view("https://")}) {
        if (url.size() > scheme.size() && VxDB::detail::IsSameColumn(url.substr(0, scheme.size()), scheme)) {
            schemeSize = scheme.size();
        }
    }
    if (schemeSize == 0 || std::string_view("/:?#").find(url[schemeSize]) != std::string_view::npos) {
        return false; // no scheme of ours, or no host behind it
    }
    for (const char c : url) {
        if (static_cast<unsigned char>(c) <= ' ' || c == '\x7f') {
            return false;
        }
    }
    return true;
}

/// A header line is a name of visible characters, ":", and a value without control characters.
bool IsHeaderLine(std::string_view line)
{
    const std::size_t colon = line.find(':');
    if (colon == 0 || colon == line.npos) {
        return false;
    }
    for (std::size_t i = 0; i < line.size(); ++i) {
        const auto c = static_cast<unsigned char>(line[i]);
        if (c < ' ' || c == 0x7f || (i < colon && (c == ' ' || c > 0x7f))) {
            return false;
        }
    }
    return true;
}

bool AreHeaders(std::string_view headers)
{
    while (!headers.empty()) {
        const std::size_t end = headers.find('\n');
        const std::string_view line = headers.substr(0, end);
        if (!line.empty() && !IsHeaderLine(line)) {
            return false;
        }
        headers.remove_prefix(end == headers.npos ? headers.size() : end + 1);
    }
    return true;
}

template <typename T>
bool HasText(T value)
{
    return std::string_view(Enum2String<T>(value)) != "unknown";
}

} // namespace

NotificationWebhook::NotificationWebhook() noexcept
{
    Get<WEBHOOK_INFO_ID>() = NOT_STORED;
    Get<WEBHOOK_INFO_REQ_METHOD>() = WEBHOOK_REQ_POST;
    Get<WEBHOOK_INFO_ENABLED>() = true;
}

int NotificationWebhook::Load(int id) noexcept
try {
    Get<WEBHOOK_INFO_ID>() = id;
    return Mapping().Load(*this);
} catch (const std::exception& e) {
    VX_LOG(LOG_CATEG_NOTIFICATION, LOG_LEVEL_ERR, "Failed to load webhook [%d]: %s\n", id, e.what());
    return -1;
}

int NotificationWebhook::Save() noexcept
try {
    return Id() == NOT_STORED ? Mapping().Insert(*this) : Mapping().Update(*this);
} catch (const std::exception& e) {
    VX_LOG(LOG_CATEG_NOTIFICATION, LOG_LEVEL_ERR, "Failed to save webhook [%d]: %s\n", Id(), e.what());
    return -1;
}

int NotificationWebhook::Delete() noexcept
try {
    std::string sql = "DELETE FROM ";
    sql += gszTableWebhook;
    sql += WebhookMapping::Serializer::GetWhereString<WebhookMapping::KeyProxy>(*this);
    if (VxDB::detail::ExecuteSQL(VxDB::DB_SYSTEM, sql) != 0) {
        return -1;
    }
    Get<WEBHOOK_INFO_ID>() = NOT_STORED;
    return 0;
} catch (const std::exception& e) {
    VX_LOG(LOG_CATEG_NOTIFICATION, LOG_LEVEL_ERR, "Failed to delete webhook [%d]: %s\n", Id(), e.what());
    return -1;
}

int NotificationWebhook::GetAll(std::list<NotificationWebhook>& out) noexcept
try {
    return Mapping().Enum(out, "", "ORDER BY id", "");
} catch (const std::exception& e) {
    VX_LOG(LOG_CATEG_NOTIFICATION, LOG_LEVEL_ERR, "Failed to list webhooks: %s\n", e.what());
    return -1;
}

Json::Value NotificationWebhook::GetJson() const noexcept
try {
    return Mapping().ToJson(*this);
} catch (const std::exception& e) {
    VX_LOG(LOG_CATEG_NOTIFICATION, LOG_LEVEL_ERR, "Failed to make Json of webhook [%d]: %s\n", Id(),
           e.what());
    return Json::Value();
}

int NotificationWebhook::SetByJson(const Json::Value& json) noexcept
try {
    const int id = Id();
    const int result = Mapping().FromJson(json, *this);
    Get<WEBHOOK_INFO_ID>() = id;
    return result;
} catch (const std::exception& e) {
    VX_LOG(LOG_CATEG_NOTIFICATION, LOG_LEVEL_ERR, "Failed to set webhook [%d]: %s\n", Id(), e.what());
    return -1;
}

std::string NotificationWebhook::Check() const
{
    const std::string& name = Get<WEBHOOK_INFO_NAME>();
    const std::string& url = Get<WEBHOOK_INFO_URL>();
    const std::string& hostUrl = Get<WEBHOOK_INFO_HOST_ACCESS_URL>();
    const std::string& headers = Get<WEBHOOK_INFO_HEADERS>();
    if (name.find_first_not_of(" \t\r\n") == std::string::npos) {
        return Complaint<WEBHOOK_INFO_NAME>(name, "a webhook needs a name");
    }
    if (!IsHttpUrl(url)) {
        return Complaint<WEBHOOK_INFO_URL>(url,
                                           "expected http://HOST/... or https://HOST/... without blanks");
    }
    if (!hostUrl.empty() && !IsHttpUrl(hostUrl)) {
        return Complaint<WEBHOOK_INFO_HOST_ACCESS_URL>(
            hostUrl, "expected http://HOST/..., https://HOST/... or nothing");
    }
    if (const auto method = Get<WEBHOOK_INFO_REQ_METHOD>(); !HasText(method)) {
        return Complaint<WEBHOOK_INFO_REQ_METHOD>(std::to_string(method),
                                                  "expected 0 GET, 1 POST, 2 PUT or 3 DELETE");
    }
    if (const auto type = Get<WEBHOOK_INFO_CONTENT_TYPE>(); !HasText(type)) {
        return Complaint<WEBHOOK_INFO_CONTENT_TYPE>(std::to_string(type),
                                                    "expected 0 json, 1 form, 2 text or 3 xml");
    }
    if (const auto provider = Get<WEBHOOK_INFO_PROVIDER>(); !HasText(provider)) {
        return Complaint<WEBHOOK_INFO_PROVIDER>(std::to_string(provider), "expected 0 custom or 1 chat");
    }
    if (!AreHeaders(headers)) {
        return Complaint<WEBHOOK_INFO_HEADERS>(headers, "expected lines of the form Name: value");
    }
    return {};
}
