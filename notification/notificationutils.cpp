// SPDX-License-Identifier: Apache-2.0
// notification/notificationutils.cpp - message bodies of notifications.
#include "notificationutils.h"

#include <cstdio>
#include <exception>

#include "package/textreplace.h"
#include "vxlog.h"

namespace {

/// Hands the buffer's text to edit(std::string&) and writes the result back.
template <typename Edit>
void EditMessage(char* buf, const Edit& edit)
{
    if (buf == nullptr) {
        return; // an empty text whose result has nowhere to go
    }
    std::string text = buf;
    edit(text);
    std::snprintf(buf, NOTIFY_MESSAGE_SIZE, "%s", text.c_str());
}

struct TypeRange {
    int first;
    int last;
};

constexpr TypeRange WITH_SNAPSHOT[] = {
    {NOTIFY_CAM_CONNECTED, NOTIFY_CAM_MANUAL},
    {NOTIFY_CAM_CUSTOM_FIRST, NOTIFY_CAM_CUSTOM_LAST},
    {NOTIFY_CAM_SNAPSHOT_TAKEN, NOTIFY_CAM_SNAPSHOT_TAKEN},
    {NOTIFY_ANALYTICS_FIRST, NOTIFY_ANALYTICS_LAST},
    {NOTIFY_DOOR_GRANTED, NOTIFY_DOOR_DENIED},
    {NOTIFY_DOOR_EVENT_FIRST, NOTIFY_DOOR_EVENT_LAST},
    {NOTIFY_INTERCOM_FIRST, NOTIFY_INTERCOM_LAST},
    {NOTIFY_IO_MODULE_INPUT, NOTIFY_IO_MODULE_INPUT},
    {NOTIFY_TASK_ALERT_FIRST, NOTIFY_TASK_ALERT_LAST},
    {NOTIFY_ACTION_RULE, NOTIFY_ACTION_RULE},
    {NOTIFY_FACE_ALERT_FIRST, NOTIFY_FACE_ALERT_LAST},
};

} // namespace

void PlainTextToHtml(char* buf) noexcept
try {
    EditMessage(buf, [](std::string& text) {
        StringReplaceSymbol(text, "\n", "<br>", true);
        text += "\n\n";
    });
} catch (const std::exception& e) {
    VX_LOG(LOG_CATEG_NOTIFICATION, LOG_LEVEL_ERR, "Failed to make HTML of a message: %s\n", e.what());
}

void HtmlToPlainText(char* buf) noexcept
try {
    EditMessage(buf, [](std::string& text) {
        StringReplaceSymbol(text, "<BR>", "\n", true);
        StringReplaceSymbol(text, "<br>", "\n", true);
        // Senders put the text into JSON and the like: no real line feed may be left, whoever wrote it.
        StringReplaceSymbol(text, "\n", "\\n", true);
    });
} catch (const std::exception& e) {
    VX_LOG(LOG_CATEG_NOTIFICATION, LOG_LEVEL_ERR, "Failed to make plain text of a message: %s\n", e.what());
}

void EmbedSnapShotInContent(char* buf, const std::string& cid, const std::string& ext) noexcept
try {
    EditMessage(buf, [&cid, &ext](std::string& text) {
        text += ext == "mp4" ? "<video" : "<img";
        text += " src=\"cid:";
        text += cid;
        text += "\" style=\"max-width:100%; margin:3px 0;\">\n";
    });
} catch (const std::exception& e) {
    VX_LOG(LOG_CATEG_NOTIFICATION, LOG_LEVEL_ERR, "Failed to embed a snapshot in a message: %s\n", e.what());
}

bool IsSnapshotRequired(Vx_NOTIFY_TYPE type) noexcept
{
    for (const TypeRange& range : WITH_SNAPSHOT) {
        if (type >= range.first && type <= range.last) {
            return true;
        }
    }
    return false;
}
