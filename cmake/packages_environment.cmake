# SPDX-License-Identifier: MIT
# Read by cpack: dpkg-shlibdeps takes the build machine's architecture otherwise.
set(ENV{DEB_HOST_ARCH} ${CPACK_DEBIAN_PACKAGE_ARCHITECTURE})
