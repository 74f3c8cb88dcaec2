// SPDX-License-Identifier: Apache-2.0
// utils/shm_copy.h - copies a frame into a slot as fast as the processor can.
#pragma once

#include <cstddef>

/// Copies like memcpy. Large frames go past the cache, so that they do not push everything else out of it;
/// all bytes are in order before anything that the caller stores afterwards.
void ShmCopyIn(unsigned char* dst, const unsigned char* src, std::size_t size) noexcept;
