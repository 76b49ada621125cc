# SPDX-License-Identifier: MIT
# Debian's cross compiler and multiarch libraries for 32-bit ARM with hardware
# floating point (packaging/setup-armhf installs them). Another target or a
# sysroot of its own needs no such file, only CMake's usual variables.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)

# The multiarch folder only: nothing of the build machine is to be found in place
# of a library that is missing.
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/arm-linux-gnueabihf/pkgconfig:/usr/share/pkgconfig)
set(ENV{PKG_CONFIG_PATH} "")

find_program(TARNI_QEMU_ARM qemu-arm-static)
if(TARNI_QEMU_ARM)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${TARNI_QEMU_ARM})
endif()
