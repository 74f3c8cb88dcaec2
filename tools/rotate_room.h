// SPDX-License-Identifier: Apache-2.0
// tools/rotate_room.h - room in hand for the databases, so that a full volume can still be emptied.
#pragma once

/// Marking needs room in a database, and even reading needs a little beside it. On a volume that is full to the
/// last byte nothing could be marked, so nothing would ever go. A file of ROOM_MB is kept beside the databases,
/// given up when their volume is full, and made anew when there is plenty again.

constexpr long long ROOM_MB = 8;         ///< what is kept: some batches of marks
constexpr long long ROOM_FULL_MB = 2;    ///< with less free it is given up
constexpr long long ROOM_PLENTY_MB = 64; ///< with as much free it is made

/// Before a round. Silent: without room the round itself says what fails.
void GiveUpRoomWhenFull();
/// After a round.
void KeepRoomWhenPlenty();
