#!/usr/bin/env bash
# Writes the reference of the public interface to build/reference/html. An exported or public name
# without a comment is an error, as is whatever else Doxygen finds wrong.
# Usage: scripts/check-reference.sh
set -euo pipefail
cd "$(dirname "$0")/.."

mkdir -p build/reference
doxygen Docs/Doxyfile 2>&1 | { grep -E '(error|warning):' || true; } | sed "s|^$PWD/||" >build/reference/faults
if [ -s build/reference/faults ]; then
  cat build/reference/faults
  exit 1
fi
# The filter is found and does its work: a question that it alone explains has its page.
grep -rq 'OSFlags::HomeBasic' build/reference/html ||
  { echo "$0: scripts/reference-filter.py does not take part" >&2; exit 1; }
echo "the reference: build/reference/html, $(find build/reference/html -name '*.html' | wc -l) pages"
