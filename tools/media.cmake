# SPDX-License-Identifier: Apache-2.0
# The media verbs: FFmpeg's libraries are needed by the program alone, and only by these.
find_package(PkgConfig REQUIRED)
pkg_check_modules(VX_FFMPEG REQUIRED IMPORTED_TARGET
    libavformat libavcodec libavdevice libavutil libswscale libswresample)
target_sources(vx PRIVATE
    annexb.cpp
    av_handles.cpp
    capture.cpp
    capture_run.cpp
    decode_clock.cpp
    elementary_track.cpp
    fifo_cat_ts.cpp
    fifo_keys.cpp
    fifo_publisher.cpp
    fifo_subscription.cpp
    frame_pacer.cpp
    media_source.cpp
    mp4_writer.cpp
    raw_encoder.cpp
    record.cpp
    record_run.cpp
    segment_files.cpp
    segment_recorder.cpp
    ts_output.cpp
)
target_compile_definitions(vx PRIVATE VX_WITH_MEDIA)
target_link_libraries(vx PRIVATE PkgConfig::VX_FFMPEG)
