// SPDX-License-Identifier: Apache-2.0
// tools/annexb.h - parameter sets in a video frame with start codes.
#pragma once

#include <cstddef>
#include <vector>

enum class VideoCodec { H264, H265 };

/// The parameter sets of a frame (VPS, SPS, PPS in their order), each behind a four-byte start code; empty if
/// it has lacks one of the kinds (a decoder cannot start from it then). Sets that occur twice are taken once.
std::vector<unsigned char> ParameterSets(VideoCodec codec, const unsigned char* pData, std::size_t size);

/// Takes the parameter sets out of a frame, for a container that has them in its header. What stands before
/// the slices besides them is moved up to the slices.
/// @return how many bytes the frame now starts later; 0 if ParameterSets() would have been empty.
std::size_t DropParameterSets(VideoCodec codec, unsigned char* pData, std::size_t size);
