# SPDX-License-Identifier: MIT
#
# Toolchain: 32-bit ARM Linux with hardware floats, with Debian's g++-arm-linux-gnueabihf.

set(CMAKE_SYSTEM_PROCESSOR armv7)
set(triple arm-linux-gnueabihf)
set(emulator qemu-arm)
include(${CMAKE_CURRENT_LIST_DIR}/linux-cross.cmake)
