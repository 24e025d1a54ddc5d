# SPDX-License-Identifier: MIT
#
# Toolchain: 32-bit x86 Linux, with Debian's g++-i686-linux-gnu.

set(CMAKE_SYSTEM_PROCESSOR i686)
set(triple i686-linux-gnu)
set(emulator "")
include(${CMAKE_CURRENT_LIST_DIR}/linux-cross.cmake)
