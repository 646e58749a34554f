#!/usr/bin/env bash
# Installs what is missing, builds and runs the tests; at the end, a table of what each part took.
# Usage: scripts/test.sh [linux|vm|asan|tsan|windows|consumer|package|fuzz|torture|lint]...
#        scripts/test.sh quick    the unit tests and the format check
# Without arguments: all parts but quick.
#
# A part is a name in allParts and a function test<Name>, which may have two more before it:
# prepare<Name> gets what the part needs besides the packages of all, build<Name> compiles. While one
# part builds, another one is prepared or tested. Each of these steps writes a file of its own in
# build/log; what is wrong in it is shown as a whole when the step ends, and the other parts go on.
set -euo pipefail
cd "$(dirname "$0")/.."

allParts=(linux vm asan tsan windows consumer package fuzz torture lint)
partsOnRequest=(quick)
# Their tests use nothing of the machine that another part's tests use: two parts are tested at the
# same time when one of them is of these.
partsApart=(windows consumer package fuzz torture lint)
# Their tests measure time on an emulated machine: nothing else runs meanwhile.
partsAlone=(vm)

jobs=$(nproc)
logs=build/log

# Configures a preset.
configurePreset() { cmake --preset "$1"; }

# Configures and builds a preset; what follows its name goes to the build.
buildPreset() {
  configurePreset "$1"
  cmake --build --preset "$1" -j "$jobs" "${@:2}"
}

# Counts tests of the part whose step runs: so many passed, so many failed.
countTests() { echo "$1 $2" >>"$logs/$part.count"; }

# Runs a command as one test of the part, and says what it took.
check() {
  local start=$SECONDS
  if "$@"; then
    countTests 1 0
    echo "$* took $((SECONDS - start)) s"
  else
    countTests 0 1
    echo "failed: $*"
    return 1
  fi
}

# Runs a command as a test for each of what follows it, as many at the same time as there are
# processors.
sideBySide() {
  local command=$1 argument count=0 status=0
  shift
  for argument in "$@"; do
    if [ "$count" -ge "$jobs" ]; then
      wait -n || status=1
      count=$((count - 1))
    fi
    check "$command" "$argument" &
    count=$((count + 1))
  done
  for (( ; count > 0; count--)); do wait -n || status=1; done
  return "$status"
}

# Counts the tests of a run of ctest: those of the programs that count theirs, and what else was run.
countTestsOf() {
  awk '
    /^[0-9]+\/[0-9]+ Testing: / { own = 0 }
    /^\[  PASSED  \] [0-9]+ tests?\.$/ { passed += $4; own = 1 }
    /^\[  FAILED  \] [0-9]+ tests?, listed below:$/ { failed += $4; failures = 1; own = 1 }
    /^Test Passed\.$/ { if (!own) passed++ }
    /^Test (Failed|timed out)/ { if (!own || !failures) failed++; failures = 0 }
    END { print passed + 0, failed + 0 }' "$1"
}

# Of each program, without the lines of tests that passed; the test in which a program ended stays.
withoutPassed() {
  awk '
    /^\[ RUN      \] / { held = $0; next }
    /^\[       OK \] / { held = ""; next }
    / Passed +[0-9.]+ sec$/ || / Start +[0-9]+: / { next }
    { if (held != "") print held; held = ""; print }' "$1"
}

# Runs the tests of a preset; what follows its name chooses among them.
runTests() {
  local preset=$1 status=0
  shift
  ctest --test-dir "build/$preset" "$@" -j "$jobs" --output-on-failure --no-tests=error \
    --output-log "$logs/$part-ctest.log" >"$logs/$part-ctest.out" || status=$?
  # shellcheck disable=SC2046 # two numbers
  countTests $(countTestsOf "build/$preset/Testing/Temporary/LastTest.log")
  # A machine that is there for the tests has what each of them takes.
  if [ -n "${CI:-}" ] && grep -aE '^\[  SKIPPED \] ' "build/$preset/Testing/Temporary/LastTest.log"; then
    echo "failed: with CI no test may be skipped"
    countTests 0 1
    status=1
  fi
  [ "$status" -eq 0 ] || withoutPassed "$logs/$part-ctest.out"
  [ "$status" -ne 0 ] || tail -n 6 "$logs/$part-ctest.out"
  return "$status"
}

buildLinux() { buildPreset linux; }
testLinux() { runTests linux --label-exclude vm; }

# Virtual machines run by emulation alone: no hardware support is asked for.
prepareVm() { scripts/install-deps.sh vm; }
buildVm() { buildPreset linux; }
# In their folder: another run of tests keeps its notes in that of the build.
testVm() { runTests linux/Tests/Vm; }

# Where a loaded library's block for a thread happens to begin 16 bytes into a page, this Clang's leak check
# takes the bytes before it for its place and ends with "Tracer caught signal 11". Without this it does not
# guess; what such a block refers to is no leak all the same, since the dynamic linker has allocated it.
leakCheck=detect_leaks=1:intercept_tls_get_addr=0

buildAsan() { buildPreset asan; }
testAsan() {
  ASAN_OPTIONS=$leakCheck:strict_string_checks=1:check_initialization_order=1 \
    UBSAN_OPTIONS=print_stacktrace=1 \
    LSAN_OPTIONS=suppressions="$PWD/Tests/Support/leaks.supp" \
    runTests asan
}

buildTsan() { buildPreset tsan; }
testTsan() {
  TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1:suppressions="$PWD/Tests/Support/threads.supp" \
    runTests tsan
}

prepareWindows() {
  scripts/install-deps.sh windows
  scripts/build-windows-deps.sh
  # Makes the prefix of the tests.
  scripts/run-wine.sh cmd /c exit
}
buildWindows() {
  # What the hosts' answers about dates are compared with.
  buildPreset linux --target date-answers
  buildPreset windows
}
testWindows() {
  runTests windows
  check scripts/test-windows-package.sh
}

buildConsumer() { buildPreset linux; }
# The installed build, as programs of strangers use it.
testConsumer() { check scripts/test-installed.sh; }

preparePackage() { scripts/install-deps.sh package; }
buildPackage() { scripts/test-package.sh build; }
# The Debian packages, and what they do in a bare root.
testPackage() {
  local status=0 step
  for step in check interface root twice; do check scripts/test-package.sh "$step" || status=1; done
  return "$status"
}

# Runs one fuzz target for some seconds, from the same seed each time: a random one is FUZZ_SEED=0.
runFuzzTarget() {
  local name=${1##*/}
  local corpus=build/fuzz/corpus/$name
  local folders=("$corpus")
  mkdir -p "$corpus"
  [ ! -d "Fuzz/Corpus/$name" ] || folders+=("Fuzz/Corpus/$name")
  [ ! -f "Fuzz/$name.dict" ] || folders+=("-dict=Fuzz/$name.dict")
  ASAN_OPTIONS=$leakCheck "$1" -max_total_time="${FUZZ_SECONDS:-15}" -seed="${FUZZ_SEED:-1}" -timeout=60 \
    -rss_limit_mb=4096 -print_final_stats=1 -artifact_prefix="build/fuzz/$name-" "${folders[@]}" \
    >"build/fuzz/$name.log" 2>&1 || { tail -n 60 "build/fuzz/$name.log"; return 1; }
  echo "$name: $(grep -E 'stat::number_of_executed_units' "build/fuzz/$name.log")"
}

# The objects are this part's own: libFuzzer steers by counters that only Clang compiles into them.
buildFuzz() { buildPreset fuzz --target Fuzz/all; }
testFuzz() { sideBySide runFuzzTarget build/fuzz/Fuzz/*Fuzz; }

buildTorture() { buildPreset linux; }
# All but the machine, whose arrays fail in the part vm.
testTorture() {
  check scripts/torture.sh --minutes "${TORTURE_MINUTES:-3}" --only store --only changing --only journal \
    --only mails
}

checkFormat() { git ls-files -z '*.cpp' '*.h' | xargs -0 -P "$jobs" -n 40 clang-format --dry-run --Werror; }

checkScripts() {
  bash -n scripts/*.sh .ci/run && scripts/check-structure.py &&
    git ls-files -z '*.md' | xargs -0 scripts/check-links.py
}

# What it found out about a file holds for as long as the file, with all that it includes, is the same, and
# it is asked in the same way; it is kept for all clones, of which one at a time is checked.
checkWithCppcheck() {
  local known arguments=(
    --quiet --std=c++20 --enable=warning,performance,portability --inline-suppr
    --error-exitcode=1 --suppressions-list=Tests/Support/cppcheck.supp
    -i Src/Host/Win32 -i Pirsk/Host/Win32 -i Tool/Host/Win32 -i Tool/Watch/Win32
    -I Include -I Src -I Pirsk Pirsk Src Tool
  )
  known=$({ cppcheck --version && echo "${arguments[@]}" && cat Tests/Support/cppcheck.supp; } | sha256sum)
  known=${XDG_CACHE_HOME:-${HOME-}/.cache}/ondrel-cppcheck/${known:0:16}
  mkdir -p "$known" &&
    flock "$known/lock" cppcheck -j "$jobs" --cppcheck-build-dir="$known" "${arguments[@]}"
}

checkWithClangTidy() {
  git ls-files -z 'Pirsk/*.cpp' 'Src/*.cpp' 'Tool/*.cpp' | grep -vz /Win32/ |
    xargs -0 scripts/tidy.py --build build/linux --jobs "$jobs"
}

# The checks take the compiler's arguments from there.
buildLint() { configurePreset linux; }
testLint() {
  local status=0
  check checkFormat || status=1
  check checkScripts || status=1
  check scripts/check-reference.sh || status=1
  check checkWithCppcheck || status=1
  check checkWithClangTidy || status=1
  return "$status"
}

# Runs a test program as a whole, which takes a fraction of a start for each test.
runProgram() {
  local output=$logs/$part-${1##*/}.out status=0 passed failed
  "$1" --gtest_brief=1 >"$output" 2>&1 || status=$?
  passed=$(sed -nE 's/^\[  PASSED  \] ([0-9]+) tests?\.$/\1/p' "$output")
  failed=$(sed -nE 's/^\[  FAILED  \] ([0-9]+) tests?, listed below:$/\1/p' "$output")
  echo "${1##*/}: ${passed:-0} passed, ${failed:-0} failed"
  # The program itself counts as one more.
  countTests "${passed:-0}" "${failed:-0}"
  [ "$status" -eq 0 ] || cat "$output"
  return "$status"
}

buildQuick() { buildPreset linux --target Tests/Unit/all; }
testQuick() {
  local status=0
  check checkFormat || status=1
  sideBySide runProgram build/linux/Tests/Unit/*-tests || status=1
  return "$status"
}

declare -A running=()    # process of a step to its part and kind
declare -A ended=()      # step to its exit status
declare -A began=() took=()

isFunction() { declare -F "$1" >/dev/null; }
isAmong() {
  local word
  for word in "${@:2}"; do [ "$word" != "$1" ] || return 0; done
  return 1
}
isRunning() { isAmong "$1" "${running[@]}"; }

isAnyRunning() { # of a kind
  local step
  for step in "${running[@]}"; do [[ $step != *-"$1" ]] || return 0; done
  return 1
}

# Whether a step can start: those before it have succeeded, and no other is in its way.
mayStart() {
  local part=$1 kind=$2 step
  [ -z "${ended[$part-$kind]-}" ] && ! isRunning "$part-$kind" || return 1
  for step in "${partsAlone[@]}"; do ! isRunning "$step-test" || return 1; done
  case $kind in
    prepare) ! isAnyRunning prepare && ! isAnyRunning "test" ;;
    build) ! isAnyRunning build && [ "${ended[$part-prepare]-}" = 0 ] ;;
    test)
      [ "${ended[$part-build]-}" = 0 ] && ! isAnyRunning prepare || return 1
      if isAmong "$part" "${partsAlone[@]}"; then
        [ "${#running[@]}" -eq 0 ]
        return
      fi
      for step in "${running[@]}"; do
        [[ $step != *-test ]] || isAmong "$part" "${partsApart[@]}" ||
          isAmong "${step%-test}" "${partsApart[@]}" || return 1
      done
      ;;
  esac
}

startStep() {
  local part=$1 kind=$2 step=$1-$2
  began[$step]=$SECONDS
  # In a group of processes of its own, which can be ended as a whole.
  set -m
  (
    set -euo pipefail
    trap 'times >"$logs/$step.processor"' EXIT
    "$kind${part^}"
  ) >"$logs/$step.log" 2>&1 </dev/null &
  set +m
  running[$!]=$step
}

# Notes that a step has ended, and shows what there is to see of it.
endStep() {
  local step=$1 status=$2
  local part=${step%-*} kind=${step##*-}
  ended[$step]=$status
  took[$step]=$((SECONDS - ${began[$step]:-$SECONDS}))
  if [ "$status" -ne 0 ]; then
    echo "== $part: $kind failed with status $status in ${took[$step]} s ($logs/$step.log)"
    # Without the progress of a build.
    grep -vE '^\[[0-9]+/[0-9]+\] ' "$logs/$step.log" || true
  elif [ "$kind" = "test" ]; then
    echo "== $part: passed in ${took[$step]} s"
    cat "$logs/$step.log"
  else
    echo "== $part: $kind took ${took[$step]} s"
  fi
}

# Starts what can start: two steps at the same time, so that what waits or has a long last command
# leaves no processor idle, with the parts' builds first.
startSteps() {
  local kind part
  for kind in build prepare "test"; do
    for part in "${parts[@]}"; do
      [ "${#running[@]}" -lt 2 ] || return 0
      if mayStart "$part" "$kind"; then startStep "$part" "$kind"; fi
    done
  done
}

runSteps() {
  local pid status
  # Not as the loop's condition: the steps would not stop at what fails in them.
  startSteps
  while [ "${#running[@]}" -gt 0 ]; do
    status=0
    wait -n -p pid "${!running[@]}" || status=$?
    endStep "${running[$pid]}" "$status"
    unset "running[$pid]"
    startSteps
  done
}

# Seconds that the processors worked for the steps of a part.
processorTime() {
  cat "$logs/$1"-*.processor 2>/dev/null |
    awk -F '[ms ]+' '{all += ($1 + $3) * 60 + $2 + $4} END {printf "%d", all}'
}

# The table of the parts, and as the last line the sum of their tests. A part that did not get
# through counts as a failed test at least.
report() {
  local part passed failed allPassed=0 allFailed=0 verdict kind
  echo
  printf '%-10s %11s %11s %11s %11s %8s %8s  %s\n' part preparing building testing processor passed \
    failed result
  for part in "${parts[@]}"; do
    read -r passed failed < <(awk '{p += $1; f += $2} END {print p + 0, f + 0}' "$logs/$part.count")
    verdict=passed
    for kind in "test" build prepare; do
      case ${ended[$part-$kind]-} in
        0) ;;
        '') verdict='not run to its end' ;;
        *) verdict="failed: $kind" ;;
      esac
    done
    if [ "$verdict" = passed ]; then
      [ "$failed" -eq 0 ] || verdict='failed: test'
    else
      [ "$failed" -gt 0 ] || failed=1
    fi
    allPassed=$((allPassed + passed)) allFailed=$((allFailed + failed))
    printf '%-10s %9s s %9s s %9s s %9s s %8s %8s  %s\n' "$part" "${took[$part-prepare]:-0}" \
      "${took[$part-build]:-0}" "${took[$part-test]:-0}" "$(processorTime "$part")" "$passed" "$failed" \
      "$verdict"
  done
  echo "all of it in $SECONDS s"
  echo
  echo "$allPassed passed, $allFailed failed"
  [ "$allFailed" -eq 0 ]
}

stop() {
  trap '' INT TERM HUP
  local pid step
  echo "Stopped; ending ${running[*]:-nothing}" >&2
  for pid in "${!running[@]}"; do kill -TERM -- "-$pid" 2>/dev/null || true; done
  for pid in "${!running[@]}"; do
    # What does not end at the request is ended.
    for _ in {1..50}; do
      kill -0 -- "-$pid" 2>/dev/null || break
      sleep 0.1
    done
    kill -KILL -- "-$pid" 2>/dev/null || true
  done
  report || true
  exit $((128 + $1))
}

parts=("$@")
[ ${#parts[@]} -gt 0 ] || parts=("${allParts[@]}")
for part in "${parts[@]}"; do
  isAmong "$part" "${allParts[@]}" "${partsOnRequest[@]}" ||
    { echo "usage: $0 [${allParts[*]} ${partsOnRequest[*]}]" >&2; exit 2; }
done

scripts/install-deps.sh "test"
# Whoever sits in front is asked here: later steps run side by side, without a terminal, where nothing
# more is installed without consent.
for part in "${parts[@]}"; do
  case $part in vm | windows | package) scripts/install-deps.sh "$part" ;; esac
done
mkdir -p "$logs"
trap 'stop 2' INT
trap 'stop 15' TERM
trap 'stop 1' HUP
for part in "${parts[@]}"; do
  : >"$logs/$part.count"
  rm -f "$logs/$part"-*.processor
  for kind in prepare build; do
    isFunction "$kind${part^}" || ended[$part-$kind]=0
  done
  # A password can be asked for in the foreground alone.
  if isFunction "prepare${part^}" && [ "$(id -u)" -ne 0 ] && ! sudo -n true 2>/dev/null; then
    began[$part-prepare]=$SECONDS
    set +e
    (set -e; "prepare${part^}") 2>&1 | tee "$logs/$part-prepare.log"
    status=$?
    set -e
    endStep "$part-prepare" "$status"
  fi
done
runSteps
report
