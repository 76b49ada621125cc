# SPDX-License-Identifier: MIT
# shellcheck shell=sh
# For the scripts beside it to source. They run in the project's folder and leave
# nothing but what is below build/. ARCHITECTURE is amd64 or armhf.
set -eu
cd "$(dirname "$0")/.."
root=$PWD
sysroot_armhf=$root/build/sysroot-armhf
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

# shellcheck disable=SC2046 # a list of words
packaging/ensure-packages $(grep -v '^#' packaging/packages.list)

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

# Prints what a command says only when it fails, which ends the script.
quietly() {
  "$@" >"$scratch/quietly.log" 2>&1 || die "$*: $(tail -n 40 "$scratch/quietly.log")"
}

# Those in $targets, or everything. build SOURCES BUILD [CMAKE-ARGUMENT...]
targets=
build() {
  sources=$1
  folder=$2
  shift 2
  quietly cmake -S "$sources" -B "$folder" "$@"
  # shellcheck disable=SC2086 # a list of words
  quietly cmake --build "$folder" --parallel "$(nproc)" ${targets:+--target $targets}
}

# What the ARM build needs comes from a sysroot, as not all of it can be installed
# beside this machine's own packages.
# build_for ARCHITECTURE SOURCES BUILD [CMAKE-ARGUMENT...]
build_for() {
  architecture=$1
  shift
  if [ "$architecture" = armhf ]; then
    packaging/setup-armhf
    packaging/make-sysroot armhf "$sysroot_armhf"
    set -- "$@" --toolchain "$root/cmake/toolchain-armhf.cmake" -DCMAKE_SYSROOT="$sysroot_armhf"
  fi
  build "$@"
}

# As it ships, with debug information for those who strip it off or read it.
# build_library ARCHITECTURE SOURCES BUILD [CMAKE-ARGUMENT...]
build_library() {
  build_for "$@" -DCMAKE_BUILD_TYPE=Release -DCMAKE_C_FLAGS=-g -DCMAKE_CXX_FLAGS=-g \
    -DCMAKE_INSTALL_PREFIX=/usr -DCMAKE_INSTALL_LIBDIR="lib/$(triplet "$1")"
}

build_packaged() {
  build_library "$1" . "build/packaged-$1" -DTARNI_BUILD_TOOLS=ON -DTARNI_BUILD_SIM=ON
}
