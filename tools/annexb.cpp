// SPDX-License-Identifier: Apache-2.0
// tools/annexb.cpp - parameter sets in a video frame with start codes.
#include "annexb.h"

#include <algorithm>
#include <span>

namespace {

using Bytes = std::span<const unsigned char>;

constexpr int H264_SLICE_FIRST = 1;
constexpr int H264_SLICE_LAST = 5;
constexpr int H264_SPS = 7;
constexpr int H264_PPS = 8;
constexpr int H265_SLICE_LAST = 31;
constexpr int H265_VPS = 32;
constexpr int H265_PPS = 34;

/// What stands before the slices of a frame. The slices are not searched: they are most of it.
struct Prefix {
    struct Unit {
        Bytes payload;
        bool isParameterSet = false;
    };

    std::vector<Unit> units;
    std::size_t size = 0;  ///< bytes before the first slice's start code
    bool complete = false; ///< there is a parameter set of each kind
};

/// Position of the next start code's three bytes at or after `from`; the size if there is none.
std::size_t NextStart(Bytes data, std::size_t from)
{
    for (std::size_t i = from; i + 3 <= data.size(); ++i) {
        if (data[i] == 0 && data[i + 1] == 0 && data[i + 2] == 1) {
            return i;
        }
    }
    return data.size();
}

int TypeOf(VideoCodec codec, unsigned char first)
{
    return codec == VideoCodec::H264 ? first & 0x1F : (first >> 1) & 0x3F;
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

Prefix ReadPrefix(VideoCodec codec, Bytes data)
{
    Prefix prefix;
    unsigned kinds = 0;
    std::size_t start = NextStart(data, 0);
    prefix.size = start;
    while (start + 3 < data.size()) {
        const int type = TypeOf(codec, data[start + 3]);
        if (IsSlice(codec, type)) {
            break;
        }
        const std::size_t next = NextStart(data, start + 3);
        std::size_t end = next;
        while (end > start + 3 && data[end - 1] == 0) {
            --end; // trailing zeros belong to the next start code
        }
        const bool isSet = IsParameterSet(codec, type);
        kinds |= isSet ? 1u << (type & 7) : 0u;
        prefix.units.push_back({data.subspan(start + 3, end - start - 3), isSet});
        prefix.size = start = next;
    }
    prefix.complete = kinds == AllKinds(codec);
    return prefix;
}

void Append(std::vector<unsigned char>& out, Bytes payload)
{
    out.insert(out.end(), {0, 0, 1});
    out.insert(out.end(), payload.begin(), payload.end());
}

bool Same(Bytes a, Bytes b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end());
}

} // namespace

std::vector<unsigned char> ParameterSets(VideoCodec codec, const unsigned char* pData, std::size_t size)
{
    const Prefix prefix = ReadPrefix(codec, Bytes(pData, size));
    std::vector<unsigned char> sets;
    std::vector<Bytes> seen;
    for (const Prefix::Unit& unit : prefix.units) {
        const bool known =
            std::any_of(seen.begin(), seen.end(), [&](Bytes other) { return Same(unit.payload, other); });
        if (prefix.complete && unit.isParameterSet && !known) {
            seen.push_back(unit.payload);
            sets.push_back(0); // the longer start code, which is asked for before parameter sets
            Append(sets, unit.payload);
        }
    }
    return sets;
}

std::size_t DropParameterSets(VideoCodec codec, unsigned char* pData, std::size_t size)
{
    const Prefix prefix = ReadPrefix(codec, Bytes(pData, size));
    if (!prefix.complete) {
        return 0;
    }
    std::vector<unsigned char> kept;
    for (const Prefix::Unit& unit : prefix.units) {
        if (!unit.isParameterSet) {
            Append(kept, unit.payload);
        }
    }
    const std::size_t dropped = prefix.size - kept.size(); // no start code is longer than it was
    std::copy(kept.begin(), kept.end(), pData + dropped);  // also nothing, from nowhere
    return dropped;
}
