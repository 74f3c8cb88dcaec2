// SPDX-License-Identifier: Apache-2.0
// package/src/rec/recfiles_internal.h - files under rec/, reached by their names without ever leaving it.
#pragma once

#include <sys/stat.h>

#include <set>
#include <string>

#include "unique_fd.h"

/// How a file was found, or what became of it.
enum class REC_FILE {
    OK,      ///< it is there; it was unlinked
    GONE,    ///< it is not there, or its folder is not
    REFUSED, ///< the path leads out of rec/ or through a link, or names no plain file
    FAILED,  ///< anything else, errno says what
};

/// The folder rec/, and ways into it. Each part of a path is opened by itself and links are not followed, so
/// that whatever stands in a row, nothing outside is touched. One thread at a time.
class RecFiles {
public:
    /// @return 0; -1 (errno).
    [[nodiscard]] int Open();
    int Fd() const noexcept { return m_root.Get(); }

    [[nodiscard]] REC_FILE Stat(const std::string& path, struct stat& info);
    [[nodiscard]] REC_FILE Unlink(const std::string& path);
    /// Whether names may be removed from the folder of `path`. @return false with errno, also when it cannot be entered
    [[nodiscard]] bool MayUnlinkBeside(const std::string& path);
    /// Makes the folders of `path`, then the file itself, which must not exist (errno EEXIST).
    /// @return the descriptor; -1 (errno).
    [[nodiscard]] int Create(const std::string& path);
    /// Makes removals durable and removes folders that are empty now. Call it before rows go.
    void Settle();

    /// Whether every part of a path is a plain name: not empty, not "." or "..", not hidden.
    static bool IsInside(const std::string& path) noexcept;

private:
    /// The folder of `path`, kept open until another one is asked for.
    REC_FILE EnterFolder(const std::string& folder);

    UniqueFd m_root;
    UniqueFd m_folder;
    std::string m_folderName;
    bool m_folderIsOpen = false;
    std::set<std::string> m_touched; ///< folders that something was removed from
    std::string m_lastTouched;
};
