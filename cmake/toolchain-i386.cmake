# SPDX-License-Identifier: Apache-2.0
# 32-bit x86 with the distribution's cross compiler. Programs run natively, by the loader that comes with it.
include(${CMAKE_CURRENT_LIST_DIR}/cross.cmake)
set(CMAKE_SYSTEM_PROCESSOR i686)
vx_cross(i386 i686-linux-gnu i386-linux-gnu /usr/i686-linux-gnu/lib/ld-linux.so.2)
