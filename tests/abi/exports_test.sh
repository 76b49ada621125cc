#!/bin/sh
# SPDX-License-Identifier: MIT
# exports_test.sh LIBRARY SYMBOLS: LIBRARY has the SONAME and exports exactly the
# names that the Debian symbols file SYMBOLS lists, no more and none in a version.
set -eu
library=$1
symbols=$2

expected=$(sed -n 's/^ \(.*\)@Base .*/\1/p' "$symbols")
exported=$(nm --dynamic --defined-only --with-symbol-versions "$library" | sed 's/^[^ ]* //' | sort)
if [ "$exported" != "$(echo "$expected" | sed 's/^/T /')" ]; then
  printf 'exported:\n%s\nexpected:\n%s\n' "$exported" "$expected"
  exit 1
fi
[ "$(echo "$expected" | wc -l)" -eq 16 ]

readelf --dynamic "$library" | grep -F 'soname: [libtarni.so.0]'
