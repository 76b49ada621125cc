# SPDX-License-Identifier: MIT
# tarni_require(<prefix> <pkg-config module, with version> <Debian package>)
# finds a library or says in one sentence what to install.
find_package(PkgConfig)
if(NOT PkgConfig_FOUND)
  message(FATAL_ERROR "pkg-config is missing: install the package pkg-config.")
endif()

function(tarni_require prefix module package)
  pkg_check_modules(${prefix} QUIET IMPORTED_TARGET GLOBAL ${module})
  if(${prefix}_FOUND)
    return()
  endif()
  if(CMAKE_CROSSCOMPILING)
    string(APPEND package " for ${CMAKE_SYSTEM_PROCESSOR}")
  endif()
  message(FATAL_ERROR "${module} was not found by pkg-config: install the package ${package}.")
endfunction()
