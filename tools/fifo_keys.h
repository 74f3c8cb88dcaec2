// SPDX-License-Identifier: Apache-2.0
// tools/fifo_keys.h - looks at the IPC keys of a FIFO before it is made. The library removes what lies under
// them and tries without limit; so the program looks first, and refuses where that would hurt or hang.
#pragma once

#include <string>

#include "sysv_shm.h"
#include "trouble.h"

/// What a FIFO is to be made of.
struct FifoPlan {
    std::string option; ///< the option that named the key, for messages
    int key = -1;
    int entrySize = 0;
    int slots = 0;
};

/// Whether two FIFOs would use the same keys (each uses its own and the 30 behind it).
bool KeysOverlap(int keyA, int keyB);

/// Judges one key number by itself.
Trouble CheckKeyNumber(const FifoPlan& plan);

/// Looks at everything under a FIFO's keys, removes the remains of a dead process's FIFO, and compares what
/// is needed with the kernel's limits. @return trouble if the FIFO must not or cannot be made.
Trouble PrepareKeys(const FifoPlan& plan);

/// Why a FIFO that was prepared could not be made after all; reads the kernel's limits again.
Trouble ExplainFailure(const FifoPlan& plan);
