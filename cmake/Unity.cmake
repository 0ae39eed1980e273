# SPDX-License-Identifier: MIT
# varnel_compile_together(TARGET): several files as one unit. A file of the store takes seconds for its headers and
# moments for itself, so that builds and clang-tidy take a fraction of the time, and the compiler sees through calls from
# file to file. Not for libraries of which programs take single files: they would get all of them.
option(VARNEL_UNITY "Compile the files of the daemon and of the client together, not one by one" ON)

function(varnel_compile_together target)
  set_target_properties(${target} PROPERTIES UNITY_BUILD ${VARNEL_UNITY} UNITY_BUILD_BATCH_SIZE 14)
endfunction()
