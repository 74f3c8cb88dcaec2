// SPDX-License-Identifier: Apache-2.0
// log/archivefile.cpp - writing the files of an archive.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <utility>

#include "logrot_internal.h"

namespace {

constexpr std::size_t WRITE_SIZE = 256 * 1024; ///< bytes that are kept before they are written

} // namespace

std::string Format(const char* format, ...)
{
    va_list args;
    va_list again;
    va_start(args, format);
    va_copy(again, args);
    const int size = std::vsnprintf(nullptr, 0, format, args);
    va_end(args);
    std::string text(size > 0 ? static_cast<std::size_t>(size) : 0, '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, again); // the NUL goes where the string has its own
    va_end(again);
    return text;
}

ArchiveFile::~ArchiveFile()
{
    if (m_fd >= 0) {
        ::close(m_fd);
    }
}

int ArchiveFile::Open(const std::string& path, bool isAppend) noexcept
{
    m_fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | (isAppend ? O_APPEND : O_TRUNC), 0640);
    return m_fd >= 0 ? 0 : -1;
}

int ArchiveFile::Flush(bool isAll) noexcept
{
    std::string_view rest = m_text;
    if (m_error == 0 && rest.size() < WRITE_SIZE && !isAll) {
        return 0;
    }
    while (m_error == 0 && !rest.empty()) {
        const ssize_t written = ::write(m_fd, rest.data(), rest.size());
        if (written >= 0) {
            rest.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno != EINTR) {
            m_error = errno;
        }
    }
    m_text.clear();
    errno = m_error != 0 ? m_error : errno;
    return m_error == 0 ? 0 : -1;
}

int ArchiveFile::Close() noexcept
{
    const int result = Flush(true);
    const int closed = ::close(std::exchange(m_fd, -1));
    errno = m_error != 0 ? m_error : errno;
    return result == 0 ? closed : -1;
}

int WriteArchiveFile(const std::string& path, bool isAppend, std::string_view text) noexcept
{
    ArchiveFile file;
    if (file.Open(path, isAppend) != 0) {
        return -1;
    }
    file.Text() = text;
    return file.Close();
}
