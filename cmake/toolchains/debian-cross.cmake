# SPDX-License-Identifier: MIT
# What the targets with a cross compiler and a C library of Debian's have in common: included by their toolchain files,
# which set VARNEL_TRIPLET and CMAKE_SYSTEM_PROCESSOR, and VARNEL_QEMU where the build machine needs an emulator to run
# the target's programs.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${VARNEL_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${VARNEL_TRIPLET}-g++)
set(CMAKE_FIND_ROOT_PATH /usr/${VARNEL_TRIPLET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The emulator looks for the dynamic linker and the C library here first.
if(VARNEL_QEMU)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${VARNEL_QEMU} -L /usr/${VARNEL_TRIPLET})
endif()
