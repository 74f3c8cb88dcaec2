// SPDX-License-Identifier: Apache-2.0
// package/src/rec/recvolume.cpp - the mark by which a database and its volume know each other.
#include <fcntl.h>
#include <sys/random.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <exception>

#include "package/recsweep.h"
#include "package/root.h"
#include "pkglog.h"
#include "recrows_internal.h"
#include "unique_fd.h"

namespace {

constexpr std::size_t MARK_BYTES = 16;
constexpr const char* MARK_NAME = "/.volume";

std::string MarkPath()
{
    return GetPackageRoot() + "/rec" + MARK_NAME;
}

/// @return 0 with an empty mark when there is none; -1 (errno).
int ReadVolumeMark(std::string& mark)
{
    const UniqueFd fd(::open(MarkPath().c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    if (fd.Get() < 0) {
        return errno == ENOENT ? 0 : -1;
    }
    char text[2 * MARK_BYTES];
    const ssize_t size = ::read(fd.Get(), text, sizeof text);
    if (size != static_cast<ssize_t>(sizeof text)) {
        errno = size < 0 ? errno : EIO; // cut short: whose volume it is, nobody knows
        return -1;
    }
    mark.assign(text, sizeof text);
    return 0;
}

/// @return 0 with an empty mark when there is none, or no database; -1 (logged).
int ReadDBMark(const std::string& dbPath, std::string& mark)
{
    if (::access(dbPath.c_str(), F_OK) != 0 && errno == ENOENT) {
        return 0; // asking it would make it
    }
    RecRows rows;
    if (rows.Load(dbPath, std::string("SELECT uuid FROM ") + gszTableRecVolume) != 0) {
        return -1;
    }
    mark = rows.Next() ? rows.Text("uuid") : "";
    return 0;
}

std::string NewMark()
{
    unsigned char bytes[MARK_BYTES];
    if (::getrandom(bytes, sizeof bytes, 0) != static_cast<ssize_t>(sizeof bytes)) {
        return {};
    }
    std::string text;
    for (const unsigned char byte : bytes) {
        constexpr const char* DIGITS = "0123456789abcdef";
        text += DIGITS[byte >> 4];
        text += DIGITS[byte & 15];
    }
    return text;
}

/// Puts a mark on the volume unless somebody else was faster; `mark` is then what stands there.
int MarkVolume(std::string& mark)
{
    if (GetPackageDir(PackageDir::REC).empty()) {
        return -1;
    }
    const std::string path = MarkPath();
    const std::string temporary = path + "." + std::to_string(::getpid());
    const UniqueFd fd(::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0640));
    const std::string text = NewMark() + "\n";
    const bool isWritten = fd.Get() >= 0 && text.size() > 1 &&
                           ::write(fd.Get(), text.data(), text.size()) == static_cast<ssize_t>(text.size()) &&
                           ::fsync(fd.Get()) == 0 &&
                           (::link(temporary.c_str(), path.c_str()) == 0 || errno == EEXIST);
    const int error = errno;
    ::unlink(temporary.c_str());
    errno = error;
    return isWritten ? ReadVolumeMark(mark) : -1;
}

std::string Explain(REC_VOLUME state, const std::string& dbPath)
{
    const std::string rec = GetPackageRoot() + "/rec";
    switch (state) {
    case REC_VOLUME::UNBOUND:
        return rec + ": neither it nor database [" + dbPath + "] has a volume mark: nothing was recorded yet";
    case REC_VOLUME::NEW_DB:
        return rec + ": the volume has recordings of an earlier database, and [" + dbPath +
               "] is new; restore the database, or take the files in with vx event repair";
    case REC_VOLUME::NO_VOLUME:
        return rec + ": the volume of database [" + dbPath + "] is not there; mount it";
    case REC_VOLUME::OTHER:
        return rec + ": it is not the volume of database [" + dbPath + "]; mount the right one";
    case REC_VOLUME::UNREADABLE:
        return rec + ": its mark or that of database [" + dbPath + "] cannot be read; see vx log tail";
    case REC_VOLUME::SAME:
        break;
    }
    return {};
}

} // namespace

REC_VOLUME CheckRecVolume(const std::string& dbPath, std::string* why) noexcept
try {
    std::string ofVolume;
    std::string ofDB;
    REC_VOLUME state = REC_VOLUME::UNREADABLE;
    if (ReadVolumeMark(ofVolume) != 0) {
        PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to read the volume mark [%s]: %m.\n",
                MarkPath().c_str());
    } else if (ReadDBMark(dbPath, ofDB) == 0) {
        state = ofDB.empty()       ? (ofVolume.empty() ? REC_VOLUME::UNBOUND : REC_VOLUME::NEW_DB)
                : ofVolume.empty() ? REC_VOLUME::NO_VOLUME
                : ofVolume == ofDB ? REC_VOLUME::SAME
                                   : REC_VOLUME::OTHER;
    }
    if (why != nullptr) {
        *why = Explain(state, dbPath);
    }
    return state;
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to compare volume marks [%s].\n", error.what());
    return REC_VOLUME::UNREADABLE;
}

int BindRecVolume(const std::string& dbPath) noexcept
try {
    std::string why;
    const REC_VOLUME state = CheckRecVolume(dbPath, &why);
    if (state == REC_VOLUME::SAME) {
        return 0;
    }
    std::string mark;
    if (state != REC_VOLUME::UNBOUND && state != REC_VOLUME::NEW_DB) {
        PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to bind volume and database: %s.\n", why.c_str());
        return -1;
    }
    if ((state == REC_VOLUME::NEW_DB ? ReadVolumeMark(mark) : MarkVolume(mark)) != 0) {
        PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to mark the volume by [%s]: %m.\n",
                MarkPath().c_str());
        return -1;
    }
    return VxDB::Executep(dbPath, std::string("INSERT OR IGNORE INTO ") + gszTableRecVolume +
                                      " (id,uuid) VALUES (1," + VxDB::QuoteEscape(mark) + ");");
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to bind volume and database [%s].\n", error.what());
    return -1;
}
