// SPDX-License-Identifier: Apache-2.0
// package/src/exechelperd.cpp - packs files into archives, by libarchive.
#include "package/exechelperd.h"

#include <archive.h>
#include <archive_entry.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <memory>
#include <vector>

#include "archivereader.h"
#include "package/fileutil.h"
#include "pkglog.h"
#include "unique_fd.h"

namespace {

constexpr std::size_t BLOCK_SIZE = 64 * 1024;

struct WriterCloser {
    void operator()(archive* pArchive) const noexcept { archive_write_free(pArchive); }
};
struct EntryCloser {
    void operator()(archive_entry* pEntry) const noexcept { archive_entry_free(pEntry); }
};
using Writer = std::unique_ptr<archive, WriterCloser>;

/// A failure of an operating system call, or of the archiver: errno tells which.
int FailOf(archive* pArchive) noexcept
{
    const int error = archive_errno(pArchive);
    errno = error > 0 ? error : EIO; // the archiver has numbers of its own below 0
    return -1;
}

std::string BaseName(const std::string& path)
{
    return path.substr(path.rfind('/') + 1);
}

std::string FolderOf(const std::string& path)
{
    const std::size_t slash = path.rfind('/');
    return slash == path.npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
}

/// The name that an archive has until it is whole.
std::string UnfinishedName(const std::string& tgzPath)
{
    return FolderOf(tgzPath) + "/." + BaseName(tgzPath) + ".part";
}

int AddContent(archive* pArchive, int fd, std::int64_t size)
{
    std::vector<char> block(BLOCK_SIZE);
    while (size > 0) {
        const ssize_t got = ::read(fd, block.data(), block.size());
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            errno = got == 0 ? EIO : errno; // shorter than it was a moment ago
            return -1;
        }
        const auto take = static_cast<std::size_t>(got < size ? got : size);
        if (archive_write_data(pArchive, block.data(), take) != static_cast<la_ssize_t>(take)) {
            return FailOf(pArchive);
        }
        size -= static_cast<std::int64_t>(take);
    }
    return 0;
}

int AddFile(archive* pArchive, const std::string& path)
{
    const UniqueFd file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat info {};
    if (!file || ::fstat(file.Get(), &info) != 0) {
        return -1;
    }
    ::posix_fadvise(file.Get(), 0, 0, POSIX_FADV_SEQUENTIAL);
    const std::unique_ptr<archive_entry, EntryCloser> entry(archive_entry_new());
    archive_entry_set_pathname(entry.get(), BaseName(path).c_str());
    archive_entry_set_size(entry.get(), info.st_size);
    archive_entry_set_filetype(entry.get(), AE_IFREG);
    archive_entry_set_perm(entry.get(), 0640);
    archive_entry_set_mtime(entry.get(), info.st_mtime, 0);
    if (archive_write_header(pArchive, entry.get()) != ARCHIVE_OK) {
        return FailOf(pArchive);
    }
    return AddContent(pArchive, file.Get(), info.st_size);
}

/// Packs the files into an open, empty file and brings it to the medium.
int Pack(int fd, const std::list<std::string>& files)
{
    const Writer writer(archive_write_new());
    archive* const pArchive = writer.get();
    if (pArchive == nullptr) {
        errno = ENOMEM;
        return -1;
    }
    archive_write_set_bytes_per_block(pArchive, static_cast<int>(BLOCK_SIZE));
    if (archive_write_set_format_pax_restricted(pArchive) != ARCHIVE_OK ||
        archive_write_add_filter_gzip(pArchive) != ARCHIVE_OK ||
        archive_write_open_fd(pArchive, fd) != ARCHIVE_OK) {
        return FailOf(pArchive);
    }
    for (const std::string& path : files) {
        if (AddFile(pArchive, path) != 0) {
            return -1;
        }
    }
    return archive_write_close(pArchive) == ARCHIVE_OK ? ::fsync(fd) : FailOf(pArchive);
}

/// Gives the file its own name unless another has it, and brings the folder to the medium.
int TakeName(const std::string& from, const std::string& to)
{
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) != 0) {
        if (errno != EINVAL && errno != ENOSYS) {
            return -1;
        }
        if (::link(from.c_str(), to.c_str()) != 0) { // a file system that cannot tell: link() never replaces
            return -1;
        }
        ::unlink(from.c_str());
    }
    if (SyncPath(FolderOf(to)) != 0) {
        const ErrnoKeeper keeper;
        ::unlink(to.c_str()); // who is told that there is none must not find one, which a power cut may take
        return -1;
    }
    return 0;
}

int MakeArchive(const std::string& tgzPath, const std::list<std::string>& files)
{
    const std::string unfinished = UnfinishedName(tgzPath);
    ::unlink(unfinished.c_str()); // what a process left that was killed
    const UniqueFd file(::open(unfinished.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0640));
    if (!file) {
        return -1;
    }
    if (Pack(file.Get(), files) == 0 && TakeName(unfinished, tgzPath) == 0) {
        return 0;
    }
    const ErrnoKeeper keeper;
    ::unlink(unfinished.c_str());
    return -1;
}

} // namespace

int ExecHelperdApi::Tar(const std::string& tgzPath, const std::list<std::string>& files) noexcept
try {
    if (MakeArchive(tgzPath, files) == 0) {
        return 0;
    }
    PKG_LOG(LOG_CATEG_LOG_SEND, LOG_LEVEL_ERR, "Failed to pack %zu files into [%s] [%m].\n", files.size(),
            tgzPath.c_str());
    return -1;
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_LOG_SEND, LOG_LEVEL_ERR, "Failed to pack into [%s] [%s].\n", tgzPath.c_str(),
            error.what());
    return -1;
}

int ExecHelperdApi::ReadTar(const std::string& tgzPath,
                            const std::function<bool(const ArchiveEntry& entry)>& wanted,
                            const std::function<bool(std::string_view bytes)>& content) noexcept
{
    return ReadArchive(ArchiveKind::TAR_GZIP, tgzPath, wanted, content);
}
