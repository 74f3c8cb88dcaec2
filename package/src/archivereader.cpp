// SPDX-License-Identifier: Apache-2.0
// package/src/archivereader.cpp - reads archives, by libarchive.
#include "archivereader.h"

#include <archive.h>
#include <archive_entry.h>

#include <exception>
#include <memory>
#include <vector>

#include "pkglog.h"

namespace {

constexpr std::size_t BLOCK_SIZE = 64 * 1024;

struct ReaderCloser {
    void operator()(archive* pArchive) const noexcept { archive_read_free(pArchive); }
};
using Reader = std::unique_ptr<archive, ReaderCloser>;

void Support(archive* pArchive, ArchiveKind kind) noexcept
{
    if (kind == ArchiveKind::ZIP) {
        archive_read_support_format_zip(pArchive);
        return;
    }
    archive_read_support_filter_gzip(pArchive);
    archive_read_support_format_tar(pArchive);
}

/// @return whether it could be read until its end, or until `content` had enough.
bool ReadEntries(archive* pArchive, const std::function<bool(const ArchiveEntry& entry)>& wanted,
                 const std::function<bool(std::string_view bytes)>& content)
{
    std::vector<char> block(BLOCK_SIZE);
    archive_entry* pEntry = nullptr;
    int code = ARCHIVE_OK;
    while ((code = archive_read_next_header(pArchive, &pEntry)) == ARCHIVE_OK) {
        const char* const name = archive_entry_pathname(pEntry);
        if (!wanted({name != nullptr ? name : "", archive_entry_size(pEntry), archive_entry_mtime(pEntry)})) {
            continue;
        }
        la_ssize_t got = 0;
        while ((got = archive_read_data(pArchive, block.data(), block.size())) > 0) {
            if (!content({block.data(), static_cast<std::size_t>(got)})) {
                return true;
            }
        }
        if (got < 0) {
            return false;
        }
    }
    return code == ARCHIVE_EOF;
}

int Refuse(const std::string& path, const char* why) noexcept
{
    PKG_LOG(LOG_CATEG_LOG_SEND, LOG_LEVEL_ERR, "Failed to read archive [%s] [%s].\n", path.c_str(),
            why != nullptr ? why : "");
    return -1;
}

} // namespace

int ReadArchive(ArchiveKind kind, const std::string& path,
                const std::function<bool(const ArchiveEntry& entry)>& wanted,
                const std::function<bool(std::string_view bytes)>& content) noexcept
try {
    const Reader reader(archive_read_new());
    if (reader == nullptr) {
        return Refuse(path, "no memory");
    }
    Support(reader.get(), kind);
    if (archive_read_open_filename(reader.get(), path.c_str(), BLOCK_SIZE) == ARCHIVE_OK &&
        ReadEntries(reader.get(), wanted, content)) {
        return 0;
    }
    return Refuse(path, archive_error_string(reader.get()));
} catch (const std::exception& error) {
    return Refuse(path, error.what());
}
