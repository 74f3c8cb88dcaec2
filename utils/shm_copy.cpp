// SPDX-License-Identifier: Apache-2.0
// utils/shm_copy.cpp - see utils/shm_copy.h.
#include "shm_copy.h"

#include <cstring>

void ShmCopyIn(unsigned char* dst, const unsigned char* src, std::size_t size) noexcept
{
    std::memcpy(dst, src, size);
}
