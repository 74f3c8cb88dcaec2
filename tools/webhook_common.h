// SPDX-License-Identifier: Apache-2.0
// tools/webhook_common.h - what the verbs of vx webhook share.
#pragma once

#include <json/value.h>

#include <string>
#include <string_view>

#include "notificationwebhook.h"
#include "nouns.h"

/// What stands for a token that is not shown. Read back, it means: as it is.
constexpr const char* MASKED_SECRET = "********";

/// The webhook `id`; ends the verb when there is none, or when the database cannot be read.
NotificationWebhook FindWebhook(std::string_view verb, int id);

/// The record as --json prints it; the token only with `withSecrets`.
Json::Value WebhookJson(const NotificationWebhook& webhook, bool withSecrets);

/// The record for people: one line a column.
void PrintWebhook(const NotificationWebhook& webhook, bool withSecrets);

/// A text for a terminal: control characters as \xNN.
std::string Printable(std::string_view text);

void AddWebhookAdd(CLI::App& webhook);
void AddWebhookEdit(CLI::App& webhook);
