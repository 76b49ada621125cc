# SPDX-License-Identifier: MIT
# Each of these finds something or says in one sentence what to install:
#
#   tarni_require(<prefix> <pkg-config module, with version> <Debian package>)
#   tarni_require_package(<name for find_package> <Debian package> <option without it>)
#
# The second is a macro because what find_package defines has to reach its caller.
find_package(PkgConfig QUIET)
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

macro(tarni_require_package name package option)
  find_package(${name} QUIET)
  if(NOT ${name}_FOUND)
    message(FATAL_ERROR "${name} was not found: install the package ${package}, or switch "
                        "${option} off.")
  endif()
endmacro()
