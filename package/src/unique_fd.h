// SPDX-License-Identifier: Apache-2.0
// package/src/unique_fd.h - one file descriptor with an owner.
#pragma once

#include <unistd.h>

#include <utility>

/// Owns a descriptor, or none (-1). close() is never tried twice: the number may be another's by then.
class UniqueFd {
public:
    UniqueFd() noexcept = default;
    explicit UniqueFd(int fd) noexcept : m_fd(fd) {}
    ~UniqueFd()
    {
        if (m_fd >= 0) {
            ::close(m_fd);
        }
    }
    UniqueFd(UniqueFd&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept
    {
        std::swap(m_fd, other.m_fd);
        return *this;
    }
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;

    [[nodiscard]] int Get() const noexcept { return m_fd; }
    [[nodiscard]] int Release() noexcept { return std::exchange(m_fd, -1); }
    explicit operator bool() const noexcept { return m_fd >= 0; }

private:
    int m_fd = -1;
};
