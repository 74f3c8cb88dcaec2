// SPDX-License-Identifier: Apache-2.0
// tools/frame_queue.h - frames between the thread that reads FIFOs and the thread that writes to the disk.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>

#include "record_frame.h"

/// A queue that holds so many bytes that a disk may stall for tens of seconds, and no more. Any thread.
class FrameQueue {
public:
    explicit FrameQueue(std::size_t maxBytes) : m_maxBytes(maxBytes) {}

    /// @return false: it is full, and the frame is not taken.
    [[nodiscard]] bool Push(RecordFrame&& frame)
    {
        const auto size = static_cast<std::size_t>(frame.packet->size);
        {
            const std::lock_guard held(m_lock);
            if (m_bytes + size > m_maxBytes && !m_frames.empty()) {
                return false;
            }
            m_bytes += size;
            m_frames.push_back(std::move(frame));
        }
        m_changed.notify_one();
        return true;
    }

    /// No more frames will come. @param keep whether those that came are worth a file of their own
    void End(bool keep)
    {
        {
            const std::lock_guard held(m_lock);
            m_ended = true;
            m_keep = keep;
        }
        m_changed.notify_all();
    }

    bool IsToKeep()
    {
        const std::lock_guard held(m_lock);
        return m_keep;
    }

    /// Waits for a frame. @return nothing once the queue has ended and is empty.
    std::optional<RecordFrame> Pop()
    {
        std::unique_lock held(m_lock);
        m_changed.wait(held, [this] { return m_ended || !m_frames.empty(); });
        if (m_frames.empty()) {
            return std::nullopt;
        }
        RecordFrame frame = std::move(m_frames.front());
        m_frames.pop_front();
        m_bytes -= static_cast<std::size_t>(frame.packet->size);
        return frame;
    }

private:
    const std::size_t m_maxBytes;
    std::mutex m_lock;
    std::condition_variable m_changed;
    std::deque<RecordFrame> m_frames;
    std::size_t m_bytes = 0;
    bool m_ended = false;
    bool m_keep = true;
};
