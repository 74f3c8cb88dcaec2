// SPDX-License-Identifier: Apache-2.0
// tools/decode_clock.h - decoding times for pictures of which only the presentation times are known.
#pragma once

#include <cstddef>
#include <deque>
#include <vector>

/// A FIFO carries pictures in decoding order with their presentation times; a file needs a decoding time for
/// each too: growing, and never behind the presentation. With a reorder depth of D, picture number i is
/// decoded when the picture that is (i - D)th in presentation order is shown; the first D lie before the
/// first presentation, at its distance.
///
/// Give the first pictures with Prime(), then each further one with Next(). Values are in any one unit.
class DecodeClock {
public:
    /// How many pictures should be collected before Prime(), for a depth that the stream announces (0: none,
    /// or not announced; the depth is then learned from the pictures).
    static std::size_t PicturesToPrime(int announcedDepth);

    /// Starts with the presentation times of the first pictures (all of them, if the stream is that short).
    /// @return their decoding times.
    std::vector<long long> Prime(const std::vector<long long>& pts, int announcedDepth);

    /// @return the decoding time of the next picture, above the one before.
    long long Next(long long pts);

private:
    long long Take();

    std::deque<long long> m_waiting; ///< presentation times not used as decoding times yet, ascending
    long long m_last = 0;
};
