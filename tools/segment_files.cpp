// SPDX-License-Identifier: Apache-2.0
// tools/segment_files.cpp - names of recorded files, none of which is ever used twice.
#include "segment_files.h"

#include <fcntl.h>

#include <cerrno>
#include <cstring>
#include <ctime>

#include "package/recorder.h"

namespace {

constexpr int MAX_SERIAL = 100000;

struct Name {
    std::string stem;
    std::string extension;

    std::string With(int number) const
    {
        return stem + (number == 0 ? "" : "-" + std::to_string(number)) + extension;
    }
};

Name NameOf(const SegmentPlace& place, long long wallSec, bool quickTime)
{
    if (place.file.empty()) {
        return {place.folder + "/" + UtcName(wallSec), quickTime ? ".mov" : ".mp4"};
    }
    const std::size_t slash = place.file.rfind('/');
    const std::size_t dot = place.file.rfind('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) {
        return {place.file, ""};
    }
    return {place.file.substr(0, dot), place.file.substr(dot)};
}

} // namespace

std::string UtcName(long long wallSec)
{
    const auto seconds = static_cast<std::time_t>(wallSec);
    struct tm utc = {};
    ::gmtime_r(&seconds, &utc);
    char text[32];
    std::strftime(text, sizeof text, "%Y%m%dT%H%M%SZ", &utc);
    return text;
}

Trouble MakeSegment(const SegmentPlace& place, int serial, long long wallSec, bool quickTime, int& fd,
                    std::string& path)
{
    const Name name = NameOf(place, wallSec, quickTime);
    const bool firstOfNamed = !place.file.empty() && serial == 0;
    for (int number = place.file.empty() ? 0 : serial; number < MAX_SERIAL; ++number) {
        const std::string candidate = name.With(number);
        const int made = ::open(candidate.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
        if (made >= 0) {
            fd = made;
            path = candidate;
            return {};
        }
        if (errno != EEXIST) {
            return {EXIT_UNREACHABLE, candidate + ": cannot make the file: " + std::strerror(errno)};
        }
        if (firstOfNamed) {
            break; // the very name that was asked for
        }
    }
    return {EXIT_REFUSED, name.With(0) + ": exists and is not overwritten; remove it or choose another name"};
}

Trouble MakeEventSegment(EventRecorder& events, long long wallSec, bool quickTime, int& fd, std::string& path)
{
    return events.Create(wallSec, quickTime ? ".mov" : ".mp4", fd, path) == 0
               ? Trouble{}
               : Trouble{EXIT_UNREACHABLE, "no further event can be made; vx log tail says why"};
}
