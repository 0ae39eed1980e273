# SPDX-License-Identifier: MIT
# Programs of the store as a whole, not file by file.

# varnel_compile_together(TARGET): several files as one unit. A file of the store takes seconds for its headers and
# moments for itself, so that builds and clang-tidy take a fraction of the time. Not for libraries of which programs take
# single files: they would get all of them.
option(VARNEL_UNITY "Compile the files of the daemon and of the client together, not one by one" ON)

function(varnel_compile_together target)
  set_target_properties(${target} PROPERTIES UNITY_BUILD ${VARNEL_UNITY} UNITY_BUILD_BATCH_SIZE 14)
endfunction()

# varnel_optimize_at_link(PROGRAM LIBRARY...): GCC sees through calls from the program's files to those of the static
# libraries, which are compiled for both: others link their machine code, as ever. A tenth fewer instructions for a
# request. Not where there is debug information: GCC writes the path of the build folder into that (Reproducible.cmake).
function(varnel_optimize_at_link program)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "GNU" OR NOT CMAKE_BUILD_TYPE MATCHES "^(Release|MinSizeRel)$")
    return()
  endif()
  target_compile_options(${program} PRIVATE -flto)
  target_link_options(${program} PRIVATE -flto=auto)
  foreach(library IN LISTS ARGN)
    target_compile_options(${library} PRIVATE -flto -ffat-lto-objects)
    target_link_options(${library} INTERFACE $<$<NOT:$<STREQUAL:$<TARGET_PROPERTY:NAME>,${program}>>:-fno-lto>)
  endforeach()
endfunction()
