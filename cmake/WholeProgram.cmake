# SPDX-License-Identifier: MIT
# Programs of the store as a whole, not file by file.

# varnel_compile_together(TARGET [FILES]): several files as one unit, 14 or so many. A file of a program takes seconds for
# its headers and moments for itself, so that builds, and clang-tidy where it looks, take a fraction of the time. Not for
# libraries of which programs take single files: they would get all of them.
option(VARNEL_UNITY "Compile the files of the programs and of their tests together, not one by one" ON)

function(varnel_compile_together target)
  set(files ${ARGN} 14)
  list(GET files 0 files)
  set_target_properties(${target} PROPERTIES UNITY_BUILD ${VARNEL_UNITY} UNITY_BUILD_BATCH_SIZE ${files})
endfunction()

# varnel_compile_tests_together(PROGRAM [HEADER...]): the same for a test program, which is not optimised: more files.
# GCC takes the files of a unit for headers, and warns of fixtures with members whose types are in an anonymous namespace:
# in a header, each unit would have a type of its own by that name. One by one, the files share the headers precompiled.
function(varnel_compile_tests_together program)
  varnel_compile_together(${program} 16)
  if(NOT VARNEL_UNITY)
    if(ARGN)
      target_precompile_headers(${program} PRIVATE ${ARGN})
    endif()
  elseif(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(${program} PRIVATE $<$<COMPILE_LANGUAGE:CXX>:-Wno-subobject-linkage>)
  endif()
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
