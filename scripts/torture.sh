#!/usr/bin/env bash
# Writes events into a store on a small file system, and into a journal of its own, with many
# writers and readers that are killed at any moment, while the disk fills up and is freed again.
# Prints what was tried and what became of it; ends with 1 when anything was lost in silence.
# Usage: scripts/torture.sh [--minutes N] [--store-only] [--seed S]
# ONDREL_BUILD names a build folder whose command is used as it is, without building.
# Runs in a mount namespace of its own, which takes root; the machine's journal is not touched.
set -euo pipefail
cd "$(dirname "$0")/.."

build=${ONDREL_BUILD:-}
if [ -z "$build" ]; then
  build=$PWD/build/linux
  cmake --preset linux >/dev/null
  cmake --build --preset linux -j "$(nproc)" --target ondrel_tool >/dev/null
fi
exec unshare --mount scripts/torture.py --command "$build/Tool/ondrel" "$@"
