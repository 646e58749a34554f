#!/usr/bin/env bash
# Compares the names that a built library exports, or imports from the base library, with a list.
# Usage: compare-names.sh exports|imports LIBRARY LIST
#
# A list holds one demangled name a line. In a list of imports a line that begins with "- " is a name
# that may be imported and is not yet.
set -euo pipefail
export LC_ALL=C

kind=$1 library=$2 list=$3

namesOf() {
  case "$kind" in
    exports) nm -D --defined-only "$library" | awk '$2 != "A" {print $NF}' ;;
    imports) nm -D --undefined-only "$library" | awk '{print $NF}' | grep -E '^_Z[A-Z]*N?K?5Pirsk' ;;
  esac | sed 's/@.*//' | c++filt | sort -u
}

expected=$(grep -vE '^(#|$|- )' "$list" | sort -u)
if diff <(echo "$expected") <(namesOf); then
  echo "$(echo "$expected" | wc -l) $kind as listed"
else
  echo "the $kind of $library differ from $list (< listed, > found)" >&2
  exit 1
fi
