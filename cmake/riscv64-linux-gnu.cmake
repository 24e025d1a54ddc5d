# SPDX-License-Identifier: MIT
#
# Toolchain: 64-bit RISC-V Linux, with Debian's g++-riscv64-linux-gnu.

set(CMAKE_SYSTEM_PROCESSOR riscv64)
set(triple riscv64-linux-gnu)
set(emulator qemu-riscv64)
include(${CMAKE_CURRENT_LIST_DIR}/linux-cross.cmake)
