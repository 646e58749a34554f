#!/usr/bin/env bash
# Builds the command and takes one event the whole way on this machine: a physical drive fails, the
# event is written to an event log, mailed through a real mail server and read back. Then the watch
# service does the same by itself: in a virtual machine, a member of a real array fails.
# Usage: scripts/demo.sh [--no-machine|--installed]
# --no-machine leaves the virtual machine out; --installed too, and takes the command that is installed.
# What the virtual machine takes is installed after a yes (scripts/install-deps.sh); else it is left out.
# ONDREL_BUILD names a build folder whose command is shown as it is, without building.
set -euo pipefail
cd "$(dirname "$0")/.."

withMachine=yes
isInstalled=
case ${1:-} in
  "") ;;
  --no-machine) withMachine= ;;
  --installed) withMachine= isInstalled=yes ;;
  *) echo "usage: $0 [--no-machine|--installed]" >&2; exit 2 ;;
esac

buildFolder=${ONDREL_BUILD:-$PWD/build/demo}
folder=
processes=()

cleanUp() {
  local process
  for process in "${processes[@]}"; do
    kill "$process" 2>/dev/null || true
    wait "$process" 2>/dev/null || true
  done
  cd /
  [ -z "$folder" ] || rm -rf "$folder"
}
trap cleanUp EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

heading() { printf '\n== %s\n\n' "$1"; }

fail() {
  echo "demo: $1" >&2
  exit 1
}

# Shows a command as it would be typed, then runs it.
run() {
  show "$@"
  echo
  "$@"
}

show() {
  local word
  printf '$'
  for word in "$@"; do
    case $word in
      *[!A-Za-z0-9@./:_-]*) printf ' "%s"' "$word" ;;
      *) printf ' %s' "$word" ;;
    esac
  done
}

buildCommand() {
  if [ -n "$withMachine" ]; then
    local status=0
    scripts/install-deps.sh demo || status=$?
    case $status in
      0) ;;
      3) withMachine='' && echo "demo: the virtual machine is left out" ;;
      *) exit "$status" ;;
    esac
  fi
  [ -n "$withMachine" ] || scripts/install-deps.sh build
  mkdir -p "$buildFolder"
  cmake --preset linux -B "$buildFolder" \
    -DONDREL_BUILD_TESTS=OFF -DONDREL_WARNINGS_AS_ERRORS=OFF >"$buildFolder/configure.log" 2>&1 ||
    { cat "$buildFolder/configure.log" >&2; fail "cannot configure the build"; }
  cmake --build "$buildFolder" --target ondrel_tool
}

# Waits up to 30 seconds for a file to hold a text that a process of ours writes; shows the
# process's errors when it does not.
waitFor() {
  local file=$1 text=$2 process=$3 errors=$4 tries
  for ((tries = 0; tries < 300; ++tries)); do
    ! grep -qs "$text" "$file" || return 0
    kill -0 "$process" 2>/dev/null || break
    sleep 0.1
  done
  cat "$errors" >&2
  fail "nothing came of: $text"
}

scripts=$PWD/scripts
if [ -z "$isInstalled" ]; then
  heading "Build"
  [ -n "${ONDREL_BUILD:-}" ] || buildCommand
  export ONDREL_BUILD=$buildFolder
  PATH=$buildFolder/Tool:$PATH
else
  heading "The installed command"
  command -v ondrel >/dev/null || fail "no command ondrel is installed"
fi
run ondrel --version

# All that the demo writes stands in a folder of its own, which goes when it ends.
folder=$(mktemp -d)
cd "$folder"
mkdir mails

heading "A mail server on the loopback address"
/usr/bin/python3 "$scripts/demo-mail-server.py" mails >port 2>server-errors &
server=$!
processes+=("$server")
waitFor port '[0-9]' "$server" server-errors
port=$(cat port)
echo "It listens on port $port."

heading "The event that the status change stands for"
run ondrel status pd OPERATIONAL FAILED

heading "An event log with a first record, and another process that follows it"
run ondrel --store events.db log report Demo 10000 information "The demo has started"
follow=(ondrel --store events.db log follow Demo --count 1 --timeout 60)
show "${follow[@]}"
echo " &"
"${follow[@]}" >followed 2>follow-errors &
follower=$!
processes+=("$follower")
waitFor follow-errors 'following Demo' "$follower" follow-errors

heading "The drive fails: event log, mail, read back"
run ondrel --store events.db alert pd OPERATIONAL FAILED --object "PD 3 (slot 7)" --log Demo \
  --server 127.0.0.1 --port "$port" --mail-from raid@example.com --from-name "RAID service" \
  --to admin@example.com

heading "What the other process read"
wait "$follower" || fail "the other process did not see the event"
processes=("$server")
cat followed
grep -q ' 10471 PD_STATE_CHANGE_OP_TO_FAIL: ' followed || fail "the other process saw another event"

heading "The mail as the server received it"
[ -f mails/1.eml ] || fail "the mail did not arrive"
cat mails/1.envelope
echo
tr -d '\r' <mails/1.eml
grep -q 'status changed from OPERATIONAL to FAILED' mails/1.eml || fail "the mail says otherwise"

if [ -n "$withMachine" ]; then
  heading "A virtual machine: the service watches a real array, and a member fails"
  /usr/bin/python3 "$scripts/demo-machine.py" "$port" mails || fail "the machine's part did not work"
fi

heading "All steps worked"
