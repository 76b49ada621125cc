# SPDX-License-Identifier: MIT
# Debian packages by cpack: libtarni0, libtarni-dev, tarni-tools and tarni-sim.
# packaging/build-packages configures for them and makes them.
find_program(DPKG_ARCHITECTURE dpkg-architecture)
if(NOT DPKG_ARCHITECTURE OR NOT CMAKE_LIBRARY_ARCHITECTURE)
  return()
endif()
execute_process(
  COMMAND ${DPKG_ARCHITECTURE} -t ${CMAKE_LIBRARY_ARCHITECTURE} -q DEB_HOST_ARCH
  OUTPUT_VARIABLE CPACK_DEBIAN_PACKAGE_ARCHITECTURE
  OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)

set(TARNI_PACKAGE_CONTACT
    "The libtarni developers <developers@libtarni.invalid>"
    CACHE STRING "Maintainer field of the Debian packages")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "${TARNI_PACKAGE_CONTACT}")
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SOURCE libtarni)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_PROJECT_CONFIG_FILE ${PROJECT_SOURCE_DIR}/cmake/packages_environment.cmake)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/packages_documents.cmake)

# A synopsis for each package, none for all.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(about
    "The library lists USB devices with identity, port, class, strings and device
nodes, tells of topology events and of the current that is drawn, and needs no
daemon: it reads sysfs and speaks with the kernel's topology manager.")

# tarni_package(<component> <name> <section> <value of Multi-Arch> <description>)
function(tarni_package component name section multiarch description)
  string(TOUPPER ${component} prefix)
  string(PREPEND prefix CPACK_DEBIAN_)
  set(${prefix}_PACKAGE_NAME ${name} PARENT_SCOPE)
  # cpack has no variable for Multi-Arch before CMake 3.31.
  set(${prefix}_PACKAGE_SECTION "${section}\nMulti-Arch: ${multiarch}" PARENT_SCOPE)
  set(${prefix}_DESCRIPTION "${description}\n${about}" PARENT_SCOPE)
  set(CPACK_COMPONENTS_ALL ${CPACK_COMPONENTS_ALL} ${component} PARENT_SCOPE)
endfunction()

set(CPACK_COMPONENTS_ALL)
tarni_package(library libtarni${PROJECT_VERSION_MAJOR} libs same
  "USB devices and topology events for embedded Linux
This is the library that programs are linked with.")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_DEPENDS "libusb-1.0-0 (>= 2:1.0.26)")

tarni_package(development libtarni-dev libdevel same
  "USB devices and topology events - development files
This package has the header and what pkg-config and CMake need.")
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS library)

if(TARNI_BUILD_TOOLS)
  tarni_package(tools tarni-tools utils foreign
    "list and watch USB devices from the command line
This package has the tarni command.")
  set(CPACK_COMPONENT_TOOLS_DEPENDS library)
endif()

if(TARNI_BUILD_SIM)
  tarni_package(sim tarni-sim utils foreign
    "run programs in a simulated USB machine
This package has tarni-sim, for trying hosts of libtarni without hardware or
root: scripts plug devices in and out, and the kernel's part is simulated.")
  # Its preload object; dpkg-shlibdeps finds what is linked.
  set(CPACK_DEBIAN_SIM_PACKAGE_DEPENDS "umockdev (>= 0.17)")
  # Not packages of this machine where they come from a sysroot, so that it finds
  # the files but no names.
  if(CMAKE_SYSROOT)
    string(APPEND CPACK_DEBIAN_SIM_PACKAGE_DEPENDS ", libumockdev0, libglib2.0-0")
    set(linked_in_sysroot ${PROJECT_BINARY_DIR}/linked-in-sysroot)
    file(MAKE_DIRECTORY ${linked_in_sysroot})
    foreach(library libumockdev.so.0 libgobject-2.0.so.0 libglib-2.0.so.0)
      file(CREATE_LINK ${CMAKE_SYSROOT}/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/${library}
           ${linked_in_sysroot}/${library} SYMBOLIC)
    endforeach()
    list(APPEND CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${linked_in_sysroot})
  endif()
endif()

# What dpkg-shlibdeps finds for programs that were linked with the library.
set(control ${PROJECT_BINARY_DIR}/debian)
set(soname ${PROJECT_VERSION_MAJOR})
configure_file(packaging/libtarni0.symbols ${control}/symbols COPYONLY)
file(CONFIGURE OUTPUT ${control}/shlibs
     CONTENT "libtarni ${soname} libtarni${soname} (>= ${PROJECT_VERSION})\n")
file(CONFIGURE OUTPUT ${control}/triggers CONTENT "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA
    ${control}/symbols ${control}/shlibs ${control}/triggers)

include(CPack)
