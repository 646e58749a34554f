#!/usr/bin/env bash
# Runs a Windows program by Wine, without a display, in a prefix of the build tree.
# Usage: scripts/run-wine.sh PROGRAM [ARGUMENT]...
set -euo pipefail

unset DISPLAY WAYLAND_DISPLAY
export WINEPREFIX=${ONDREL_WINE_PREFIX:-$(dirname "$(readlink -f "$0")")/../build/windows/prefix}
# Wine's errors are shown: what it gives up for ends a program by a status without any other word.
export WINEARCH=win64 WINEDEBUG=${WINEDEBUG:--all,err+all}
# Neither of the two that a new prefix would ask for: no program here has use for them. And no
# debugger: where it looks at a crash, the program's exit status is 0.
export WINEDLLOVERRIDES="${WINEDLLOVERRIDES:-mscoree,mshtml=;winedbg.exe=}"

# This build of Wine is linked to low addresses and has no loader that keeps others away from them: where
# the system places the heap at random, it covers a page that Wine has to have in one of some thousand
# starts, which then ends with 1 ("failed to map the shared user data").
wine=(/usr/lib/wine/wine64)
# A container may refuse it.
if setarch --addr-no-randomize true 2>/dev/null; then
  wine=(setarch --addr-no-randomize "${wine[@]}")
fi
if [ ! -f "$WINEPREFIX/system.reg" ]; then
  mkdir -p "$WINEPREFIX"
  # One of several that start at once makes the prefix; the others wait.
  (
    flock 9
    [ -f "$WINEPREFIX/system.reg" ] || "${wine[@]}" wineboot -i >"$WINEPREFIX/boot.log" 2>&1
    while [ ! -f "$WINEPREFIX/system.reg" ]; do sleep 0.1; done
  ) 9>"$WINEPREFIX/lock"
fi
# The server outlives a program by some seconds: a start with none takes seconds. What comes with it
# must not hold the output of the program open. A program that was started a moment ago has seen to it;
# of several that start at once one does, since a server that is just ending refuses them. A start that
# fails all the same is left to the program, which has words for it.
started=$WINEPREFIX/started
isStarted() { [ -e "$started" ] && [ $(($(date +%s) - $(stat -c %Y "$started"))) -lt 8 ]; }
if ! isStarted; then
  (
    flock 9
    if ! isStarted; then
      for _ in 1 2 3; do
        wineserver -p15 9>&- || true
        if "${wine[@]}" cmd /c exit 9>&-; then break; fi
      done
    fi
    touch "$started"
  ) 9>"$WINEPREFIX/start-lock" </dev/null >/dev/null 2>&1
fi
touch "$started"
exec "${wine[@]}" "$@"
