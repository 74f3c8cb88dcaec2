// SPDX-License-Identifier: Apache-2.0
// notificationwebhook.h - webhooks as notifications use them: stored, listed, checked.
#pragma once

#include <json/value.h>

#include <list>
#include <string>

#include "package/export.h"
#include "webhookinfo.h"

/// A webhook with its storage, table "webhook" of the system database. A new one is enabled, posts JSON and
/// has the id -1, which means not yet stored.
///
/// Operations return 0 or -1 and throw nothing; the record keeps what was already set.
/// Log:           category 120 for the database, level 1.
/// Thread-safety: one thread at a time per object.
class VX_API NotificationWebhook : public WebhookInfo {
public:
    NotificationWebhook() noexcept;

    [[nodiscard]] int Id() const noexcept { return Get<WEBHOOK_INFO_ID>(); }

    /// Fills the record from the row `id`.  @return 0; -1 also when there is no such row (logged).
    [[nodiscard]] int Load(int id) noexcept;

    /// Inserts a record whose id is -1 and stores the new id in it; updates the row of any other.
    [[nodiscard]] int Save() noexcept;

    /// Deletes the row and makes the record a new one (id -1). A row that is gone already is no failure.
    [[nodiscard]] int Delete() noexcept;

    /// Appends all webhooks to `out`, by id.
    [[nodiscard]] static int GetAll(std::list<NotificationWebhook>& out) noexcept;

    /// One member per column, under its name; enumerations as numbers.
    [[nodiscard]] Json::Value GetJson() const noexcept;

    /// Sets the columns that `json` has, but never the id.  @return 0; -1 (logged) for a value of the wrong
    /// type.
    [[nodiscard]] int SetByJson(const Json::Value& json) noexcept;

    /// Whether the webhook can be used: a name, http or https addresses, known method and content type,
    /// headers of the form "Name: value", one a line.
    ///
    /// @return empty when it can; else the column, its value and what is expected.
    [[nodiscard]] std::string Check() const;
};
