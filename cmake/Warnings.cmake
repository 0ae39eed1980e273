# SPDX-License-Identifier: MIT
# The warnings that every target of the tree is built with; each is an error.
option(VARNEL_WERROR "Treat warnings as errors" ON)

add_library(varnel_warnings INTERFACE)
target_compile_options(varnel_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion
  $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast>
  $<$<BOOL:${VARNEL_WERROR}>:-Werror>)
