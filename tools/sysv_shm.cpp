// SPDX-License-Identifier: Apache-2.0
// tools/sysv_shm.cpp - reads /proc/sysvipc/shm and /proc/PID/maps.
#include "sysv_shm.h"

#include <dirent.h>
#include <signal.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <sstream>

#include "shmfifo.h"

namespace {

std::string ReadAll(const std::string& path)
{
    std::ifstream in(path);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

/// The kernel prints a key as a signed or an unsigned number, depending on its age.
bool ParseRow(const std::string& line, ShmRow& row)
{
    std::istringstream in(line);
    long long key = 0;
    unsigned lastPid = 0;
    unsigned gid = 0;
    unsigned creatorUid = 0;
    unsigned creatorGid = 0;
    long long attachedSec = 0;
    long long detachedSec = 0;
    std::uint64_t swapBytes = 0;
    in >> key >> row.shmId >> std::oct >> row.mode >> std::dec >> row.bytes >> row.creator >> lastPid >>
        row.attached >> row.uid >> gid >> creatorUid >> creatorGid >> attachedSec >> detachedSec >>
        row.changedSec;
    if (in.fail()) {
        return false;
    }
    row.key = static_cast<int>(static_cast<std::uint32_t>(key));
    in >> row.residentBytes >> swapBytes; // missing on old kernels: stays 0
    return true;
}

/// Seconds since the epoch at which a process started, or -1 if there is none, or only its exit code is left.
long long StartSecOf(pid_t pid)
{
    const std::string stat = ReadAll("/proc/" + std::to_string(pid) + "/stat");
    const std::size_t nameEnd = stat.rfind(')');
    if (nameEnd == std::string::npos) {
        return -1;
    }
    std::istringstream fields(stat.substr(nameEnd + 1));
    std::string skipped;
    fields >> skipped; // field 3, the state
    if (skipped == "Z" || skipped == "X") {
        return -1;
    }
    for (int field = 4; field < 22; ++field) { // field 22 is the start, in ticks since boot
        fields >> skipped;
    }
    unsigned long long ticks = 0;
    fields >> ticks;
    std::istringstream boot(ReadAll("/proc/stat"));
    std::string word;
    long long bootSec = 0;
    while (boot >> word && word != "btime") {
    }
    boot >> bootSec;
    return bootSec + static_cast<long long>(ticks) / ::sysconf(_SC_CLK_TCK);
}

/// A line of maps names a segment as "/SYSV<key in hex>", with the segment's id in the place of the inode.
bool MapsSegment(const std::string& maps, int shmId)
{
    std::istringstream lines(maps);
    std::string line;
    while (std::getline(lines, line)) {
        if (line.find("/SYSV") == std::string::npos) {
            continue;
        }
        std::istringstream fields(line);
        std::string range;
        std::string access;
        std::string offset;
        std::string device;
        long long inode = -1;
        fields >> range >> access >> offset >> device >> inode;
        if (inode == shmId) {
            return true;
        }
    }
    return false;
}

std::size_t AttachedOffset()
{
    std::size_t found = 0;
    ShmLayout::ForEachField([&found](const char*, const char* pField, std::size_t offset, std::size_t) {
        found = std::strcmp(pField, "m_attached") == 0 ? offset : found;
    });
    return found;
}

} // namespace

std::vector<ShmRow> ParseShmTable(const std::string& text)
{
    std::vector<ShmRow> rows;
    std::istringstream lines(text);
    std::string line;
    std::getline(lines, line); // the heading
    while (std::getline(lines, line)) {
        ShmRow row;
        if (ParseRow(line, row)) {
            rows.push_back(row);
        }
    }
    return rows;
}

std::vector<ShmRow> ListShm()
{
    std::vector<ShmRow> rows = ParseShmTable(ReadAll("/proc/sysvipc/shm"));
    std::erase_if(
        rows, [](const ShmRow& row) { return row.key == 0; }); // removed, or private: no key to reach it by
    return rows;
}

const ShmRow* FindKey(const std::vector<ShmRow>& rows, int key)
{
    for (const ShmRow& row : rows) {
        if (row.key == key) {
            return &row;
        }
    }
    return nullptr;
}

int ShmIdUnder(int key)
{
    return ::shmget(key, 0, 0);
}

std::vector<ShmHolder> HoldersOf(int shmId)
{
    std::vector<ShmHolder> holders;
    const std::unique_ptr<DIR, int (*)(DIR*)> proc(::opendir("/proc"), &::closedir);
    if (!proc) {
        return holders;
    }
    while (const dirent* const entry = ::readdir(proc.get())) {
        const pid_t pid = static_cast<pid_t>(std::strtol(entry->d_name, nullptr, 10));
        if (pid <= 0 || pid == ::getpid()) {
            continue;
        }
        const std::string folder = "/proc/" + std::to_string(pid);
        if (MapsSegment(ReadAll(folder + "/maps"), shmId)) {
            std::string name = ReadAll(folder + "/comm");
            name.erase(name.find_last_not_of('\n') + 1);
            holders.push_back({pid, name});
        }
    }
    return holders;
}

bool PeekSegment(int shmId, void* into, std::size_t size)
{
    shmid_ds info{};
    if (::shmctl(shmId, IPC_STAT, &info) != 0 || info.shm_segsz < size) {
        return false;
    }
    void* const pAddr = ::shmat(shmId, nullptr, SHM_RDONLY);
    if (pAddr ==
        reinterpret_cast<void*>(-1)) { // NOLINT(performance-no-int-to-ptr): that is how shmat() fails
        return false;
    }
    std::memcpy(into, pAddr, size);
    ::shmdt(pAddr);
    return true;
}

void CloseForReaders(const ShmRow& header)
{
    void* const pMapped = header.bytes == sizeof(ShmStreamFifo) ? ::shmat(header.shmId, nullptr, 0)
                                                                : reinterpret_cast<void*>(-1);
    if (pMapped != reinterpret_cast<void*>(-1)) { // NOLINT(performance-no-int-to-ptr): as above
        const std::uint8_t gone = 0;
        std::memcpy(static_cast<unsigned char*>(pMapped) + AttachedOffset(), &gone, sizeof gone);
        ::shmdt(pMapped);
    }
}

bool RemoveShm(int shmId)
{
    return ::shmctl(shmId, IPC_RMID, nullptr) == 0 || errno == EINVAL || errno == EIDRM;
}

bool CreatorAlive(const ShmRow& row)
{
    if (row.creator == 0) {
        return true; // of another process namespace: nothing is known about it
    }
    if (::kill(row.creator, 0) != 0 && errno == ESRCH) {
        return false;
    }
    const long long startSec = StartSecOf(row.creator);
    constexpr long long CLOCK_SLACK_SEC =
        2; // the start is rounded, and the wall clock may have been set a little
    return startSec >= 0 && startSec <= row.changedSec + CLOCK_SLACK_SEC;
}
