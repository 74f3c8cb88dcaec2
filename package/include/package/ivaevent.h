// SPDX-License-Identifier: Apache-2.0
// package/ivaevent.h - analytics recordings, rows of table "iva_recording".
#pragma once

#include <cstdint>
#include <list>
#include <string>

#include "package/event.h"

/// One analytics recording; GetCamId() is its task.
class VX_API IVAEvent : public Event {
public:
    IVAEvent() noexcept : Event(REC_KIND_IVA) {}
    IVAEvent(const IVAEvent&) = default;
    IVAEvent(IVAEvent&&) = default;
    IVAEvent& operator=(const IVAEvent&) = default;
    IVAEvent& operator=(IVAEvent&&) = default;
    ~IVAEvent() override;
};

/// One time-lapse recording; GetCamId() is its task.
class VX_API LapseRecording : public Event {
public:
    LapseRecording() noexcept : Event(REC_KIND_LAPSE) {}
};

/// One captured face; GetCamId() is its task.
class VX_API FaceEvent : public Event {
public:
    FaceEvent() noexcept : Event(REC_KIND_FACE) {}
};

/// Which live analytics recordings: all conditions that are set hold.
struct VX_API IVAEventFilter {
    int taskId = 0;              ///< 1 and more: of that task
    std::int64_t stopBefore = 0; ///< above 0: end time before this
    std::list<std::int64_t> ids; ///< not empty: these
    int limit = 0;               ///< above 0: the oldest so many of each task, for MarkIVAEvtAsDel()
    const volatile int* pRunFlag = nullptr; ///< when given and not 1, marking ends after its batch

    /// "WHERE mark_as_del = 0 AND ...".
    std::string GetWhereStr() const;
};

/// Marks what the filter selects, as MarkEvtAsDel() does. camDelList is keyed by task.
/// @return 0; -1 (logged).
[[nodiscard]] VX_API int MarkIVAEvtAsDel(IVAEventFilter&& filter, RotInfo* info, bool notify) noexcept;

/// Message kind that tells of changed analytics recordings.
constexpr int MSGD_KIND_IVA_LIST = 33;
