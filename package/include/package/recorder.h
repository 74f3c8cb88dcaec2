// SPDX-License-Identifier: Apache-2.0
// package/recorder.h - making recorded events: the file first, then its row, then its bytes.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "package/event.h"
#include "package/export.h"

/// How a recorder starts.
enum class REC_START {
    OK,
    BUSY,   ///< another process records this group of the camera
    VOLUME, ///< database and volume do not belong together; see CheckRecVolume()
    FAILED, ///< logged
};

/// The one recorder of a recording group of a camera; holds a lock until it ends, however it ends.
///
/// A file is made empty under a UTC name that was never used, and noted in the lock's file before; then its
/// row is committed with the counter; then it is written. So whoever finds the lock free knows what a killed
/// recorder left: an empty file without a row, or a row without an end.
/// Thread-safety: one thread at a time.
class VX_API EventRecorder {
public:
    EventRecorder() noexcept;
    ~EventRecorder();
    EventRecorder(const EventRecorder&) = delete;
    EventRecorder& operator=(const EventRecorder&) = delete;

    /// Takes the lock, binds database and volume, and mends what the recorder before left.
    /// @param why  set unless OK: what, where, what to do; may be null
    REC_START Start(int camId, int recGroup, std::string* why) noexcept;

    /// Makes a file and its row.
    ///
    /// @param startTime  seconds since 1970; names the file
    /// @param extension  with the dot
    /// @param fd         the empty file, the caller's to close; -1 on -1
    /// @param path       where it is
    /// @return 0; -1 (logged): no file and no row remain.
    [[nodiscard]] int Create(std::int64_t startTime, const std::string& extension, int& fd,
                             std::string& path) noexcept;
    /// Notes how large the file has become, so that rotation counts it.
    /// @return 0; 1: the event was marked or deleted meanwhile, what follows belongs into a new one; -1 (logged).
    [[nodiscard]] int Progress() noexcept;
    /// Closes the event with the size of its file, which is complete. An event that was deleted meanwhile
    /// stays deleted. @return 0; -1 (logged): the next start closes it.
    [[nodiscard]] int Close(std::int64_t endTime) noexcept;
    /// The row of the open file; 0 when there is none.
    std::int64_t EventId() const noexcept;

private:
    struct Impl;
    std::unique_ptr<Impl> m_pImpl;
};

/// Adds an item that lies under rec/ already, or has no file: binds database and volume, stores the row,
/// counts it.
///
/// @param item  gets its id only in the database; a closed or open item of any kind
/// @param id    set on 0; may be null
/// @return 0; -1 (logged).
[[nodiscard]] VX_API int AddRecord(const Event& item, int archTaskId = 0,
                                   std::int64_t* id = nullptr) noexcept;
