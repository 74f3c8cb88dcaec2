// SPDX-License-Identifier: Apache-2.0
// log/archivename.cpp - the name of an archive in the making.
#include "archivename_internal.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "logrot_internal.h"
#include "package/fileutil.h"
#include "package/monoclock.h"
#include "package/spreadsheet.h"
#include "vxlogrotate.h"

namespace {

constexpr const char* LOOSE_EXTENSIONS[] = {"html", "txt", "xlsx", "pyxl"};
constexpr const char* UNFINISHED = ".unfinished";
constexpr long NAMES_TRIED = 86400; ///< seconds from now on whose names may all be taken

/// ".PREFIX_TIME.unfinished" beside the path PREFIX_TIME.EXT.
std::string HiddenBeside(const std::string& path, const std::string& ending)
{
    const std::size_t name = path.rfind('/') + 1;
    return path.substr(0, name) + "." + path.substr(name, path.rfind('.') - name) + ending;
}

} // namespace

ArchiveName::~ArchiveName()
{
    try {
        if (m_isTaken) {
            if (!m_isKept) {
                RemoveFilesOf(Path(""));
            }
            VxRm(HiddenBeside(Path(""), UNFINISHED));
            if (m_isKept) { // a power cut must not bring it back: what bears its name would be removed
                static_cast<void>(SyncPath(m_dir));
            }
        }
    } catch (const std::exception& error) {
        VX_LOG_ROTATE(LOG_LEVEL_ERR, "Failed to clean up in [%s] [%s].\n", m_dir.c_str(), error.what());
    }
    if (m_lockFd >= 0) {
        ::close(m_lockFd);
    }
}

std::string ArchiveName::Path(const char* ext) const
{
    return GenArchFilename(m_dir, m_time, m_prefix, ext);
}

int ArchiveName::Lock()
{
    const std::string path = m_dir + "/." + m_prefix + ".lock";
    m_lockFd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0640);
    if (m_lockFd < 0) {
        return -1;
    }
    int how = LOCK_EX | LOCK_NB;
    while (::flock(m_lockFd, how) != 0) {
        if (errno == EWOULDBLOCK) {
            // Decision: it waits as long as it takes. Who gives up goes on to delete what is in no archive.
            VX_LOG_ROTATE(LOG_LEVEL_NOTICE, "Waits for another process that archives into [%s].\n",
                          m_dir.c_str());
            how = LOCK_EX;
        } else if (errno != EINTR) {
            return -1;
        }
    }
    return 0;
}

/// @param stem  a path of the name, with any extension or a bare "."
void ArchiveName::RemoveFilesOf(const std::string& stem) const
{
    const std::string start = stem.substr(0, stem.rfind('.') + 1);
    for (const char* const ext : LOOSE_EXTENSIONS) {
        VxRm(start + ext);
    }
    std::error_code ignored; // it may go with the next archive
    std::filesystem::remove_all(start + "xlsx" + SpreadsheetWriter::PARTS, ignored);
    VxRm(HiddenBeside(stem, ".tgz.part"));
}

void ArchiveName::RemoveUnfinished() const
{
    const std::string start = std::string(".") + m_prefix + "_";
    std::error_code error;
    std::filesystem::directory_iterator entries(m_dir, error);
    for (; !error && entries != std::filesystem::directory_iterator(); entries.increment(error)) {
        const std::string name = entries->path().filename().string();
        if (name.starts_with(start) && name.ends_with(UNFINISHED)) {
            RemoveFilesOf(m_dir + "/" + name.substr(1, name.size() - std::string_view(UNFINISHED).size()));
            VxRm(m_dir + "/" + name);
        }
    }
}

bool ArchiveName::IsFree(const std::string& stem) const
{
    const std::string start = stem.substr(0, stem.rfind('.') + 1);
    bool isFree = ::access((start + "tgz").c_str(), F_OK) != 0;
    for (const char* const ext : LOOSE_EXTENSIONS) {
        isFree = isFree && ::access((start + ext).c_str(), F_OK) != 0;
    }
    return isFree;
}

int ArchiveName::Take(const std::string& dir)
{
    m_dir = dir;
    if (Lock() != 0) {
        VX_LOG_ROTATE(LOG_LEVEL_ERR, "Failed to lock [%s] [%m].\n", dir.c_str());
        return -1;
    }
    RemoveUnfinished();
    const long now = static_cast<long>(GetWallTimeSec());
    for (m_time = now; m_time < now + NAMES_TRIED && !IsFree(Path("")); ++m_time) {
    }
    const std::string marker = HiddenBeside(Path(""), UNFINISHED);
    const int fd = ::open(marker.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0640);
    if (fd < 0) {
        VX_LOG_ROTATE(LOG_LEVEL_ERR, "Failed to create [%s] [%m].\n", marker.c_str());
        return -1;
    }
    ::close(fd);
    m_isTaken = true;
    return 0;
}
