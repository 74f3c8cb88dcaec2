// SPDX-License-Identifier: Apache-2.0
// tools/decode_clock.cpp - decoding times for pictures of which only the presentation times are known.
#include "decode_clock.h"

#include <algorithm>

namespace {

constexpr std::size_t LEARNING_PICTURES = 5; ///< what is looked at where the stream announces no depth

/// The most pictures that stand before one in decoding order and behind it in presentation order.
std::size_t DepthSeen(const std::vector<long long>& pts)
{
    std::size_t depth = 0;
    for (std::size_t i = 0; i < pts.size(); ++i) {
        const auto end = pts.begin() + static_cast<std::ptrdiff_t>(i);
        const auto later = std::count_if(pts.begin(), end, [&](long long other) { return other > pts[i]; });
        depth = std::max(depth, static_cast<std::size_t>(later));
    }
    return depth;
}

} // namespace

std::size_t DecodeClock::PicturesToPrime(int announcedDepth)
{
    return std::max(LEARNING_PICTURES, static_cast<std::size_t>(std::max(announcedDepth, 0)) + 2);
}

std::vector<long long> DecodeClock::Prime(const std::vector<long long>& pts, int announcedDepth)
{
    const std::size_t depth = std::max(DepthSeen(pts), static_cast<std::size_t>(std::max(announcedDepth, 0)));
    m_waiting.assign(pts.begin(), pts.end());
    std::sort(m_waiting.begin(), m_waiting.end());
    if (m_waiting.empty()) {
        return {};
    }
    const long long first = m_waiting.front();
    const long long step = m_waiting.size() > 1 ? std::max(m_waiting[1] - first, 1LL) : 1;
    for (std::size_t i = 1; i <= depth; ++i) {
        m_waiting.push_front(first - static_cast<long long>(i) * step);
    }
    m_last = m_waiting.front() - 1;
    std::vector<long long> dts;
    for (std::size_t i = 0; i < pts.size(); ++i) {
        dts.push_back(Take()); // not behind pts[i]: at most `depth` of those before it are shown after it
    }
    return dts;
}

long long DecodeClock::Next(long long pts)
{
    m_waiting.insert(std::upper_bound(m_waiting.begin(), m_waiting.end(), pts), pts);
    return Take();
}

long long DecodeClock::Take()
{
    m_last = std::max(m_waiting.front(), m_last + 1);
    m_waiting.pop_front();
    return m_last;
}
