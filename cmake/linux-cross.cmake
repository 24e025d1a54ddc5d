# SPDX-License-Identifier: MIT
#
# What the toolchains for other Linux systems share: Debian's cross compiler of `triple`, whose
# programs run by `emulator`, qemu-user's or none.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_CXX_COMPILER ${triple}-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR ${emulator})

set(CMAKE_FIND_ROOT_PATH /usr/${triple})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
