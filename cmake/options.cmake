# SPDX-License-Identifier: Apache-2.0
# What a builder may switch. Nothing here is on in a project that includes this one.
option(BUILD_SHARED_LIBS "Build libvxutil and libvxpackage as shared libraries" ${PROJECT_IS_TOP_LEVEL})
option(VX_BUILD_TESTS "Build the tests" ${PROJECT_IS_TOP_LEVEL})
option(VX_BUILD_BENCH "Build the benchmarks" OFF)
option(VX_BUILD_EXAMPLES "Build the example programs" ${PROJECT_IS_TOP_LEVEL})
option(VX_BUILD_FUZZERS "Build the programs that feed generated input to the library (needs clang; preset fuzz)" OFF)
option(VX_BUILD_TOOLS "Build the program vx" ${PROJECT_IS_TOP_LEVEL})
option(VX_WITH_MEDIA "Build the media verbs of vx (needs FFmpeg's libraries)" ON)
option(VX_WARNINGS_AS_ERRORS "Treat warnings as errors (presets switch this on)" OFF)
option(VX_INSTALL "Make rules that install the libraries, their headers and vx" ${PROJECT_IS_TOP_LEVEL})
