# SPDX-License-Identifier: MIT
# The demo end to end, what its programs say to wrong use, and the README's program and its output.
add_test(NAME demo_end_to_end COMMAND "${CMAKE_CURRENT_SOURCE_DIR}/run" "${PROJECT_BINARY_DIR}")
set_tests_properties(demo_end_to_end PROPERTIES LABELS demo TIMEOUT 120 FAIL_REGULAR_EXPRESSION "Sanitizer")

if(TARGET varneld AND TARGET varnelctl AND TARGET module_sqlite)
  add_test(NAME demo_store COMMAND "${CMAKE_CURRENT_SOURCE_DIR}/store" "${PROJECT_BINARY_DIR}")
  set_tests_properties(demo_store PROPERTIES LABELS demo TIMEOUT 120 FAIL_REGULAR_EXPRESSION "Sanitizer")
endif()

add_test(NAME readme_first_program COMMAND
  "${CMAKE_CURRENT_SOURCE_DIR}/check_readme" "${PROJECT_SOURCE_DIR}/README.md" "${CMAKE_CURRENT_SOURCE_DIR}/first.c"
  $<TARGET_FILE:varnel_first>)
set_tests_properties(readme_first_program PROPERTIES LABELS demo TIMEOUT 60)

# Each row: a name, the exit code, what standard error must say (grep -E), and the command.
function(add_misuse_test name code says)
  add_test(NAME demo_refuses_${name} COMMAND "${CMAKE_CURRENT_SOURCE_DIR}/expect_failure" ${code} ${says} ${ARGN})
  set_tests_properties(demo_refuses_${name} PROPERTIES LABELS demo TIMEOUT 60)
endfunction()

set(server $<TARGET_FILE:varnel_demo_server>)
set(client $<TARGET_FILE:varnel_demo_client>)
set(config "${CMAKE_CURRENT_SOURCE_DIR}/demo.conf")
set(modules "${VARNEL_MODULE_DIR}")
add_misuse_test(server_no_arguments 2 "usage: varnel_demo_server" ${server})
add_misuse_test(server_extra_argument 2 "usage: varnel_demo_server" ${server} a b c 1 e)
add_misuse_test(server_bad_descriptor 1 "READY_FD must be a number .*'one'" ${server} ${config} ${modules} s one)
add_misuse_test(server_closed_descriptor 1 "cannot write to the ready descriptor"
  ${server} ${config} ${modules} @TEMP@/socket 99)
add_misuse_test(server_no_configuration 1 "cannot load the configuration /nowhere: No such file"
  ${server} /nowhere ${modules} s 1)
add_misuse_test(server_empty_configuration 1 "groups \"backends\" and \"layers\" must be there"
  ${server} /dev/null ${modules} s 1)
add_misuse_test(server_no_modules 134 "Do not find the library : /nowhere/memory.so"
  ${server} ${config} /nowhere s 1)
add_misuse_test(server_no_folder 1 "cannot listen at /nowhere/s: No such file"
  ${server} ${config} ${modules} /nowhere/s 1)
add_misuse_test(client_no_arguments 2 "usage: varnel_demo_client" ${client})
add_misuse_test(client_bad_port 1 "UDP_PORT must be a number from 1 to 32767, not '40000'" ${client} s 40000)
add_misuse_test(client_no_server 1 "cannot connect to /nowhere/s: No such file" ${client} /nowhere/s 20000)
add_misuse_test(client_long_path 1 "path of the socket is too long" ${client}
  /a/path/of/more/than/one/hundred/and/eight/characters/does/not/fit/into/the/address/of/a/unix/socket/on/any/linux
  20000)
add_misuse_test(run_no_configuration 1 "cannot load the configuration /nowhere" "${CMAKE_CURRENT_SOURCE_DIR}/run"
  "${PROJECT_BINARY_DIR}" /nowhere)
add_misuse_test(run_no_arguments 2 "usage: demo/run" "${CMAKE_CURRENT_SOURCE_DIR}/run")
add_misuse_test(run_no_build 1 "/nowhere/demo/varnel_demo_server is not there" "${CMAKE_CURRENT_SOURCE_DIR}/run" /nowhere)
add_misuse_test(script_extra_argument 2 "usage: scripts/demo" "${PROJECT_SOURCE_DIR}/scripts/demo" now)

# The client notices what it did not expect: a value that differs, and a value from another backend.
function(add_altered_test name from to says)
  file(READ "${config}" text)
  string(REPLACE "${from}" "${to}" altered "${text}")
  if(altered STREQUAL text)
    message(FATAL_ERROR "demo.conf does not say: ${from}")
  endif()
  file(GENERATE OUTPUT "${CMAKE_CURRENT_BINARY_DIR}/${name}.conf" CONTENT "${altered}")
  add_misuse_test(${name} 1 ${says} "${CMAKE_CURRENT_SOURCE_DIR}/run" "${PROJECT_BINARY_DIR}"
    "${CMAKE_CURRENT_BINARY_DIR}/${name}.conf")
endfunction()

set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${config}")
add_altered_test(other_value "\"varnel-device\"" "another-device"
  "hostname: expected string \"varnel-device\", got string \"another-device\"")
add_altered_test(other_backend "priority = 20" "priority = 2"
  "expected 0 from system/session.settings, got 0 from system/settings.session")
