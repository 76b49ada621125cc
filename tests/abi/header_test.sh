#!/bin/sh
# SPDX-License-Identifier: MIT
# header_test.sh FOLDER [CC CXX]...: tarni.h alone compiles in each language; its
# static assertions check the layout for the target of each compiler.
set -eu
folder=$1
shift

compile() {
  echo '#include <tarni.h>' |
    "$@" -I"$folder" -Wall -Wextra -pedantic -Werror -fsyntax-only -
}

while [ $# -gt 0 ]; do
  for standard in c99 c11 c17; do
    compile "$1" -x c -std=$standard
  done
  for standard in c++11 c++17 c++20; do
    compile "$2" -x c++ -std=$standard
  done
  # A host whose records differ must not get through, in any of its languages.
  for standard in c99 c11; do
    if compile "$1" -x c -std=$standard -fshort-enums 2>/dev/null; then
      echo "$1 -std=$standard -fshort-enums went through"
      exit 1
    fi
  done
  shift 2
done
