// SPDX-License-Identifier: Apache-2.0
// bench/rivals/contender.h - what every way of moving frames between two processes offers to the harness.
// Not a base class: calls inline, and each contender may do its best.
//
//   explicit X(const Setup&)              in the parent, before it forks
//   ~X()                                  in the parent, after both have ended: names are removed
//   static constexpr bool OWN_THREADS     it works with threads of its own: not bound to one processor
//   static const char* Missing()          why it cannot run here; null when it can
//   int  OpenWriter(); void CloseWriter() in the writer process; 0 or -1
//   int  OpenReader(); void CloseReader() in the reader process, once the writer is open
//   bool WriterConnected()                a reader is there (waited for before the first frame)
//   int  Publish(data, size)              waits while the reader is too far behind; 0 or -1
//   bool Receive(onFrame)                 one try or one wait; true when onFrame(data, size) was called
#pragma once

#include <cstddef>

#include "support/processes.h"

/// What a contender is told: the frame size, how many frames may be under way, and the page for
/// acknowledgements.
struct Setup {
    std::size_t frameSize;
    unsigned depth; ///< slots, chunks or messages that may wait
    RunPage* page;
};
