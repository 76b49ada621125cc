# SPDX-License-Identifier: MIT
# shellcheck shell=sh
# For scripts that try an installation out with the outside projects below
# tests/consumer/. Sourced after common.sh.
# shellcheck disable=SC2154 # scratch and root are set there
packaging/ensure-packages make umockdev
packaging/setup-armhf
packaging/make-sysroot armhf build/sysroot-armhf
: >"$scratch/log"

expect() {
  [ "$1" = "$2" ] || die "printed: $1 -- expected: $2 -- log: $(cat "$scratch/log")"
}

# build_consumers ARCHITECTURE STAGE FOLDER, of which only STAGE may be found.
build_consumers() {
  cp -r tests/consumer/c tests/consumer/cpp "$3"
  PKG_CONFIG_SYSROOT_DIR=$2 PKG_CONFIG_LIBDIR=$2/usr/lib/$(triplet "$1")/pkgconfig \
    make -s -C "$3/c" CC="$(triplet "$1")-gcc"
  build "$3/cpp" "$3/cpp/build" -DCMAKE_PREFIX_PATH="$2/usr" -DCMAKE_BUILD_TYPE=Debug \
    -DCMAKE_CXX_COMPILER="$(triplet "$1")-g++"
}

# in_machine ARCHITECTURE STAGE PROGRAM [ARGUMENT...]
in_machine() {
  run=
  library_path=$2/usr/lib/$(triplet "$1")
  if [ "$1" = armhf ]; then
    run=qemu-arm-static
    library_path=$library_path:$root/build/sysroot-armhf/usr/lib/arm-linux-gnueabihf
  fi
  shift 2
  umockdev-run -d tests/consumer/machine.umockdev -- \
    env LD_LIBRARY_PATH="$library_path" $run "$@" 2>"$scratch/log" ||
    die "failed: $*: $(cat "$scratch/log")"
}

# try_hosts ARCHITECTURE STAGE: builds a project in C by pkg-config and one in
# C++ by find_package against the installation below STAGE, and runs them and the
# command that is there in a simulated machine of one device.
try_hosts() {
  hosts=$scratch/hosts-$1
  mkdir "$hosts"
  build_consumers "$1" "$2" "$hosts"
  expect "$(in_machine "$1" "$2" "$hosts/c/list" | grep Printer)" "1209:0001 Card Printer"
  expect "$(in_machine "$1" "$2" "$hosts/cpp/build/event")" "6 hello dummy"
  expect "$(in_machine "$1" "$2" "$2/usr/bin/tarni" list | grep -c 1209:0001)" 1
}
