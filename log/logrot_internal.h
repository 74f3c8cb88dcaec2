// SPDX-License-Identifier: Apache-2.0
// log/logrot_internal.h - messages of the rotation of logs, which all name one place; files of an archive. Never
// installed.
#pragma once

#include <string>
#include <string_view>

#include "vxlog.h"

/// The logging step under "log/vxlogrotate", whichever file of this folder it stands in.
#define VX_LOG_ROTATE(level, ...)                                                                            \
    do {                                                                                                     \
        if (VxLogWanted(LOG_CATEG_LOG_SEND, (level))) {                                                      \
            const ErrnoKeeper vxLogErrno_;                                                                   \
            const char* const vxLogCategText_ = Enum2String<LOG_CATEG>(LOG_CATEG_LOG_SEND);                  \
            const char* const vxLogLevelText_ = Enum2String<LOG_LEVEL>(level);                               \
            vxLogErrno_.Restore();                                                                           \
            __extension__ VxPrintf(0, vxLogCategText_, vxLogLevelText_, "log/vxlogrotate", __LINE__,         \
                                   __func__, __VA_ARGS__);                                                   \
        }                                                                                                    \
    } while (false)

/// printf into a string. Empty when the format is broken.
std::string Format(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// A file that is written once, from its start or behind what is there. Owns the descriptor.
class ArchiveFile {
public:
    ArchiveFile() noexcept = default;
    ~ArchiveFile();
    ArchiveFile(const ArchiveFile&) = delete;
    ArchiveFile& operator=(const ArchiveFile&) = delete;

    /// @return 0; -1 (not logged, errno kept).
    [[nodiscard]] int Open(const std::string& path, bool isAppend) noexcept;
    /// What is to be written; kept until there is enough of it.
    std::string& Text() noexcept { return m_text; }
    /// Writes when there is enough. @return 0; -1 (not logged, errno kept), also at every later call.
    int Flush(bool isAll = false) noexcept;
    /// Writes the rest. @return 0; -1 (not logged, errno kept).
    [[nodiscard]] int Close() noexcept;

private:
    int m_fd = -1;
    int m_error = 0; ///< of the first write that failed
    std::string m_text;
};

/// Writes a text to a file. @return 0; -1 (not logged, errno kept).
[[nodiscard]] int WriteArchiveFile(const std::string& path, bool isAppend, std::string_view text) noexcept;
