# SPDX-License-Identifier: MIT
# 32-bit ARM Linux with hardware floating point: Debian's g++-arm-linux-gnueabihf, and qemu-user to run the tests.
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(VARNEL_TRIPLET arm-linux-gnueabihf)
set(VARNEL_QEMU qemu-arm)
include("${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake")
