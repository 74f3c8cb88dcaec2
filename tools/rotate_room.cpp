// SPDX-License-Identifier: Apache-2.0
// tools/rotate_room.cpp - room in hand for the databases, so that a full volume can still be emptied.
#include "rotate_room.h"

#include <fcntl.h>
#include <unistd.h>

#include <string>

#include "package/recsweep.h"
#include "package/root.h"

namespace {

/// Megabytes that are free beside the databases; -1 when that is not known.
long long FreeMB()
{
    long long freeMB = 0;
    long long totalMB = 0;
    return GetVolumeSpaceMB(GetPackageRoot() + "/db", freeMB, totalMB) == 0 ? freeMB : -1;
}

std::string RoomPath()
{
    return GetPackageRoot() + "/db/room.reserve";
}

} // namespace

void GiveUpRoomWhenFull()
{
    if (::access(RoomPath().c_str(), F_OK) == 0 && FreeMB() < ROOM_FULL_MB) {
        static_cast<void>(::unlink(RoomPath().c_str()));
    }
}

void KeepRoomWhenPlenty()
{
    const std::string path = RoomPath();
    if (::access((GetPackageRoot() + "/db").c_str(), F_OK) != 0 || ::access(path.c_str(), F_OK) == 0 ||
        FreeMB() < ROOM_PLENTY_MB) {
        return;
    }
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd >= 0) {
        if (::posix_fallocate(fd, 0, static_cast<off_t>(ROOM_MB * 1024 * 1024)) != 0) {
            static_cast<void>(::unlink(path.c_str())); // no room to keep: the next round tries again
        }
        ::close(fd);
    }
}
