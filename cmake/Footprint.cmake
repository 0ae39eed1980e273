# SPDX-License-Identifier: MIT
# The configuration for devices with little flash: MinSizeRel makes the library as small as docs/footprint.md says. What
# the library does stays the same; what a program can no longer do with it stands there, too.
include_guard()

set(minimum $<CONFIG:MinSizeRel>)
set(minimum_gcc $<AND:$<CONFIG:MinSizeRel>,$<CXX_COMPILER_ID:GNU>>)

# Whole-program optimisation, the objects usable without it, too: the unit tests and the checks of the objects use them.
# The one partition lets the compiler merge what is equal, and keeps the result independent of the number of processors.
set(varnel_footprint_lto
  $<${minimum_gcc}:-flto=1> $<${minimum_gcc}:-flto-partition=one> $<${minimum_gcc}:-ffat-lto-objects>)

# No exception passes through the library, and nothing in it has to be undone when one would. (Code that the compiler
# adds while it links needs these, too.)
set(varnel_footprint_unwind $<${minimum}:-fno-asynchronous-unwind-tables> $<${minimum}:-fno-unwind-tables>)

# On x86 an entry of the procedure linkage table is longer than all the indirect calls that it serves.
set(varnel_footprint_calls)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(i.86|x86|x86_64|AMD64)$")
  set(varnel_footprint_calls $<${minimum}:-fno-plt>)
endif()

# OBJECTS: the static library with the objects; SHARED: the shared library made of them.
function(varnel_minimise objects shared)
  target_compile_options(${objects} PRIVATE
    ${varnel_footprint_lto} ${varnel_footprint_unwind} ${varnel_footprint_calls}
    # Calls between exported functions are direct.
    $<${minimum_gcc}:-fno-semantic-interposition>
    $<${minimum}:-ffunction-sections>)
  target_link_options(${shared} PRIVATE
    ${varnel_footprint_lto} ${varnel_footprint_unwind} ${varnel_footprint_calls}
    $<${minimum}:-Wl,-Bsymbolic-functions> $<${minimum}:-Wl,--gc-sections>
    # Two segments to map instead of four, and no gaps between them in the file: x86's other habit costs pages and time.
    $<${minimum}:-Wl,-z,noseparate-code>
    # There is nothing to do at the start or the end: no constructors, no destructors, no functions for exit.
    $<${minimum}:-nostartfiles>)
endfunction()
