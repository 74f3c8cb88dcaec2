// SPDX-License-Identifier: Apache-2.0
// tools/record_frame.h - what the reading side of vx record hands to its writing side.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "av_handles.h"

/// What a FIFO said about its stream when a frame was read.
struct StreamFormat {
    std::string codec;
    std::vector<unsigned char> extra; ///< video: parameter sets; audio: the decoder configuration alone
    int width = 0;
    int height = 0;
    int sampleRate = 0;
    int channels = 0;

    bool operator==(const StreamFormat&) const = default;
};

/// One frame, copied out of its slot.
struct RecordFrame {
    AvPacket packet;
    std::shared_ptr<const StreamFormat> format;
    bool isVideo = false;
    bool key = false;
    bool afterGap = false; ///< frames are missing before it
    int epoch = 0; ///< +1 each time the FIFO was attached: time stamps of two epochs have nothing in common
    long long ptsUs = 0;
    long long wallSec = 0; ///< seconds since 1970 at which it was read
};
