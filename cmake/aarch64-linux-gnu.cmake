# SPDX-License-Identifier: MIT
#
# Toolchain: 64-bit ARM Linux, with Debian's g++-aarch64-linux-gnu.

set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(triple aarch64-linux-gnu)
set(emulator qemu-aarch64)
include(${CMAKE_CURRENT_LIST_DIR}/linux-cross.cmake)
