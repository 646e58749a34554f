#!/usr/bin/env bash
# Runs a Windows program by Wine, without a display, in a prefix of the build tree.
# Usage: scripts/run-wine.sh PROGRAM [ARGUMENT]...
set -euo pipefail

unset DISPLAY WAYLAND_DISPLAY
export WINEPREFIX=${ONDREL_WINE_PREFIX:-$(dirname "$(readlink -f "$0")")/../build/windows/prefix}
export WINEARCH=win64 WINEDEBUG=${WINEDEBUG:--all}
# Neither of the two that a new prefix would ask for: no program here has use for them. And no
# debugger: where it looks at a crash, the program's exit status is 0.
export WINEDLLOVERRIDES="${WINEDLLOVERRIDES:-mscoree,mshtml=;winedbg.exe=}"

wine=/usr/lib/wine/wine64
if [ ! -f "$WINEPREFIX/system.reg" ]; then
  mkdir -p "$WINEPREFIX"
  # One of several that start at once makes the prefix; the others wait.
  (
    flock 9
    [ -f "$WINEPREFIX/system.reg" ] || "$wine" wineboot -i >"$WINEPREFIX/boot.log" 2>&1
    while [ ! -f "$WINEPREFIX/system.reg" ]; do sleep 0.1; done
  ) 9>"$WINEPREFIX/lock"
fi
# The server outlives a program by some seconds: a start with none takes seconds. What comes with it
# must not hold the output of the program open. A program that was started a moment ago has seen to it.
started=$WINEPREFIX/started
if [ ! -e "$started" ] || [ $(($(date +%s) - $(stat -c %Y "$started"))) -ge 8 ]; then
  {
    wineserver -p15 || true
    "$wine" cmd /c exit
  } </dev/null >/dev/null 2>&1
fi
touch "$started"
exec "$wine" "$@"
