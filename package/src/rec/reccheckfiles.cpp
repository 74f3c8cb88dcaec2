// SPDX-License-Identifier: Apache-2.0
// package/src/rec/reccheckfiles.cpp - which files under rec/ no row names, and what becomes of them.
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <ctime>
#include <memory>
#include <optional>
#include <string_view>

#include "package/alertevent.h"
#include "package/ivaevent.h"
#include "package/monoclock.h"
#include "package/recorder.h"
#include "package/recsweep.h"
#include "pkglog.h"
#include "reccheck_internal.h"
#include "recrows_internal.h"

namespace {

constexpr std::time_t UNBORN_SEC = 10; ///< an empty file this young may be getting its row right now

struct FolderCloser {
    void operator()(DIR* pFolder) const noexcept { ::closedir(pFolder); }
};

/// Takes a number that is a whole part of a path.
std::optional<int> TakeNumber(std::string_view& rest)
{
    int number = 0;
    const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), number);
    const auto length = static_cast<std::size_t>(end - rest.data());
    if (error != std::errc() || length >= rest.size() || rest[length] != '/' || number < 0) {
        return std::nullopt;
    }
    rest.remove_prefix(length + 1);
    return number;
}

/// The UTC time that a name begins with; else the file's own.
std::int64_t StartOf(const std::string& path, const struct stat& info)
{
    std::tm utc{};
    const char* const end = ::strptime(GetBaseName(path).c_str(), "%Y%m%dT%H%M%SZ", &utc);
    return end != nullptr ? static_cast<std::int64_t>(::timegm(&utc)) : info.st_mtim.tv_sec;
}

/// The record that a stray file is, by the folder that it lies in: CAMERA/GROUP/..., arch/TASK/...,
/// lapse/TASK/..., iva/TASK/..., face/TASK/..., alert/DEVICE/...
class Foundling {
public:
    Foundling(const std::string& path, const struct stat& info)
    {
        std::string_view rest = path;
        if (const std::optional<int> camId = TakeNumber(rest)) {
            if (const std::optional<int> group = TakeNumber(rest); group && *camId > 0) {
                Make<Event>(*camId, *group);
            }
        } else if (const std::size_t slash = rest.find('/'); slash != std::string_view::npos) {
            const std::string_view folder = rest.substr(0, slash);
            rest.remove_prefix(slash + 1);
            const std::optional<int> owner = TakeNumber(rest);
            if (owner && *owner > 0) {
                MakeOf(folder, *owner);
            }
        }
        if (m_pRecord) {
            const std::int64_t start = StartOf(path, info);
            m_pRecord->SetTimes(start, info.st_mtim.tv_sec > start ? info.st_mtim.tv_sec : start);
            m_pRecord->SetSize(info.st_size);
            m_pRecord->SetPath(path);
        }
    }

    explicit operator bool() const noexcept { return m_pRecord != nullptr; }
    bool Adopt() const { return AddRecord(*m_pRecord, m_archTaskId) == 0; }

private:
    template <typename Record>
    void Make(int owner, int group = 0)
    {
        m_pRecord = std::make_unique<Record>();
        m_pRecord->SetOwner(owner, group);
    }
    void MakeOf(std::string_view folder, int owner)
    {
        if (folder == "arch") {
            m_archTaskId = owner;
            Make<Event>(owner);
        } else if (folder == "lapse") {
            Make<LapseRecording>(owner);
        } else if (folder == "iva") {
            Make<IVAEvent>(owner);
        } else if (folder == "face") {
            Make<FaceEvent>(owner);
        } else if (folder == "alert") {
            Make<AlertEvent>(owner);
        }
    }

    std::unique_ptr<Event> m_pRecord;
    int m_archTaskId = 0;
};

} // namespace

int RecChecker::CheckFiles()
{
    const int root = ::fcntl(m_files.Fd(), F_DUPFD_CLOEXEC, 0);
    if (root < 0 || WalkFolder(root, "") != 0) {
        PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to read the folder of recordings: %m.\n");
        return -1;
    }
    m_files.Settle();
    return 0;
}

/// @param folderFd  owned from here on
int RecChecker::WalkFolder(int folderFd, const std::string& prefix)
{
    const std::unique_ptr<DIR, FolderCloser> pFolder(::fdopendir(folderFd));
    if (!pFolder) {
        ::close(folderFd);
        return -1;
    }
    ::rewinddir(pFolder.get()); // the descriptor may share its place with one that was read before
    std::vector<std::string> folders;
    errno = 0;
    while (const dirent* const pEntry = ::readdir(pFolder.get())) {
        const std::string name = pEntry->d_name;
        struct stat info {};
        if (name == "." || name == ".." ||
            (prefix.empty() && (name.front() == '.' || name == "lost+found")) ||
            ::fstatat(folderFd, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0) {
            continue; // ours, the file system's, or gone meanwhile
        }
        if (S_ISDIR(info.st_mode)) {
            folders.push_back(name);
        } else {
            CheckEntry(info, prefix + name);
        }
    }
    for (const std::string& name : folders) {
        const int inner = ::openat(folderFd, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (inner < 0 && errno != ENOENT) {
            Report(1, prefix + name, "the folder cannot be read", "", nullptr);
        } else if (inner >= 0 && WalkFolder(inner, prefix + name + "/") != 0) {
            return -1;
        }
    }
    return 0;
}

void RecChecker::CheckEntry(const struct stat& info, const std::string& path)
{
    if (!S_ISREG(info.st_mode)) {
        Report(1, path, S_ISLNK(info.st_mode) ? "it is a link; nothing follows it" : "it is no plain file",
               "", nullptr);
        return;
    }
    ++m_counts.files;
    if (!m_named.Has(path)) {
        CheckStray(path, info);
    }
}

/// A row may have come since the rows were read; the databases are asked once more.
void RecChecker::CheckStray(const std::string& path, const struct stat& info)
{
    if (!RecFiles::IsInside(path)) {
        Report(1, path, "its name, or that of its folder, begins with a dot: no row may name it", "",
               nullptr);
        return;
    }
    for (const RecDatabase& db : ListRecDatabases()) {
        RecRows rows;
        if (rows.Load(db.path, std::string("SELECT id FROM ") + RecTableOf(db.kind).table +
                                   " WHERE path <> '' AND path = " + VxDB::QuoteEscape(path)) != 0 ||
            rows.Next()) {
            return;
        }
    }
    if (info.st_size == 0) {
        if (GetWallTimeSec() - info.st_mtim.tv_sec >= UNBORN_SEC || info.st_mtim.tv_sec > GetWallTimeSec()) {
            Report(3, path, "it is empty and no row names it", "the file is removed",
                   [&] { return m_files.Unlink(path) == REC_FILE::OK; });
        }
        return;
    }
    const Foundling foundling(path, info);
    if (!foundling) {
        Report(1, path, "no row names it, and its place does not tell whose it is", "", nullptr);
        return;
    }
    Report(1, path, "no row names it", "it gets a row", [&] { return foundling.Adopt(); });
}
