// SPDX-License-Identifier: Apache-2.0
// actionrule/ruleschedule.cpp - the weekly schedules of a rule.
#include <array>
#include <exception>
#include <functional>

#include "actionrule.h"
#include "vxlog.h"

/// A text that was read, and what it says.
struct RuleSchedule::Content {
    std::string text;
    WeeklySchedule schedule;
};

int RuleSchedule::Set(const std::string& text, std::string* pError) noexcept
try {
    // The rules of a set have few schedules in common: the last ones that a thread has read are kept.
    thread_local std::array<std::shared_ptr<const Content>, 16> known;
    if (text.empty()) {
        m_pContent.reset();
        return 0;
    }
    auto& pKnown = known[std::hash<std::string>()(text) % known.size()];
    if (pKnown == nullptr || pKnown->text != text) {
        auto pRead = std::make_shared<Content>();
        if (pRead->schedule.Parse(text, pError) != 0) {
            return -1;
        }
        pRead->text = text;
        pKnown = std::move(pRead);
    }
    m_pContent = pKnown;
    return 0;
} catch (const std::exception&) {
    return -1; // no memory, also none for a message
}

const std::string& RuleSchedule::Text() const noexcept
{
    static const std::string EMPTY;
    const Content* const pContent = m_pContent.get();
    return pContent != nullptr ? pContent->text : EMPTY;
}

const WeeklySchedule& RuleSchedule::Get() const noexcept
{
    static const WeeklySchedule ALWAYS;
    const Content* const pContent = m_pContent.get();
    return pContent != nullptr ? pContent->schedule : ALWAYS;
}

int ActionRule::SetSchedule(RuleSchedule& schedule, const std::string& text, std::string* pError) noexcept
try {
    std::string error;
    if (schedule.Set(text, &error) == 0) {
        return 0;
    }
    VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Rule [%d]: %s.\n", m_id, error.c_str());
    if (pError != nullptr) {
        *pError = std::move(error);
    }
    return -1;
} catch (const std::exception& error) {
    VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Rule [%d]: [%s].\n", m_id, error.what());
    return -1;
}

int ActionRule::SetActiveSche(const std::string& text, std::string* pError) noexcept
{
    return SetSchedule(m_activeSche, text, pError);
}

int ActionRule::SetNotifactionSche(const std::string& text, std::string* pError) noexcept
{
    return SetSchedule(m_notifySche, text, pError);
}
