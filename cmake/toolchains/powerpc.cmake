# SPDX-License-Identifier: MIT
# 32-bit PowerPC Linux, the big-endian target: Debian's g++-powerpc-linux-gnu, and qemu-user to run the tests.
set(CMAKE_SYSTEM_PROCESSOR ppc)
set(VARNEL_TRIPLET powerpc-linux-gnu)
set(VARNEL_QEMU qemu-ppc)
include("${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake")
