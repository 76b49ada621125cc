# SPDX-License-Identifier: MIT
# shellcheck shell=sh
# For scripts that try an installation out with the outside projects below
# tests/consumer/, in the simulated machine. Sourced after common.sh.
# shellcheck disable=SC2154 # scratch and root are set there
packaging/setup-armhf
story=tests/consumer/story.sim

expect() {
  [ "$1" = "$2" ] || die "printed: $1 -- expected: $2 -- log: $(cat "$scratch/host.log")"
}

# build_consumers ARCHITECTURE STAGE FOLDER, of which only STAGE may be found.
build_consumers() {
  cp -r tests/consumer/c tests/consumer/cpp "$3"
  PKG_CONFIG_SYSROOT_DIR=$2 PKG_CONFIG_LIBDIR=$2/usr/lib/$(triplet "$1")/pkgconfig \
    make -s -C "$3/c" CC="$(triplet "$1")-gcc"
  build "$3/cpp" "$3/cpp/build" -DCMAKE_PREFIX_PATH="$2/usr" -DCMAKE_BUILD_TYPE=Debug \
    -DCMAKE_CXX_COMPILER="$(triplet "$1")-g++"
}

# in_machine ARCHITECTURE STAGE SCRIPT PROGRAM [ARGUMENT...]: runs a program with
# the library and the simulation of STAGE. For ARM programs this machine's own
# tarni-sim tells the story, and the emulator loads STAGE's preload object.
in_machine() {
  libraries=$2/usr/lib/$(triplet "$1")
  sim=$2/usr/bin/tarni-sim
  run="env LD_LIBRARY_PATH=$libraries"
  if [ "$1" = armhf ]; then
    sim=build/packaged-amd64/tarni-sim
    run="$run:$sysroot_armhf/usr/lib/arm-linux-gnueabihf"
    run="$run LD_PRELOAD=$libraries/tarni/libtarni-netlink.so:libumockdev-preload.so.0 qemu-arm-static"
  fi
  script=$3
  shift 3
  # shellcheck disable=SC2086 # no folder has blanks in its name
  "$sim" --script "$script" -- $run "$@" 2>"$scratch/host.log" ||
    die "failed: $*: $(cat "$scratch/host.log")"
}

# try_hosts ARCHITECTURE STAGE: builds a project in C by pkg-config and one in
# C++ by find_package against the installation below STAGE, and runs them and the
# command that is there while a device is plugged in and pulled out.
try_hosts() {
  hosts=$scratch/hosts-$1
  mkdir "$hosts"
  build_consumers "$1" "$2" "$hosts"
  expect "$(in_machine "$1" "$2" $story "$hosts/c/list" | grep -E 'Printer|^. /sys/')" \
    "1209:0001 Card Printer
0 /sys/bus/usb/devices/1-1.4
1 /sys/bus/usb/devices/1-1.4"
  expect "$(in_machine "$1" "$2" $story "$hosts/cpp/build/event" | grep -F /sys/)" \
    "Memory Stick at /sys/bus/usb/devices/1-1.4
removed /sys/bus/usb/devices/1-1.4"
  # As it is at the start of the story.
  sed '/^$/q' $story >"$hosts/beginning.sim"
  expect "$(in_machine "$1" "$2" "$hosts/beginning.sim" "$2/usr/bin/tarni" list | grep -c Printer)" 1
}
