#!/usr/bin/env bash
# Compares the names that a built library exports, or imports from the base library, with a list.
# Usage: compare-names.sh exports|imports LIBRARY LIST
#
# A list holds one demangled name a line. In a list of imports a line that begins with "- " is a name
# that may be imported and is not yet. The lists hold for both hosts: a 64-bit number is called by
# one name, and so is the interface's 32-bit `unsigned long` of Windows and its `unsigned int`
# elsewhere.
set -euo pipefail
export LC_ALL=C

kind=$1 library=$2 list=$3

namesOfObject() {
  case "$kind" in
    exports) nm -D --defined-only "$library" | awk '$2 != "A" {print $NF}' ;;
    imports) nm -D --undefined-only "$library" | awk '{print $NF}' | grep -E '^_Z[A-Z]*N?K?5Pirsk' ;;
  esac | sed 's/@.*//' | c++filt
}

namesOfDll() {
  x86_64-w64-mingw32-objdump -p "$library" | case "$kind" in
    exports) awk '/^\[Ordinal\/Name Pointer\] Table/ {inTable = 1; next} inTable && NF == 0 {exit}
      inTable {print $NF}' ;;
    imports) awk '/DLL Name:/ {inTable = $3 == "pirsk.dll"; next}
      inTable && $1 ~ /^[0-9a-f]+$/ && NF == 3 {print $3}' ;;
  esac | c++filt |
    sed -E 's/unsigned long long/@/g; s/unsigned long/unsigned int/g; s/@/unsigned long/g'
}

namesOf() {
  case "$library" in
    *.dll) namesOfDll ;;
    *) namesOfObject ;;
  esac | oneNameOfNumbers
}

# The text of a type's name comes with its type information; a DLL does not export it by itself.
apartFromTypeNames() {
  case "$library" in
    *.dll) grep -v '^typeinfo name for ' ;;
    *) cat ;;
  esac
}

# Numbers of 64 bits, in names of types and after their digits.
oneNameOfNumbers() { sed -E 's/long long/long/g; s/([0-9])ll\b/\1l/g' | sort -u; }

expected=$(grep -vE '^(#|$|- )' "$list" | apartFromTypeNames | oneNameOfNumbers)
if diff <(echo "$expected") <(namesOf); then
  echo "$(echo "$expected" | wc -l) $kind as listed"
else
  echo "the $kind of $library differ from $list (< listed, > found)" >&2
  exit 1
fi
