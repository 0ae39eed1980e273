# SPDX-License-Identifier: MIT
# The tests that are written with GoogleTest.
include(GoogleTest)
include("${PROJECT_SOURCE_DIR}/cmake/GoogleTest.cmake")

# The log functions that record, and the allocator that counts: objects, because they and the library need each other.
file(GLOB support_sources CONFIGURE_DEPENDS support/*.cpp)
if(support_sources)
  add_library(test_support OBJECT ${support_sources})
  target_link_libraries(test_support PUBLIC varnel_objects GTest::gtest PRIVATE varnel_warnings)
  target_include_directories(test_support PUBLIC "${CMAKE_CURRENT_SOURCE_DIR}" "${PROJECT_SOURCE_DIR}/src")
  target_compile_definitions(test_support PUBLIC _FILE_OFFSET_BITS=64)
  # The tests themselves need not be fast, compiling them is most of a build's work, and an optimising GCC 12 takes sums
  # of std::string for copies that are too long.
  target_compile_options(test_support PUBLIC -O0)
  set_target_properties(test_support PROPERTIES POSITION_INDEPENDENT_CODE OFF) # as in the programs, for the next line
  target_precompile_headers(test_support PRIVATE <gtest/gtest.h> <string> <vector>)
  if("${CMAKE_CXX_FLAGS}" MATCHES "--coverage")
    target_sources(test_support PRIVATE coverage/dump_at_abort.cpp)
  endif()
endif()

# Each test is a process of its own. Its label is the folder, or threads in suites named *Threads*, which also run under
# TSan. With an emulator, where a process takes its time to begin, each program runs all of its tests in one.
function(varnel_discover_tests program label timeout)
  if(CMAKE_CROSSCOMPILING_EMULATOR)
    add_test(NAME ${program} COMMAND ${program})
    set_tests_properties(${program} PROPERTIES LABELS ${label} TIMEOUT 900)
    return()
  endif()
  set(common DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 120 PROPERTIES TIMEOUT ${timeout})
  gtest_discover_tests(${program} ${ARGN} TEST_FILTER "-*Threads*" TEST_LIST ${program}_plain ${common} LABELS ${label})
  gtest_discover_tests(${program} ${ARGN} TEST_FILTER "*Threads*" TEST_LIST ${program}_threads ${common} LABELS threads)
endfunction()

# Every <folder>/*_test.cpp makes <folder>_tests; timeout is in seconds, for each test.
function(add_test_program folder timeout)
  file(GLOB sources CONFIGURE_DEPENDS "${folder}/*_test.cpp")
  if(NOT sources OR NOT TARGET test_support)
    return()
  endif()
  set(program ${folder}_tests)
  add_executable(${program} ${sources})
  varnel_compile_tests_together(${program})
  target_link_libraries(${program} PRIVATE test_support varnel_objects GTest::gtest GTest::gtest_main ${CMAKE_DL_LIBS}
                                           Threads::Threads varnel_warnings)
  set_target_properties(${program} PROPERTIES POSITION_INDEPENDENT_CODE OFF)
  target_precompile_headers(${program} REUSE_FROM test_support)
  varnel_discover_tests(${program} ${folder} ${timeout})
endfunction()

foreach(folder IN ITEMS base containers data serialize transport config storage layout)
  add_test_program(${folder} 120)
endforeach()
if(TARGET layout_tests)
  target_include_directories(layout_tests PRIVATE "${PROJECT_SOURCE_DIR}/modules")
endif()
add_test_program(sweep 300)
if(TARGET sweep_tests)
  add_subdirectory(sweep)
endif()

# The log stand-in and the storage modules, tested as the shared objects that they are, and what programs share; then the
# store.
set(around tavi_util modules common)
if(VARNEL_STORE)
  list(APPEND around protocol conversation daemon ctl store init)
endif()
foreach(folder IN LISTS around)
  if(EXISTS "${CMAKE_CURRENT_SOURCE_DIR}/${folder}/CMakeLists.txt")
    add_subdirectory(${folder})
  endif()
endforeach()

# Storage modules, good and bad ones, that the tests of storage open.
if(EXISTS "${CMAKE_CURRENT_SOURCE_DIR}/storage/modules/CMakeLists.txt")
  add_subdirectory(storage/modules)
  if(TARGET storage_tests)
    target_link_libraries(storage_tests PRIVATE test_modules)
  endif()
endif()
