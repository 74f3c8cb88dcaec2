// SPDX-License-Identifier: Apache-2.0
// package/src/rec/recfiles.cpp - files under rec/, reached by their names without ever leaving it.
#include "recfiles_internal.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>

#include "package/root.h"

namespace {

constexpr int FOLDER_FLAGS = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
constexpr int MAKE_TRIES = 100; ///< a folder may be removed as empty between its making and its first file

std::string FolderOf(const std::string& path)
{
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

std::string NameOf(const std::string& path)
{
    return path.substr(path.rfind('/') + 1);
}

/// Takes the first part off a path.
std::string TakePart(std::string_view& rest)
{
    const std::size_t slash = rest.find('/');
    std::string part(rest.substr(0, slash));
    rest = slash == std::string_view::npos ? std::string_view() : rest.substr(slash + 1);
    return part;
}

REC_FILE OutcomeOf(int error) noexcept
{
    switch (error) {
    case ENOENT:
        return REC_FILE::GONE;
    case ELOOP:
    case ENOTDIR:
    case EISDIR:
    case ENAMETOOLONG:
        return REC_FILE::REFUSED;
    default:
        return REC_FILE::FAILED;
    }
}

} // namespace

bool RecFiles::IsInside(const std::string& path) noexcept
{
    if (path.empty() || path.back() == '/' || path.find('\0') != std::string::npos) {
        return false;
    }
    for (std::string_view rest = path;;) {
        const std::string_view part = rest.substr(0, rest.find('/'));
        if (part.empty() || part.front() == '.') {
            return false;
        }
        if (part.size() == rest.size()) {
            return true;
        }
        rest.remove_prefix(part.size() + 1);
    }
}

int RecFiles::Open()
{
    const std::string path = GetPackageDir(PackageDir::REC);
    m_root = UniqueFd(path.empty() ? -1 : ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    m_folderIsOpen = false;
    return m_root.Get() >= 0 ? 0 : -1;
}

REC_FILE RecFiles::EnterFolder(const std::string& folder)
{
    if (m_folderIsOpen && folder == m_folderName) {
        return REC_FILE::OK;
    }
    m_folderIsOpen = false;
    m_folder = UniqueFd(::fcntl(m_root.Get(), F_DUPFD_CLOEXEC, 0));
    for (std::string_view rest = folder; !rest.empty();) {
        const std::string part = TakePart(rest);
        m_folder = UniqueFd(::openat(m_folder.Get(), part.c_str(), FOLDER_FLAGS));
        if (m_folder.Get() < 0) {
            return OutcomeOf(errno);
        }
    }
    m_folderName = folder;
    m_folderIsOpen = m_folder.Get() >= 0;
    return m_folderIsOpen ? REC_FILE::OK : REC_FILE::FAILED;
}

REC_FILE RecFiles::Stat(const std::string& path, struct stat& info)
{
    if (!IsInside(path)) {
        return REC_FILE::REFUSED;
    }
    if (const REC_FILE folder = EnterFolder(FolderOf(path)); folder != REC_FILE::OK) {
        return folder;
    }
    if (::fstatat(m_folder.Get(), NameOf(path).c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0) {
        return OutcomeOf(errno);
    }
    return S_ISREG(info.st_mode) ? REC_FILE::OK : REC_FILE::REFUSED;
}

REC_FILE RecFiles::Unlink(const std::string& path)
{
    struct stat info {};
    if (const REC_FILE found = Stat(path, info); found != REC_FILE::OK) {
        return found;
    }
    if (::unlinkat(m_folder.Get(), NameOf(path).c_str(), 0) != 0) {
        return OutcomeOf(errno);
    }
    m_touched.insert(m_folderName);
    m_lastTouched = m_folderName;
    return REC_FILE::OK;
}

bool RecFiles::MayUnlinkBeside(const std::string& path)
{
    if (!IsInside(path)) {
        errno = EINVAL;
        return false;
    }
    return EnterFolder(FolderOf(path)) == REC_FILE::OK &&
           ::faccessat(m_folder.Get(), ".", W_OK | X_OK, AT_EACCESS) == 0;
}

int RecFiles::Create(const std::string& path)
{
    if (!IsInside(path)) {
        errno = EINVAL;
        return -1;
    }
    for (int tries = 0; tries < MAKE_TRIES; ++tries) {
        m_folderIsOpen = false;
        UniqueFd folder(::fcntl(m_root.Get(), F_DUPFD_CLOEXEC, 0));
        const std::string name = FolderOf(path);
        for (std::string_view rest = name; !rest.empty() && folder.Get() >= 0;) {
            const std::string part = TakePart(rest);
            if (::mkdirat(folder.Get(), part.c_str(), 0750) != 0 && errno != EEXIST && errno != ENOENT) {
                return -1;
            }
            folder = UniqueFd(::openat(folder.Get(), part.c_str(), FOLDER_FLAGS));
        }
        if (folder.Get() >= 0) {
            const int fd = ::openat(folder.Get(), NameOf(path).c_str(),
                                    O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0640);
            if (fd >= 0) {
                return fd;
            }
        }
        if (errno != ENOENT) {
            return -1;
        }
    }
    return -1;
}

void RecFiles::Settle()
{
    // The folder that was changed last stands for all: journals commit in order. Where one does not, a loss of
    // power may bring files back without rows, which a check finds.
    if (!m_touched.empty() && EnterFolder(m_lastTouched) == REC_FILE::OK) {
        static_cast<void>(::fsync(m_folder.Get()));
    }
    for (const std::string& folder : m_touched) {
        for (std::string empty = folder; !empty.empty(); empty = FolderOf(empty)) {
            m_folderIsOpen = false;
            if (EnterFolder(FolderOf(empty)) != REC_FILE::OK ||
                ::unlinkat(m_folder.Get(), NameOf(empty).c_str(), AT_REMOVEDIR) != 0) {
                break; // not empty
            }
        }
    }
    m_touched.clear();
}
