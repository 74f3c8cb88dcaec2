// SPDX-License-Identifier: Apache-2.0
// tools/fifo_keys.cpp - looks at the IPC keys of a FIFO before it is made.
#include "fifo_keys.h"

#include <sys/shm.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <vector>

#include "shmfifo.h"

namespace {

std::string Name(int key)
{
    return "key " + std::to_string(key);
}

/// A header is known by its length alone: what it says may have been scribbled over.
bool IsHeader(const ShmRow& row)
{
    return row.bytes == sizeof(ShmStreamFifo);
}

bool IsSlot(const ShmRow& row, int index, const ShmRow* pHeader)
{
    if (pHeader != nullptr && IsHeader(*pHeader) && pHeader->creator == row.creator) {
        return true;
    }
    DataEntry entry{};
    return row.bytes > sizeof entry && PeekSegment(row.shmId, &entry, sizeof entry) && entry.index == index &&
           row.bytes == sizeof entry + static_cast<std::uint64_t>(entry.capacity);
}

Trouble Refuse(const FifoPlan& plan, int key, const std::string& why)
{
    const std::string used = key == plan.key
                                 ? ""
                                 : " (one of the " + std::to_string(SHM_FIFO_MAX_COUNT) + " behind " +
                                       plan.option + " " + std::to_string(plan.key) + ")";
    return {EXIT_REFUSED, plan.option + ": " + Name(key) + used + " " + why};
}

Trouble CheckSegment(const FifoPlan& plan, const ShmRow& row, const ShmRow* pHeader)
{
    const uid_t self = ::geteuid();
    if (self != 0 && row.uid != self) {
        return Refuse(plan, row.key,
                      "is held by a segment of user " + std::to_string(row.uid) +
                          "; choose another key, or have that user remove it (ipcrm -m " +
                          std::to_string(row.shmId) + ")");
    }
    if (row.key == plan.key ? !IsHeader(row) : !IsSlot(row, row.key - plan.key - 1, pHeader)) {
        return Refuse(plan, row.key,
                      "is held by a segment of " + std::to_string(row.bytes) +
                          " bytes that is no part of this FIFO; choose another key, or remove it (ipcrm -m " +
                          std::to_string(row.shmId) + ")");
    }
    if (CreatorAlive(row)) {
        return Refuse(plan, row.key,
                      "is written by process " + std::to_string(row.creator) +
                          "; stop it first, or choose another key");
    }
    return {};
}

Trouble OverLimit(const FifoPlan& plan, const std::string& what, const std::string& sysctl)
{
    return {EXIT_UNREACHABLE, plan.option + " " + std::to_string(plan.key) + ": the kernel's limit of " +
                                  what +
                                  " is reached; remove leftovers (vx fifo ls), use fewer or smaller slots, "
                                  "or raise it (sysctl -w " +
                                  sysctl + ")"};
}

Trouble CheckLimits(const FifoPlan& plan)
{
    struct shminfo limits = {};
    struct shm_info used = {};
    if (::shmctl(0, IPC_INFO, reinterpret_cast<struct shmid_ds*>(&limits)) < 0 ||
        ::shmctl(0, SHM_INFO, reinterpret_cast<struct shmid_ds*>(&used)) < 0) {
        return {}; // a kernel that does not say is tried
    }
    const auto segments = static_cast<unsigned long>(plan.slots) + 1;
    const auto entryBytes = static_cast<unsigned long>(plan.entrySize) + sizeof(DataEntry);
    const auto page = static_cast<unsigned long>(::sysconf(_SC_PAGESIZE));
    const unsigned long pages = static_cast<unsigned long>(plan.slots) * ((entryBytes + page - 1) / page) +
                                (sizeof(ShmStreamFifo) + page - 1) / page;
    if (static_cast<unsigned long>(used.used_ids) + segments > limits.shmmni) {
        return OverLimit(plan, std::to_string(limits.shmmni) + " segments", "kernel.shmmni=N");
    }
    if (entryBytes > limits.shmmax) {
        return OverLimit(plan, std::to_string(limits.shmmax) + " bytes in a segment", "kernel.shmmax=BYTES");
    }
    if (limits.shmall < ULONG_MAX - pages && used.shm_tot + pages > limits.shmall) {
        return OverLimit(plan, std::to_string(limits.shmall) + " pages of shared memory",
                         "kernel.shmall=PAGES");
    }
    return {};
}

} // namespace

bool KeysOverlap(int keyA, int keyB)
{
    const long long distance = static_cast<long long>(keyA) - keyB;
    return distance >= -SHM_FIFO_MAX_COUNT && distance <= SHM_FIFO_MAX_COUNT;
}

Trouble CheckKeyNumber(const FifoPlan& plan)
{
    if (plan.key < 0) {
        return {EXIT_USAGE, plan.option + " " + std::to_string(plan.key) + ": a key is not negative"};
    }
    if (plan.key == IPC_PRIVATE || plan.key > INT_MAX - SHM_FIFO_MAX_COUNT) {
        return {EXIT_USAGE, plan.option + " " + std::to_string(plan.key) + ": keys are 1.." +
                                std::to_string(INT_MAX - SHM_FIFO_MAX_COUNT) +
                                ", since the 30 behind are used too"};
    }
    return {};
}

Trouble PrepareKeys(const FifoPlan& plan)
{
    std::vector<ShmRow> leftovers;
    const std::vector<ShmRow> rows = ListShm();
    for (const ShmRow& row : rows) {
        if (row.key < plan.key || row.key > plan.key + SHM_FIFO_MAX_COUNT) {
            continue;
        }
        if (Trouble trouble = CheckSegment(plan, row, FindKey(rows, plan.key))) {
            return trouble;
        }
        leftovers.push_back(row);
    }
    for (const ShmRow& row : leftovers) {
        if (row.key == plan.key) {
            CloseForReaders(row);
        }
        if (!RemoveShm(row.shmId)) {
            return Refuse(plan, row.key,
                          std::string("is held by a leftover that cannot be removed: ") +
                              std::strerror(errno));
        }
    }
    return CheckLimits(plan);
}

Trouble ExplainFailure(const FifoPlan& plan)
{
    if (Trouble trouble = PrepareKeys(plan)) {
        return trouble;
    }
    return {EXIT_UNREACHABLE,
            plan.option + " " + std::to_string(plan.key) +
                ": the shared memory could not be had; the log says what the kernel answered (vx log tail), "
                "the limits are in sysctl kernel.shmmni, shmmax, shmall"};
}
