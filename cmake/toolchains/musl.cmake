# SPDX-License-Identifier: MIT
# musl on the build machine's own processor, by Debian's musl-tools: a small C library, and no C++ library at all, which
# stands for a device's. Use it with VARNEL_LIBRARY_ONLY.
#
# musl-gcc is the machine's compiler with musl's headers, start files and dynamic linker, for C++ sources, too: the
# library needs neither the headers nor the run-time part of a C++ library.
set(CMAKE_C_COMPILER musl-gcc)
set(CMAKE_CXX_COMPILER musl-gcc)
