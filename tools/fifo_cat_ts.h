// SPDX-License-Identifier: Apache-2.0
// tools/fifo_cat_ts.h - vx fifo cat --ts.
#pragma once

#include <functional>

#include "stop_signal.h"

struct CatTsOptions {
    int key = 0;
    int audioKey = 0; ///< 0 = no sound
    long long count = 0;
    bool wait = false;
};

/// Muxes one or two FIFOs until a stop is asked for, `count` pictures are out, the sink refuses, or the first
/// FIFO goes: time stamps of another writer would not fit behind those that are out.
void CatTs(const CatTsOptions& options, const StopSignal& stop,
           const std::function<bool(const unsigned char* pData, std::size_t size)>& sink);
