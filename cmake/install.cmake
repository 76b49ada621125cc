# SPDX-License-Identifier: MIT
# Installed files, by component: library (what a board needs) and development.
# The folders tools/ and sim/ are components too, and install their own.
include(CMakePackageConfigHelpers)

set(tarni_config_dir ${CMAKE_INSTALL_LIBDIR}/cmake/tarni)

install(
  TARGETS tarni
  EXPORT tarni
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
          COMPONENT library
          NAMELINK_COMPONENT development
  INCLUDES
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES src/api/tarni.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)

install(
  EXPORT tarni
  FILE tarni-targets.cmake
  NAMESPACE tarni::
  DESTINATION ${tarni_config_dir}
  COMPONENT development)
file(CONFIGURE OUTPUT tarni-config.cmake
     CONTENT "include(\${CMAKE_CURRENT_LIST_DIR}/tarni-targets.cmake)\n" @ONLY)
write_basic_package_version_file(tarni-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/tarni-config.cmake
              ${PROJECT_BINARY_DIR}/tarni-config-version.cmake
        DESTINATION ${tarni_config_dir}
        COMPONENT development)

# Folders below ${prefix} where they are, so that a moved tree needs one variable;
# the prefix itself when installing, which can be told another one.
set(TARNI_PC_PREFIX "@CMAKE_INSTALL_PREFIX@")
foreach(dir LIBDIR INCLUDEDIR)
  set(TARNI_PC_${dir} "\${prefix}/${CMAKE_INSTALL_${dir}}")
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${dir}}")
    set(TARNI_PC_${dir} "${CMAKE_INSTALL_${dir}}")
  endif()
endforeach()
set(tarni_pc ${PROJECT_BINARY_DIR}/tarni.pc)
configure_file(cmake/tarni.pc.in ${tarni_pc}.in @ONLY)
install(CODE "configure_file(\"${tarni_pc}.in\" \"${tarni_pc}\" @ONLY)" COMPONENT development)
install(FILES ${tarni_pc} DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

file(GLOB function_pages CONFIGURE_DEPENDS docs/man/*.3)
if(function_pages)
  install(FILES ${function_pages} DESTINATION ${CMAKE_INSTALL_MANDIR}/man3 COMPONENT development)
endif()
