// SPDX-License-Identifier: Apache-2.0
// log/archivename_internal.h - the name of an archive in the making. Never installed.
#pragma once

#include <string>

/// Takes a name in a folder that no archive has yet, and sees to it that nothing half-written keeps it.
/// Destroyed: the loose files of the name go, unless they are to be kept.
class ArchiveName {
public:
    explicit ArchiveName(const char* prefix) : m_prefix(prefix) {}
    ~ArchiveName();
    ArchiveName(const ArchiveName&) = delete;
    ArchiveName& operator=(const ArchiveName&) = delete;

    /// Waits (and says so) for another process that archives the same log into this folder, removes what a
    /// killed one has left, and takes the present second's name, or the next one's that is free.
    ///
    /// @return 0; -1 (logged).
    [[nodiscard]] int Take(const std::string& dir);
    /// The file of this name with an extension.
    std::string Path(const char* ext) const;
    void KeepFiles() noexcept { m_isKept = true; }

private:
    int Lock();
    void RemoveUnfinished() const;
    void RemoveFilesOf(const std::string& stem) const;
    bool IsFree(const std::string& stem) const;

    const char* m_prefix;
    std::string m_dir;
    long m_time = 0;
    int m_lockFd = -1;
    bool m_isTaken = false;
    bool m_isKept = false;
};
