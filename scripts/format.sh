#!/usr/bin/env bash
# Formats every source file in place.
set -euo pipefail
cd "$(dirname "$0")/.."
git ls-files '*.cpp' '*.h' | xargs clang-format -i
