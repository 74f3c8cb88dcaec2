// SPDX-License-Identifier: Apache-2.0
// webhookinfo.h - the webhook record: where a notification is posted, and how.
#pragma once

#include <string>

#include "taggedstruct.h"
#include "vxenum.h"
#include "webhookenum.h"

/// Who receives a webhook: anything that speaks HTTP, or a chat service with a body of its own.
enum WEBHOOK_PROVIDER : int {
    WEBHOOK_PROVIDER_CUSTOM = 0,
    WEBHOOK_PROVIDER_CHAT = 1,
};

template <>
VX_API VxEnum2StrMap<WEBHOOK_PROVIDER>::VxEnum2StrMap();

/// The columns of table "webhook", in its order.
enum WEBHOOK_INFO_FIELDS : int {
    WEBHOOK_INFO_ID = 0,
    WEBHOOK_INFO_NAME = 1,
    WEBHOOK_INFO_PROVIDER = 2,
    WEBHOOK_INFO_URL = 3,
    WEBHOOK_INFO_REQ_METHOD = 4,
    WEBHOOK_INFO_CONTENT_TYPE = 5,
    WEBHOOK_INFO_BODY = 6,
    WEBHOOK_INFO_ENABLED = 7,
    WEBHOOK_INFO_TOKEN = 8,
    WEBHOOK_INFO_HOST_ACCESS_URL = 9,
    WEBHOOK_INFO_HEADERS = 10,
};

VX_TAGGED_FIELD(WEBHOOK_INFO_ID, int, "id");
VX_TAGGED_FIELD(WEBHOOK_INFO_NAME, std::string, "name");
VX_TAGGED_FIELD(WEBHOOK_INFO_PROVIDER, WEBHOOK_PROVIDER, "provider");
VX_TAGGED_FIELD(WEBHOOK_INFO_URL, std::string, "webhook_url");
VX_TAGGED_FIELD(WEBHOOK_INFO_REQ_METHOD, WEBHOOK_REQ_METHOD, "webhook_req_method");
VX_TAGGED_FIELD(WEBHOOK_INFO_CONTENT_TYPE, HTTP_CONTENT_TYPE, "http_content_type");
VX_TAGGED_FIELD(WEBHOOK_INFO_BODY, std::string, "http_body");
VX_TAGGED_FIELD(WEBHOOK_INFO_ENABLED, bool, "enabled");
VX_TAGGED_FIELD(WEBHOOK_INFO_TOKEN, std::string, "token");
VX_TAGGED_FIELD(WEBHOOK_INFO_HOST_ACCESS_URL, std::string, "host_access_url");
VX_TAGGED_FIELD(WEBHOOK_INFO_HEADERS, std::string, "headers");

/// One webhook. A plain record: NotificationWebhook stores and checks it.
using WebhookInfo = TaggedStruct<WEBHOOK_INFO_FIELDS, WEBHOOK_INFO_ID, WEBHOOK_INFO_NAME,
                                 WEBHOOK_INFO_PROVIDER, WEBHOOK_INFO_URL, WEBHOOK_INFO_REQ_METHOD,
                                 WEBHOOK_INFO_CONTENT_TYPE, WEBHOOK_INFO_BODY, WEBHOOK_INFO_ENABLED,
                                 WEBHOOK_INFO_TOKEN, WEBHOOK_INFO_HOST_ACCESS_URL, WEBHOOK_INFO_HEADERS>;
