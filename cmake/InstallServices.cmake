# SPDX-License-Identifier: MIT
# A part of the installation: the unit and the init script name the program where it goes to, which is known only now
# (cmake --install --prefix). Given: varnel_services, the folder with the files; varnel_sbindir and varnel_sysconfdir,
# absolute or from the prefix on; varnel_work, a folder to write in. DESTDIR is in no file.
get_filename_component(prefix "${CMAKE_INSTALL_PREFIX}" ABSOLUTE)
get_filename_component(VARNELD "${varnel_sbindir}/varneld" ABSOLUTE BASE_DIR "${prefix}")
# With the prefix /usr the system's settings lie beside it.
get_filename_component(sysconfdir "${varnel_sysconfdir}" ABSOLUTE BASE_DIR "${prefix}")
if(prefix STREQUAL "/usr")
  get_filename_component(sysconfdir "${varnel_sysconfdir}" ABSOLUTE BASE_DIR /)
endif()

configure_file("${varnel_services}/varneld.service" "${varnel_work}/varneld.service" @ONLY)
configure_file("${varnel_services}/varneld.init" "${varnel_work}/varneld" @ONLY)
set(read_by_all OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
file(INSTALL "${varnel_work}/varneld.service" DESTINATION "${prefix}/lib/systemd/system"
     FILE_PERMISSIONS ${read_by_all})
file(INSTALL "${varnel_work}/varneld" DESTINATION "${sysconfdir}/init.d"
     FILE_PERMISSIONS ${read_by_all} OWNER_EXECUTE GROUP_EXECUTE WORLD_EXECUTE)
