#!/usr/bin/env bash
# Runs a Windows program by Wine, without a display, in a prefix of the build tree.
# Usage: scripts/run-wine.sh PROGRAM [ARGUMENT]...
set -euo pipefail

# Tests start this thousands of times: what comes before the program starts no other one.
script=$0
[ ! -L "$script" ] || script=$(readlink -f "$script")
[[ $script == */* ]] || script=./$script
[[ $script == /* ]] || script=$PWD/$script
unset DISPLAY WAYLAND_DISPLAY
export WINEPREFIX=${ONDREL_WINE_PREFIX:-${script%/*}/../build/windows/prefix}
# Wine's errors are shown: what it gives up for ends a program by a status without any other word.
export WINEARCH=win64 WINEDEBUG=${WINEDEBUG:--all,err+all}
# Neither of the two that a new prefix would ask for: no program here has use for them. And no
# debugger: where it looks at a crash, the program's exit status is 0.
export WINEDLLOVERRIDES="${WINEDLLOVERRIDES:-mscoree,mshtml=;winedbg.exe=}"

# This build of Wine is linked to low addresses and has no loader that keeps others away from them: where
# the system places the heap at random, it covers a page that Wine has to have in one of some thousand
# starts, which then ends with 1 ("failed to map the shared user data"). A container may refuse to place
# it elsewhere.
chooseWine() {
  wine=(/usr/lib/wine/wine64)
  [ "$heap" = random ] || wine=(setarch --addr-no-randomize "${wine[@]}")
}

# The server outlives a program by some seconds: a start with none takes seconds. What comes with it
# must not hold the output of the program open. A program that was started a moment ago has seen to it,
# and noted when, and where the heap is; of several that start at once one does, since a server that is
# just ending refuses them. A start that fails all the same is left to the program, which has words for it.
started=$WINEPREFIX/started
time=0 heap=
isStarted() {
  { read -r time heap <"$started"; } 2>/dev/null && [[ $time =~ ^[1-9][0-9]{0,11}$ ]] &&
    ((time <= EPOCHSECONDS && EPOCHSECONDS - time < 8))
}
noteStart() { echo "$EPOCHSECONDS $heap" >"$started"; }

if ! isStarted; then
  heap=fixed
  setarch --addr-no-randomize true 2>/dev/null || heap=random
  chooseWine
  mkdir -p "$WINEPREFIX"
  (
    flock 9
    if [ ! -f "$WINEPREFIX/system.reg" ]; then
      if "${wine[@]}" wineboot -i >"$WINEPREFIX/boot.log" 2>&1 9>&-; then
        # The server writes it a moment later.
        for _ in {1..600}; do [ ! -f "$WINEPREFIX/system.reg" ] || break; sleep 0.1; done
      fi
    fi
    [ -f "$WINEPREFIX/system.reg" ] || exit
    if ! (isStarted); then
      for _ in 1 2 3; do
        wineserver -p15 9>&- || true
        if "${wine[@]}" cmd /c exit 9>&-; then break; fi
      done
    fi
    noteStart
  ) 9>"$WINEPREFIX/start-lock" </dev/null >/dev/null 2>&1 || true
  if [ ! -f "$WINEPREFIX/system.reg" ]; then
    cat "$WINEPREFIX/boot.log" >&2 || true
    echo "$0: Wine could not make its folder $WINEPREFIX" >&2
    exit 1
  fi
elif ((EPOCHSECONDS - time > 2)); then
  # Without it the next start looks for itself.
  (noteStart) 2>/dev/null || true
fi
chooseWine
exec "${wine[@]}" "$@"
