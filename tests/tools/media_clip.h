// SPDX-License-Identifier: Apache-2.0
// tests/tools/media_clip.h - clips made by ffmpeg, and what ffmpeg says about files.
#pragma once

#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>

/// What a shell command prints; its exit code behind it if that is not 0.
inline std::string Shell(const std::string& command)
{
    std::FILE* const pipe = ::popen((command + " 2>&1").c_str(), "re");
    std::string out;
    std::array<char, 4096> buffer{};
    while (std::fgets(buffer.data(), static_cast<int>(buffer.size()), pipe) != nullptr) {
        out += buffer.data();
    }
    const int status = ::pclose(pipe);
    return status == 0 ? out : out + "[exit " + std::to_string(WEXITSTATUS(status)) + "]";
}

inline bool HasFfmpeg()
{
    return std::system("command -v ffmpeg >/dev/null && command -v ffprobe >/dev/null") == 0;
}

/// Makes a clip. @return what ffmpeg had to complain of; empty if nothing.
inline std::string MakeClip(const std::string& arguments, const std::string& path)
{
    return Shell("ffmpeg -nostdin -v error -y " + arguments + " " + path);
}

/// Size and hash of each packet of a track ("v" or "a"), without parameter sets and delimiters: they may be in a
/// header, or the container's own.
inline std::string PacketHashes(const std::string& path, const std::string& track,
                                const std::string& codec = "")
{
    std::string filter;
    if (codec == "h264") {
        filter = "-bsf:v 'h264_mp4toannexb,filter_units=remove_types=7|8|9' ";
    } else if (codec == "hevc") {
        filter = "-bsf:v 'hevc_mp4toannexb,filter_units=remove_types=32|33|34' ";
    }
    return Shell("ffmpeg -nostdin -v error -i " + path + " -map 0:" + track + " -c copy -copyinkf " + filter +
                 "-f framehash -hash md5 - | grep -v '^#' | cut -d, -f5,6");
}

/// Decoding and presentation time of each packet of a track, in seconds, with a blank between them.
inline std::string PacketTimes(const std::string& path, const std::string& track)
{
    return Shell("ffprobe -v error -select_streams " + track +
                 " -show_entries packet=dts_time,pts_time -of csv=p=0 " + path +
                 " | grep . | tr , ' '"); // a packet with side data is followed by an empty line
}

/// How many packets a track has.
inline int PacketCount(const std::string& path, const std::string& track)
{
    return std::atoi(Shell("ffprobe -v error -count_packets -select_streams " + track +
                           " -show_entries stream=nb_read_packets -of csv=p=0 " + path)
                         .c_str());
}

/// Whatever a decoder has to complain of in a file; that it is too short to tell its rate is no complaint.
inline std::string DecodeComplaints(const std::string& path)
{
    return Shell("ffmpeg -nostdin -v warning -i " + path +
                 " -f null - 2>&1 | sed '/not enough frames to estimate rate/d'");
}
