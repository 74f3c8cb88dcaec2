// SPDX-License-Identifier: Apache-2.0
// utils/shm_copy.h - copies a frame into a slot as fast as the processor can.
#pragma once

#include <cstddef>

/// Copies like memcpy, past the caches where that is faster: for large frames, and for those that a reader on another
/// processor takes out of the writer's cache. All bytes are in order before anything that the caller stores afterwards.
void ShmCopyIn(unsigned char* dst, const unsigned char* src, std::size_t size) noexcept;
