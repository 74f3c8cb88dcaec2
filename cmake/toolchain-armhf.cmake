# SPDX-License-Identifier: Apache-2.0
# The target: 32-bit hard-float Arm. Programs run under qemu-arm.
include(${CMAKE_CURRENT_LIST_DIR}/cross.cmake)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
vx_cross(armhf arm-linux-gnueabihf arm-linux-gnueabihf /lib/ld-linux-armhf.so.3)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -L /usr/arm-linux-gnueabihf)
