#!/usr/bin/env bash
# Compares the interface of a built library (names, layouts, virtual functions, types of arguments and
# results) with its description, and says in words whether programs that were built against the
# described one still work.
# Usage: scripts/check-interface.sh DESCRIPTION LIBRARY HEADERS [DEBUG]
#        scripts/check-interface.sh --renew DESCRIPTION LIBRARY HEADERS [DEBUG]
#
# HEADERS is the folder of the public headers: types that stand elsewhere are the library's own to
# change. DEBUG is the folder of the library's separate debug file (.build-id lies in it), without which
# the library has the debug information itself. --renew writes the description.
set -euo pipefail
export LC_ALL=C

leftOut=$(dirname "$0")/../Tests/Exports/interface.suppr
isRenewed=
if [ "${1-}" = --renew ]; then isRenewed=yes; shift; fi
[ $# -eq 3 ] || [ $# -eq 4 ] || { sed -n '5,6s/^# //p' "$0" >&2; exit 2; }
description=$1 library=$2 headers=$3 debug=${4-}

fail() { echo "$0: $1" >&2; exit 1; }

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

names=$(find "$headers" -name '*.h' -printf '%f\n' | sort -u | paste -sd, | sed 's/,/, /g')
[ -n "$names" ] || fail "there are no headers in $headers"
{
  cat "$leftOut"
  printf '\n[suppress_type]\n  name_regexp = ^(Ondrel|Pirsk)::\n  source_location_not_in = %s\n  drop = yes\n' \
    "$names"
} >"$folder/left-out"

abidw --suppressions "$folder/left-out" ${debug:+--debug-info-dir "$debug"} --exported-interfaces-only \
  --no-architecture --no-comp-dir-path --no-corpus-path --no-elf-needed --no-parameter-names \
  --no-show-locs --no-write-default-sizes --type-id-style hash --out-file "$folder/found" "$library" ||
  fail "the interface of $library cannot be read"
# A library without debug information has names alone.
grep -q '<class-decl ' "$folder/found" || fail "$library has no debug information"

if [ -n "$isRenewed" ]; then
  cp "$folder/found" "$description"
  echo "described: $(grep -c '<elf-symbol ' "$description") names of ${library##*/} in $description"
  exit
fi

failIncompatible() {
  fail "the interface of ${library##*/} has changed in an incompatible way: programs built against version\
 $(sed -nE "s/.* soname='[^']*\.so\.([0-9]+)'.*/\1/p" "$description") break. Undo the change, or give the library a new major version"
}

# 1 and 2 stand for failures of the comparison, 4 for a change, 8 besides for one that is incompatible
# whatever the types.
compare() {
  local status=0
  abidiff --no-show-locs "$@" "$description" "$folder/found" >"$folder/changes" || status=$?
  [ $((status & 3)) -eq 0 ] || { cat "$folder/changes" >&2; fail "$description cannot be compared"; }
  [ "$status" -eq 0 ]
}

if ! "$(dirname "$0")/compare-layouts.py" "$description" "$folder/found" >"$folder/layouts"; then
  compare || cat "$folder/changes" >&2
  cat "$folder/layouts" >&2
  failIncompatible
elif compare; then
  echo "the interface of ${library##*/} is as described: $(grep -c '<elf-symbol ' "$description") names"
elif compare --no-added-syms; then
  compare || cat "$folder/changes" >&2
  fail "the interface of ${library##*/} has grown: programs still work, and the description is to be renewed"
else
  cat "$folder/changes" >&2
  failIncompatible
fi
