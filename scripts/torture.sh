#!/usr/bin/env bash
# Tortures what has to lose nothing: writers and readers of a store and of a journal of its own are killed
# at any moment while the disk fills up and is freed, and while the store is removed and damaged; mails go
# through a server that fails at random; arrays in a virtual machine fail and heal while the watch service
# is killed. Prints what was tried and what became of it; ends with 1 when anything was lost in silence.
# Usage: scripts/torture.sh [--minutes N] [--only store|changing|journal|mails|machine]... [--mails N]
#                           [--seed S]
# --mails is the largest number of mails. ONDREL_BUILD names a build folder whose command is used as it is,
# without building.
# Runs in a mount namespace of its own, which takes root; the machine's journal is not touched.
set -euo pipefail
cd "$(dirname "$0")/.."

build=${ONDREL_BUILD:-}
if [ -z "$build" ]; then
  build=$PWD/build/linux
  cmake --preset linux >/dev/null
  cmake --build --preset linux -j "$(nproc)" --target ondrel_tool >/dev/null
fi
# The system's own interpreter has Debian's Python packages.
exec unshare --mount /usr/bin/python3 -B scripts/torture/main.py --command "$build/Tool/ondrel" "$@"
