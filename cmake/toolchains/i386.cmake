# SPDX-License-Identifier: MIT
# 32-bit x86 Linux, whose programs a 64-bit x86 machine runs natively. Debian's cross compiler (g++-i686-linux-gnu) has
# its own C library, dynamic linker included; where it is missing, the machine's compiler builds with -m32 (multilib).
find_program(VARNEL_I686_CXX i686-linux-gnu-g++)
mark_as_advanced(VARNEL_I686_CXX)

if(VARNEL_I686_CXX)
  set(CMAKE_SYSTEM_PROCESSOR i686)
  set(VARNEL_TRIPLET i686-linux-gnu)
  include("${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake")
  # Not the machine's own 32-bit C library, which need not be there. The old kind of run path also serves libraries
  # that the libraries of a program need.
  set(CMAKE_EXE_LINKER_FLAGS_INIT
    "-Wl,--dynamic-linker=/usr/i686-linux-gnu/lib/ld-linux.so.2 -Wl,--disable-new-dtags,-rpath,/usr/i686-linux-gnu/lib")
else()
  set(CMAKE_C_FLAGS_INIT -m32)
  set(CMAKE_CXX_FLAGS_INIT -m32)
endif()
