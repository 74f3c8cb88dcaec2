// SPDX-License-Identifier: Apache-2.0
// tools/sysv_shm.h - what the kernel says about System V segments and about who holds them.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// One line of /proc/sysvipc/shm.
struct ShmRow {
    int key = 0;
    int shmId = -1;
    unsigned mode = 0; ///< permission bits and the kernel's "will be destroyed" bit
    std::uint64_t bytes = 0;
    std::uint64_t residentBytes = 0;
    pid_t creator = 0;
    int attached = 0; ///< mappings, of whatever processes
    unsigned uid = 0;
    long long changedSec = 0; ///< wall clock; creation, unless owner or mode were changed later
};

/// Parses the text of /proc/sysvipc/shm; a line that it cannot read is left out.
std::vector<ShmRow> ParseShmTable(const std::string& text);

/// @return every segment of this box that still has its key, in the kernel's order; empty if the kernel's
/// list cannot be read.
std::vector<ShmRow> ListShm();

/// @return the row with that key, or null.
const ShmRow* FindKey(const std::vector<ShmRow>& rows, int key);

/// @return the id of the segment that is under the key now; -1 if there is none, or none for us.
int ShmIdUnder(int key);

/// One process that has a segment mapped.
struct ShmHolder {
    pid_t pid = 0;
    std::string name; ///< as the kernel shortens it
};

/// Who has this segment mapped, among the processes whose maps this user may read (root: all). The caller
/// itself is left out.
std::vector<ShmHolder> HoldersOf(int shmId);

/// Copies the first bytes of a segment, attached for reading only and for that moment.
/// @return false if the segment is shorter, gone, or not ours to read.
bool PeekSegment(int shmId, void* into, std::size_t size);

/// Tells readers that still have the header of a FIFO that its writer is gone, so that they come to the next
/// one. A segment that is not as long as a header of this build is left alone.
void CloseForReaders(const ShmRow& header);

/// Removes one segment for everybody who comes later; who has it mapped keeps the mapping.
/// @return false, with errno set, if it is still there.
bool RemoveShm(int shmId);

/// Does the process that made the segment still run? A process that started after the segment was made got
/// the number of a dead one, so it does not count.
bool CreatorAlive(const ShmRow& row);
