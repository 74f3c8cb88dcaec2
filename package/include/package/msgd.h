// SPDX-License-Identifier: Apache-2.0
// package/msgd.h - telling the message daemon what has changed, and listening in its place.
//
// A message is one datagram on the Unix socket run/msgd.sock: a JSON object with "kind", "ids", "type",
// "flag", "text" and "list". More ids than fit into one datagram make several messages.
#pragma once

#include <list>
#include <string>

#include "package/export.h"

/// Kinds of messages.
constexpr int MSGD_KIND_ACTION_RULE = 30;
constexpr int MSGD_KIND_BOOKMARK = 31;

/// What has happened to the things that a message names.
enum UPDATE_TYPE : int {
    UPDATE_TYPE_ADD = 0,
    UPDATE_TYPE_MODIFY = 1,
    UPDATE_TYPE_DELETE = 2,
};

/// Sends an update message. Never blocks and never signals the caller: without a listener, or with one that
/// does not keep up, the message is dropped, which is a log line and no error.
///
/// @return 0 when sent or when nobody listens; -1 (logged) when it could not be built or the socket failed.
/// Thread-safety: any thread.
VX_API int SendUpdateMsgToMsgD(int kind, const std::list<int>& ids, UPDATE_TYPE type, int flag,
                               const std::string& text, const std::list<int>& list) noexcept;

/// Listens in the daemon's place; one listener at a time on a box.
/// Thread-safety: one thread.
class VX_API MsgDListener {
public:
    MsgDListener() noexcept = default;
    /// Closes and removes the socket.
    ~MsgDListener();
    MsgDListener(const MsgDListener&) = delete;
    MsgDListener& operator=(const MsgDListener&) = delete;

    /// Binds the socket; one that a dead listener left is replaced.
    ///
    /// @return 0; -1 (logged, errno EADDRINUSE when somebody listens).
    [[nodiscard]] int Open() noexcept;
    /// Readable when a message waits, for poll(2); -1 when not open.
    int Fd() const noexcept { return m_fd; }
    /// Takes the message that waits. @return 0; -1 when none does.
    [[nodiscard]] int Receive(std::string& json) noexcept;

private:
    int m_fd = -1;
    std::string m_path;
};
