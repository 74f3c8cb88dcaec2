// SPDX-License-Identifier: Apache-2.0
// package/src/rec/recorder.cpp - making recorded events: the file first, then its row, then its bytes.
#include "package/recorder.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <exception>
#include <utility>

#include "package/recsweep.h"
#include "package/root.h"
#include "pkglog.h"
#include "recfiles_internal.h"
#include "recorderlock_internal.h"
#include "recrows_internal.h"

namespace {

constexpr int MAX_SERIAL = 100000;

/// "CAMERA/GROUP/20261121/20261121T031500Z"; the repeated hour of autumn does not matter to UTC.
std::string StemOf(int camId, int recGroup, std::int64_t startTime)
{
    const auto seconds = static_cast<std::time_t>(startTime);
    std::tm utc{};
    ::gmtime_r(&seconds, &utc);
    char text[64];
    std::strftime(text, sizeof text, "/%Y%m%d/%Y%m%dT%H%M%SZ", &utc);
    return std::to_string(camId) + "/" + std::to_string(recGroup) + text;
}

/// The statement that counts an event of this box.
std::string CountSql(const Event& event)
{
    return std::string("INSERT INTO ") + gszTableRecordingCount + " (camera_id,day,count) VALUES (" +
           std::to_string(event.GetCamId()) + "," + std::to_string(event.GetStartTime() / 86400) +
           ",1) ON CONFLICT (camera_id,day) DO UPDATE SET count = count + 1;";
}

int StoreRow(const std::string& dbPath, const Event& item, std::int64_t* id)
{
    const bool isCounted = item.GetKind() == REC_KIND_EVENT && item.GetCamSideEndTmMsec() == 0;
    RecRows rows;
    if (rows.Load(dbPath, (isCounted ? CountSql(item) : "") + item.InsertSql()) != 0 || !rows.Next()) {
        return -1;
    }
    if (id != nullptr) {
        *id = rows.Number("id");
    }
    return 0;
}

/// Takes the place of a recorder. A rotation or a check that looks for killed recorders has it for a moment.
int TakeLock(RecorderLock& lock, int camId, int recGroup)
{
    constexpr int TRIES = 40;
    constexpr timespec PAUSE{0, 25'000'000};
    for (int tries = 1; lock.Take(camId, recGroup) != 0; ++tries) {
        if (errno != EWOULDBLOCK || tries == TRIES) {
            return -1;
        }
        ::nanosleep(&PAUSE, nullptr);
        errno = EWOULDBLOCK;
    }
    return 0;
}

} // namespace

struct EventRecorder::Impl {
    int camId = 0;
    int recGroup = 0;
    std::string dbPath;
    RecorderLock lock;
    RecFiles files;
    std::int64_t eventId = 0;
    std::int64_t startTime = 0;
    std::string name; ///< of the open file, below rec/

    /// Stores the size of the file, and its end unless that is 0. A row or a file that has gone stays gone.
    /// @return 0; 1: the event is marked or has gone; -1
    int Update(std::int64_t endTime)
    {
        struct stat info {};
        if (const REC_FILE found = files.Stat(name, info); found != REC_FILE::OK) {
            return found == REC_FILE::GONE ? 1 : -1;
        }
        RecRows rows;
        if (rows.Load(dbPath,
                      std::string("UPDATE ") + gszTableEvent + " SET size = " + std::to_string(info.st_size) +
                          (endTime > 0 ? ", end_time = " + std::to_string(endTime) : "") +
                          " WHERE id = " + std::to_string(eventId) + " RETURNING mark_as_del;") != 0) {
            return -1;
        }
        return rows.Next() && rows.Int("mark_as_del") == 0 ? 0 : 1;
    }

    /// Makes the file; the name was noted before.
    int MakeFile(const std::string& stem, const std::string& extension, std::string& path)
    {
        for (int serial = 0; serial < MAX_SERIAL; ++serial) {
            path = stem + (serial == 0 ? "" : "-" + std::to_string(serial)) + extension;
            struct stat info {};
            if (files.Stat(path, info) == REC_FILE::OK) {
                continue; // somebody's: not to be noted as ours
            }
            if (lock.Note(path) != 0) {
                return -1;
            }
            const int fd = files.Create(path);
            if (fd >= 0 || errno != EEXIST) {
                return fd;
            }
        }
        errno = EEXIST;
        return -1;
    }
};

EventRecorder::EventRecorder() noexcept = default;
EventRecorder::~EventRecorder() = default;

std::int64_t EventRecorder::EventId() const noexcept
{
    return m_pImpl ? m_pImpl->eventId : 0;
}

REC_START EventRecorder::Start(int camId, int recGroup, std::string* why) noexcept
try {
    auto pImpl = std::make_unique<Impl>();
    pImpl->camId = camId;
    pImpl->recGroup = recGroup;
    pImpl->dbPath = RecDBPath(REC_KIND_EVENT);
    std::string reason;
    std::string& text = why != nullptr ? *why : reason;
    if (TakeLock(pImpl->lock, camId, recGroup) != 0) {
        const bool isBusy = errno == EWOULDBLOCK;
        text = "camera " + std::to_string(camId) + ", group " + std::to_string(recGroup) + ": " +
               (isBusy ? "another process records it; end that one first" : std::strerror(errno));
        return isBusy ? REC_START::BUSY : REC_START::FAILED;
    }
    const REC_VOLUME volume = CheckRecVolume(pImpl->dbPath, &text);
    if (volume == REC_VOLUME::NO_VOLUME || volume == REC_VOLUME::OTHER) {
        return REC_START::VOLUME;
    }
    if (volume == REC_VOLUME::UNREADABLE || BindRecVolume(pImpl->dbPath) != 0 || pImpl->files.Open() != 0 ||
        RecoverGroup(camId, recGroup, pImpl->lock, pImpl->files) != 0) {
        text = "database [" + pImpl->dbPath +
               "] or the folder of recordings cannot be used; vx log tail says why";
        return REC_START::FAILED;
    }
    m_pImpl = std::move(pImpl);
    return REC_START::OK;
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to start recording camera [%d]: %s.\n", camId,
            error.what());
    return REC_START::FAILED;
}

int EventRecorder::Create(std::int64_t startTime, const std::string& extension, int& fd,
                          std::string& path) noexcept
try {
    fd = -1;
    if (!m_pImpl) {
        return -1;
    }
    Impl& impl = *m_pImpl;
    std::string name;
    UniqueFd made(impl.MakeFile(StemOf(impl.camId, impl.recGroup, startTime), extension, name));
    if (!made) {
        PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to make file [%s]: %m.\n", name.c_str());
        return -1;
    }
    Event event;
    event.SetOwner(impl.camId, impl.recGroup);
    event.SetTimes(startTime, 0);
    event.SetPath(name);
    if (StoreRow(impl.dbPath, event, &impl.eventId) != 0) {
        static_cast<void>(
            impl.files.Unlink(name)); // empty and nobody's; if this fails the next start does it
        return -1;
    }
    impl.startTime = startTime;
    impl.name = name;
    path = GetPackageRoot() + "/rec/" + name;
    fd = made.Release();
    return 0;
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to make an event [%s].\n", error.what());
    return -1;
}

int EventRecorder::Progress() noexcept
try {
    return m_pImpl && m_pImpl->eventId != 0 ? m_pImpl->Update(0) : -1;
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to note the size of an event [%s].\n", error.what());
    return -1;
}

int EventRecorder::Close(std::int64_t endTime) noexcept
try {
    if (!m_pImpl || m_pImpl->eventId == 0) {
        return -1;
    }
    const int result = m_pImpl->Update(std::max<std::int64_t>({1, m_pImpl->startTime, endTime}));
    m_pImpl->eventId = 0;
    return std::min(result, 0);
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to close an event [%s].\n", error.what());
    return -1;
}

int AddRecord(const Event& item, int archTaskId, std::int64_t* id) noexcept
try {
    const std::string dbPath = RecDBPath(item.GetKind(), archTaskId);
    return BindRecVolume(dbPath) != 0 ? -1 : StoreRow(dbPath, item, id);
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to add a record [%s].\n", error.what());
    return -1;
}
