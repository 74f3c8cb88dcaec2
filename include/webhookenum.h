// SPDX-License-Identifier: Apache-2.0
// webhookenum.h - how a webhook's request is sent; webhooks and action rules use the same numbers.
#pragma once

#include "vxenum.h"

/// The method of a request.
enum WEBHOOK_REQ_METHOD : int {
    WEBHOOK_REQ_GET = 0,
    WEBHOOK_REQ_POST = 1,
    WEBHOOK_REQ_PUT = 2,
    WEBHOOK_REQ_DELETE = 3,
};

/// What the body of a request is.
enum HTTP_CONTENT_TYPE : int {
    HTTP_CONTENT_JSON = 0,
    HTTP_CONTENT_FORM = 1,
    HTTP_CONTENT_TEXT = 2,
    HTTP_CONTENT_XML = 3,
};

template <>
VX_API VxEnum2StrMap<WEBHOOK_REQ_METHOD>::VxEnum2StrMap();
template <>
VX_API VxEnum2StrMap<HTTP_CONTENT_TYPE>::VxEnum2StrMap();
