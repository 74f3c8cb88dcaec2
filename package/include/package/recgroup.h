// SPDX-License-Identifier: Apache-2.0
// package/recgroup.h - the recording groups of a camera.
#pragma once

/// Recording groups of a camera; each has limits, and a decision to record, of its own. The number is stored with
/// every event.
enum CAM_REC_GROUP : int {
    CAM_REC_GROUP_CONTINUOUS = 0, ///< what is recorded all the time
    CAM_REC_GROUP_EVENT = 1,      ///< what a rule or a person asked to record
    CAM_REC_GROUP_COUNT = 2,
};
