# SPDX-License-Identifier: MIT
# The same sources and the same compiler make the same bytes, in whatever folder: no path of the build machine gets into
# what is shipped.

# Programs of the build folder find its libraries beside them; an absolute path would have a length that differs, which
# stays in the file when the installation removes the path.
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)

# Debug builds keep their paths: debuggers, sanitizers and coverage look for the sources there.
set(mapped "$<CONFIG:Release,RelWithDebInfo,MinSizeRel>")
add_compile_options(
  "$<${mapped}:-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.>"
  "$<${mapped}:-ffile-prefix-map=${PROJECT_BINARY_DIR}=.>")
