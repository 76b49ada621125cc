# SPDX-License-Identifier: MIT
# Debian's cross compiler for 32-bit ARM with hardware floating point, and its
# multiarch libraries (packaging/setup-armhf installs them), or a sysroot with the
# same folders that CMAKE_SYSROOT names. Another target needs no such file, only
# CMake's usual variables.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)

# The target's folders only: nothing of the build machine is to be found in place
# of a library that is missing.
set(ENV{PKG_CONFIG_PATH} "")
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${CMAKE_SYSROOT}")
set(ENV{PKG_CONFIG_LIBDIR}
    ${CMAKE_SYSROOT}/usr/lib/arm-linux-gnueabihf/pkgconfig:${CMAKE_SYSROOT}/usr/share/pkgconfig)
if(CMAKE_SYSROOT)
  set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
  set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
  set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
  set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
endif()

find_program(TARNI_CROSS_COMPILER ${CMAKE_CXX_COMPILER})
if(NOT TARNI_CROSS_COMPILER)
  message(FATAL_ERROR "${CMAKE_CXX_COMPILER} was not found: install the package "
                      "crossbuild-essential-armhf.")
endif()

find_program(TARNI_QEMU_ARM qemu-arm-static)
if(TARNI_QEMU_ARM)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${TARNI_QEMU_ARM})
endif()
