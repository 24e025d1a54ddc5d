# SPDX-License-Identifier: MIT
#
# Shared by the toolchains for other Linux systems: Debian's cross compiler for `triple`, whose
# programs run in `emulator`, one of qemu-user's or none.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_CXX_COMPILER ${triple}-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR ${emulator})

set(CMAKE_FIND_ROOT_PATH /usr/${triple})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
