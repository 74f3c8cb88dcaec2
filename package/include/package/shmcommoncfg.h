// SPDX-License-Identifier: Apache-2.0
// package/shmcommoncfg.h - the configuration that all processes of the package share in memory.
#pragma once

#include <cstddef>
#include <cstdint>

#include "package/export.h"

/// The shared record, in a file below the package's run folder that every process maps. 32-bit words; each is
/// read and written by one access.
///
///   offset field         meaning
///   0x00   magic         MAGIC once the record is complete
///   0x04   reserved      not used by this library
///   0x14   holdFrames    0: readers get frames; anything else: they get none
///   0x18   reserved      not used by this library
///   0x1C   freshMonoSec  monotonic seconds; readers get no frames when it is more than a day from now
struct ShmCommonCfg {
    static constexpr std::int32_t MAGIC = 0x31435856;

    std::int32_t magic;
    std::int32_t reserved04[4];
    std::int32_t holdFrames;
    std::int32_t reserved18;
    std::int32_t freshMonoSec;
    std::int32_t reserved20[8];
};
static_assert(offsetof(ShmCommonCfg, holdFrames) == 0x14);
static_assert(offsetof(ShmCommonCfg, freshMonoSec) == 0x1C);
static_assert(sizeof(ShmCommonCfg) == 64);

/// The record, made by whoever asks first. Its time is kept fresh by those who ask, once a minute each.
///
/// @return the mapping, valid until the process ends; null when the run folder cannot be used.
/// Cost:          a few loads, once it is mapped.
/// Thread-safety: any thread.
VX_API ShmCommonCfg* VxShmCommonCfgAt() noexcept;
