# SPDX-License-Identifier: MIT
# Provides GTest::gtest and GTest::gtest_main: the installed library, or one built from Debian's googletest sources where
# there is none for the target (cross compilation, -m32).
if(NOT CMAKE_CROSSCOMPILING)
  find_package(GTest CONFIG QUIET) # refuses a library of another pointer size by itself
endif()

if(NOT TARGET GTest::gtest_main)
  set(VARNEL_GOOGLETEST_SOURCES /usr/src/googletest CACHE PATH "Sources of GoogleTest, where the library is not installed")
  if(NOT EXISTS "${VARNEL_GOOGLETEST_SOURCES}/CMakeLists.txt")
    message(FATAL_ERROR "No GoogleTest: install libgtest-dev and googletest, or set VARNEL_GOOGLETEST_SOURCES, "
                        "or build without tests (-DVARNEL_LIBRARY_ONLY=ON)")
  endif()
  set(BUILD_GMOCK OFF CACHE INTERNAL "")
  set(INSTALL_GTEST OFF CACHE INTERNAL "")
  add_subdirectory("${VARNEL_GOOGLETEST_SOURCES}" "${CMAKE_BINARY_DIR}/googletest" EXCLUDE_FROM_ALL)
  if(NOT TARGET GTest::gtest_main)
    add_library(GTest::gtest ALIAS gtest)
    add_library(GTest::gtest_main ALIAS gtest_main)
  endif()
endif()
