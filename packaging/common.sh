# SPDX-License-Identifier: MIT
# shellcheck shell=sh
# For the scripts beside it to source. They run in the project's folder and leave
# nothing but build/packaged-ARCHITECTURE, ARCHITECTURE being amd64 or armhf.
set -eu
cd "$(dirname "$0")/.."
root=$PWD
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

say() { printf '%s: %s\n' "${0##*/}" "$*"; }
die() {
  say "$*" >&2
  exit 1
}

triplet() {
  case $1 in
    amd64) echo x86_64-linux-gnu ;;
    armhf) echo arm-linux-gnueabihf ;;
    *) die "unknown architecture $1: amd64 and armhf are known" ;;
  esac
}

# ARCHITECTURE is armhf, or any other for the compiler that the arguments name.
# build ARCHITECTURE SOURCES BUILD [CMAKE-ARGUMENT...]
build() {
  toolchain=
  [ "$1" != armhf ] || toolchain=$root/cmake/toolchain-armhf.cmake
  sources=$2
  folder=$3
  shift 3
  cmake -S "$sources" -B "$folder" ${toolchain:+--toolchain "$toolchain"} "$@" >/dev/null
  cmake --build "$folder" --parallel "$(nproc)" >/dev/null
}

# As it ships, with debug information for those who strip it off or read it.
# build_library ARCHITECTURE SOURCES BUILD [CMAKE-ARGUMENT...]
build_library() {
  build "$@" -DCMAKE_BUILD_TYPE=Release -DCMAKE_C_FLAGS=-g -DCMAKE_CXX_FLAGS=-g \
    -DCMAKE_INSTALL_PREFIX=/usr -DCMAKE_INSTALL_LIBDIR="lib/$(triplet "$1")"
}

build_packaged() {
  build_library "$1" . "build/packaged-$1" -DTARNI_BUILD_TOOLS=ON -DTARNI_BUILD_EXAMPLES=ON
}
