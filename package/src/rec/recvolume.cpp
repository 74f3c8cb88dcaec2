// SPDX-License-Identifier: Apache-2.0
// package/src/rec/recvolume.cpp - the mark by which a database and its volume know each other.
#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <set>

#include "package/recsweep.h"
#include "package/root.h"
#include "pkglog.h"
#include "reccheck_internal.h"
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

/// Puts a mark on the volume in place of the one it has, or a new mark (text "") unless somebody else was
/// faster; `mark` is then what stands there.
int MarkVolume(const std::string& given, std::string& mark)
{
    if (GetPackageDir(PackageDir::REC).empty()) {
        return -1;
    }
    const std::string path = MarkPath();
    const std::string temporary = path + "." + std::to_string(::getpid());
    const UniqueFd fd(::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0640));
    const std::string text = (given.empty() ? NewMark() : given) + "\n";
    const bool isWritten = fd.Get() >= 0 && text.size() > 1 &&
                           ::write(fd.Get(), text.data(), text.size()) == static_cast<ssize_t>(text.size()) &&
                           ::fsync(fd.Get()) == 0 &&
                           (!given.empty() ? ::rename(temporary.c_str(), path.c_str()) == 0
                                           : ::link(temporary.c_str(), path.c_str()) == 0 || errno == EEXIST);
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
        return rec + ": the volume of database [" + dbPath +
               "] is not there; mount it, or if it is lost for good see vx event adopt";
    case REC_VOLUME::OTHER:
        return rec + ": it is not the volume of database [" + dbPath +
               "]; mount the right one, or if that is lost for good see vx event adopt";
    case REC_VOLUME::UNREADABLE:
        return rec + ": its mark or that of database [" + dbPath + "] cannot be read; see vx log tail";
    case REC_VOLUME::SAME:
        break;
    }
    return {};
}

/// Counts the live rows with a file, and those whose file is not there.
int CountMissing(const RecDatabase& db, RecFiles& files, RecAdoption& adoption)
{
    RecRows rows;
    if (rows.Load(db.path, std::string("SELECT path FROM ") + RecTableOf(db.kind).table +
                               " WHERE mark_as_del = 0 AND path <> ''") != 0) {
        return -1;
    }
    struct stat info {};
    while (rows.Next()) {
        ++adoption.rows;
        adoption.missing += files.Stat(rows.Text("path"), info) == REC_FILE::OK ? 0 : 1;
    }
    return 0;
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
    if ((state == REC_VOLUME::NEW_DB ? ReadVolumeMark(mark) : MarkVolume("", mark)) != 0) {
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

REC_ADOPT AdoptRecVolume(bool go, RecAdoption& adoption) noexcept
try {
    RecFiles files;
    std::string ofVolume;
    if (files.Open() != 0 || ReadVolumeMark(ofVolume) != 0) {
        PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to read the volume mark [%s]: %m.\n",
                MarkPath().c_str());
        return REC_ADOPT::FAILED;
    }
    std::set<std::string> marks;
    for (const RecDatabase& db : ListRecDatabases()) {
        std::string mark;
        if (ReadDBMark(db.path, mark) != 0 || CountMissing(db, files, adoption) != 0) {
            return REC_ADOPT::FAILED;
        }
        if (!mark.empty()) {
            marks.insert(mark);
        }
    }
    if (marks.size() != 1) {
        return marks.empty() ? REC_ADOPT::UNBOUND : REC_ADOPT::MIXED;
    }
    if (ofVolume == *marks.begin()) {
        return REC_ADOPT::SAME;
    }
    adoption.hasMark = !ofVolume.empty();
    if (go && MarkVolume(*marks.begin(), ofVolume) != 0) {
        PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to mark the volume by [%s]: %m.\n",
                MarkPath().c_str());
        return REC_ADOPT::FAILED;
    }
    return REC_ADOPT::OK;
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to adopt a volume [%s].\n", error.what());
    return REC_ADOPT::FAILED;
}
