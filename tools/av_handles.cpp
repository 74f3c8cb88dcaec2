// SPDX-License-Identifier: Apache-2.0
// tools/av_handles.cpp - how loud the media library may be.
#include "av_handles.h"

#include <cstdlib>

extern "C" {
#include <libavutil/log.h>
}

void QuietAvLog()
{
    const char* const pLevel = std::getenv("VX_AV_LOG");
    av_log_set_level(pLevel != nullptr ? std::atoi(pLevel) : AV_LOG_FATAL);
}
