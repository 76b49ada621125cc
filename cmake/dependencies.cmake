# SPDX-License-Identifier: MIT
# tarni_require(<prefix> <pkg-config module, with version> <Debian package>)
# finds a library or says in one sentence what to install.
find_package(PkgConfig)
if(NOT PkgConfig_FOUND)
  message(FATAL_ERROR "pkg-config is missing: install the package pkg-config.")
endif()

function(tarni_require prefix module package)
  pkg_check_modules(${prefix} IMPORTED_TARGET GLOBAL ${module})
  if(NOT ${prefix}_FOUND)
    message(FATAL_ERROR "${module} was not found: install the package ${package} (for the "
                        "architecture that is built for).")
  endif()
endfunction()
