#!/bin/sh
# SPDX-License-Identifier: MIT
# docs_test.sh TREE: the manual knows every text of the log and no other; links lead
# to files and tests that are named exist; the manual pages are well-formed.
# Backquotes are those of Markdown.
# shellcheck disable=SC2016
set -u
cd "$1" || exit 1

# Texts that the library writes; literals that stand side by side are one.
log_texts() {
  find src \( -name '*.cpp' -o -name '*.h' \) ! -name tarni.h -exec cat {} + | tr '\n' ' ' |
    sed -E 's/" +"//g; s/\\n"/"/g' |
    grep -oE '"(\[UDF\] |FinderTPMgr: |KLAV_usb_tpm: |File_IO::|Success: |Error deleting )[^"]+"' |
    sed 's/^"//; s/"$//' | sort -u
}

complaints() {
  texts=$(log_texts)
  section=$(sed -n '/^## The log$/,$p' docs/manual.md)
  # Whole texts: between backquotes, or on a line of their own.
  told=$(printf '%s\n' "$section" | grep -oE '^\[UDF\].*|`[^`]*`' | tr -d '`')
  echo "$texts" | while read -r text; do
    printf '%s\n' "$told" | sed 's/ *$//' | grep -qxF -e "$text" || echo "not in the manual: $text"
  done
  printf '%s\n' "$told" | grep '^\[UDF\] .' | sed 's/ *$//' | while read -r text; do
    echo "$texts" | sed 's/ *$//' | grep -qxF -e "$text" || echo "not in the source: $text"
  done
  for page in docs/*.md; do
    grep -o '](\([^)#]*\)' "$page" | sed 's/](//' | grep -v ':' | sort -u | while read -r link; do
      [ -z "$link" ] || [ -e "docs/$link" ] || echo "$page: no such file: $link"
    done
    grep -oE '`[A-Za-z]+Test\.[A-Za-z]+`' "$page" | tr '`.' '  ' | while read -r suite name; do
      grep -rqF "($suite, $name)" tests || echo "$page: no such test: $suite.$name"
    done
  done
  command -v groff >/dev/null || return 0
  for page in docs/man/*.[1-8]; do groff -ww -mdoc -Tutf8 -z "$page" 2>&1; done
}

[ "$(log_texts | wc -l)" -gt 80 ] || exit 1
found=$(complaints)
[ -z "$found" ] || { echo "$found"; exit 1; }
