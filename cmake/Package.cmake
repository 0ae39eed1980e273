# SPDX-License-Identifier: MIT
# What programs that use an installed library ask for it: a CMake package (find_package(varnel), targets varnel::share and
# varnel::module) and two pkg-config files. They find everything from where they lie themselves, so that an installed tree
# can be moved.
include(CMakePackageConfigHelpers)

# What a storage module needs: module.h, which is included by that name, the library, and to stay loaded.
add_library(varnel_module INTERFACE)
set_target_properties(varnel_module PROPERTIES EXPORT_NAME module)
target_include_directories(varnel_module INTERFACE
  "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/modules>" "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/varnel/module>")
target_link_libraries(varnel_module INTERFACE varnel_share)
target_link_options(varnel_module INTERFACE -Wl,-z,nodelete)
install(TARGETS varnel_module EXPORT varnel)
install(FILES "${PROJECT_SOURCE_DIR}/modules/module.h" DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/varnel/module
        COMPONENT development)

set(package "${CMAKE_CURRENT_BINARY_DIR}/package")
set(VARNEL_INSTALL_CMAKEDIR "${CMAKE_INSTALL_LIBDIR}/cmake/varnel")
set(VARNEL_INSTALL_MODULEDIR "${CMAKE_INSTALL_LIBDIR}/varnel")
install(EXPORT varnel NAMESPACE varnel:: FILE varnelTargets.cmake DESTINATION ${VARNEL_INSTALL_CMAKEDIR}
        COMPONENT development)
set(VARNEL_LOGS_BY_DEVICE OFF)
if(VARNEL_TAVI_UTIL_LIBRARY)
  set(VARNEL_LOGS_BY_DEVICE ON)
endif()
configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/varnelConfig.cmake.in" "${package}/varnelConfig.cmake"
  INSTALL_DESTINATION ${VARNEL_INSTALL_CMAKEDIR} PATH_VARS CMAKE_INSTALL_LIBDIR VARNEL_INSTALL_MODULEDIR)
write_basic_package_version_file("${package}/varnelConfigVersion.cmake" COMPATIBILITY SameMajorVersion)
install(FILES "${package}/varnelConfig.cmake" "${package}/varnelConfigVersion.cmake"
        DESTINATION ${VARNEL_INSTALL_CMAKEDIR} COMPONENT development)

# The folders as the pkg-config files name them, from the prefix on.
file(RELATIVE_PATH VARNEL_PREFIX_FROM_PC "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" "${CMAKE_INSTALL_PREFIX}")
string(REGEX REPLACE "/$" "" VARNEL_PREFIX_FROM_PC "${VARNEL_PREFIX_FROM_PC}")
file(RELATIVE_PATH VARNEL_LIBDIR_FROM_PREFIX "${CMAKE_INSTALL_PREFIX}" "${CMAKE_INSTALL_FULL_LIBDIR}")
file(RELATIVE_PATH VARNEL_INCLUDEDIR_FROM_PREFIX "${CMAKE_INSTALL_PREFIX}" "${CMAKE_INSTALL_FULL_INCLUDEDIR}")
foreach(name IN ITEMS varnel-share varnel-module)
  configure_file("${PROJECT_SOURCE_DIR}/cmake/${name}.pc.in" "${package}/${name}.pc" @ONLY)
  install(FILES "${package}/${name}.pc" DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endforeach()

# The terms, and those of what is compiled into the programs; packages of Debian have them in a file of their own.
if(NOT VARNEL_DEBIAN_PACKAGES)
  install(FILES "${PROJECT_SOURCE_DIR}/LICENSE" DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT library)
  if(TARGET varneld OR TARGET varnelctl)
    install(FILES "${PROJECT_SOURCE_DIR}/NOTICES" DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT store)
  endif()
endif()
