// SPDX-License-Identifier: Apache-2.0
// tools/annexb.cpp - parameter sets in a video frame with start codes.
#include "annexb.h"

#include <algorithm>
#include <span>

namespace {

using Unit = std::span<const unsigned char>;

constexpr int H264_SLICE_FIRST = 1;
constexpr int H264_SLICE_LAST = 5;
constexpr int H264_SPS = 7;
constexpr int H264_PPS = 8;
constexpr int H265_SLICE_LAST = 31;
constexpr int H265_VPS = 32;
constexpr int H265_PPS = 34;

/// Position behind the next start code at or after `from`; the size if there is none.
std::size_t NextStart(Unit data, std::size_t from)
{
    for (std::size_t i = from; i + 3 <= data.size(); ++i) {
        if (data[i] == 0 && data[i + 1] == 0 && data[i + 2] == 1) {
            return i + 3;
        }
    }
    return data.size();
}

int TypeOf(VideoCodec codec, Unit unit)
{
    return codec == VideoCodec::H264 ? unit[0] & 0x1F : (unit[0] >> 1) & 0x3F;
}

bool IsParameterSet(VideoCodec codec, int type)
{
    return codec == VideoCodec::H264 ? type == H264_SPS || type == H264_PPS
                                     : type >= H265_VPS && type <= H265_PPS;
}

bool IsSlice(VideoCodec codec, int type)
{
    return codec == VideoCodec::H264 ? type >= H264_SLICE_FIRST && type <= H264_SLICE_LAST
                                     : type <= H265_SLICE_LAST;
}

/// One bit for each kind of parameter set, at the low three bits of its type.
unsigned AllKinds(VideoCodec codec)
{
    return codec == VideoCodec::H264 ? 1u << (H264_SPS & 7) | 1u << (H264_PPS & 7) : 7u;
}

} // namespace

std::vector<unsigned char> ParameterSets(VideoCodec codec, const unsigned char* pData, std::size_t size)
{
    const Unit data(pData, size);
    std::vector<unsigned char> sets;
    std::vector<Unit> seen;
    unsigned kinds = 0;
    std::size_t begin = NextStart(data, 0);
    while (begin < data.size()) {
        const int type = TypeOf(codec, data.subspan(begin));
        if (IsSlice(codec, type)) {
            break; // parameter sets of a picture stand before its slices; the rest of a large frame is not
                   // searched
        }
        const std::size_t next = NextStart(data, begin);
        std::size_t end = next == data.size() ? next : next - 3;
        while (end > begin && data[end - 1] == 0) {
            --end; // trailing zeros belong to the next start code
        }
        const Unit unit = data.subspan(begin, end - begin);
        const bool known = std::any_of(seen.begin(), seen.end(), [unit](Unit other) {
            return std::equal(unit.begin(), unit.end(), other.begin(), other.end());
        });
        if (!unit.empty() && IsParameterSet(codec, type) && !known) {
            seen.push_back(unit);
            kinds |= 1u << (type & 7);
            sets.insert(sets.end(), {0, 0, 0, 1});
            sets.insert(sets.end(), unit.begin(), unit.end());
        }
        begin = next;
    }
    return kinds == AllKinds(codec) ? sets : std::vector<unsigned char>();
}
