#!/usr/bin/env bash
# Installs what is missing, builds and runs the tests.
# Usage: scripts/test.sh [linux|vm|asan|tsan|windows|consumer|fuzz|lint]...
# Without arguments: all of them.
set -euo pipefail
cd "$(dirname "$0")/.."

allParts=(linux vm asan tsan windows consumer fuzz lint)
jobs=$(nproc)

# Configures and builds a preset; what follows its name goes to the build.
buildPreset() {
  cmake --preset "$1" >"build/$1-configure.log" 2>&1 || { cat "build/$1-configure.log"; return 1; }
  cmake --build --preset "$1" -j "$jobs" "${@:2}"
}

# Runs the tests of a preset; what follows its name chooses among them.
runTests() {
  local preset=$1
  shift
  ctest --test-dir "build/$preset" "$@" -j "$jobs" --output-on-failure --no-tests=error \
    --output-log "build/$preset-tests.log" >"build/$preset-tests.out" ||
    { grep -vE ' (Start +[0-9]+: |.* Passed +[0-9.]+ sec)' "build/$preset-tests.out"; return 1; }
  tail -n 6 "build/$preset-tests.out"
}

testLinux() { buildPreset linux && runTests linux --label-exclude vm; }

# Virtual machines run by emulation alone: no hardware support is asked for.
testVm() {
  scripts/install-deps.sh vm
  buildPreset linux
  runTests linux --label-regex vm
}

testAsan() {
  buildPreset asan
  ASAN_OPTIONS=detect_leaks=1:strict_string_checks=1:check_initialization_order=1 \
    UBSAN_OPTIONS=print_stacktrace=1 \
    LSAN_OPTIONS=suppressions="$PWD/Tests/Support/leaks.supp" \
    runTests asan
}

testTsan() {
  buildPreset tsan
  TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1:suppressions="$PWD/Tests/Support/threads.supp" \
    runTests tsan
}

testWindows() {
  scripts/install-deps.sh windows
  scripts/build-windows-deps.sh
  # What the hosts' answers about dates are compared with.
  buildPreset linux --target date-answers
  buildPreset windows
  runTests windows
  scripts/test-windows-package.sh
}

# The installed build, as programs of strangers use it.
testConsumer() {
  buildPreset linux
  scripts/test-installed.sh
}

testFuzz() {
  buildPreset fuzz
  local target name corpus
  for target in build/fuzz/Fuzz/*Fuzz; do
    name=$(basename "$target")
    corpus=build/fuzz/corpus/$name
    mkdir -p "$corpus"
    echo "fuzz $name"
    "$target" -max_total_time="${FUZZ_SECONDS:-15}" -timeout=10 -rss_limit_mb=4096 -print_final_stats=1 \
      -artifact_prefix="build/fuzz/$name-" "$corpus" \
      $(test -d "Fuzz/Corpus/$name" && echo "Fuzz/Corpus/$name") >"build/fuzz/$name.log" 2>&1 ||
      { tail -n 60 "build/fuzz/$name.log"; return 1; }
    grep -E 'stat::number_of_executed_units' "build/fuzz/$name.log"
  done
}

testLint() {
  buildPreset linux
  local sources
  mapfile -t sources < <(git ls-files '*.cpp' '*.h')
  clang-format --dry-run --Werror "${sources[@]}"
  mapfile -t sources < <(git ls-files 'Pirsk/*.cpp' 'Src/*.cpp' 'Tool/*.cpp' | grep -v Host/Win32/)
  printf '%s\n' "${sources[@]}" |
    xargs -P "$jobs" -n 4 clang-tidy --quiet -p build/linux --warnings-as-errors='*' \
      2>build/tidy.err || { tail -n 40 build/tidy.err; return 1; }
  cppcheck --quiet --std=c++20 --enable=warning,performance,portability --inline-suppr \
    --error-exitcode=1 --suppressions-list=Tests/Support/cppcheck.supp -j "$jobs" \
    -i Src/Host/Windows -i Pirsk/Host/Windows -I Include -I Src -I Pirsk Pirsk Src Tool
  bash -n scripts/*.sh .ci/run
}

scripts/install-deps.sh test
mkdir -p build

parts=("$@")
[ ${#parts[@]} -gt 0 ] || parts=("${allParts[@]}")
for part in "${parts[@]}"; do
  case "$part" in
    linux | vm | asan | tsan | windows | consumer | fuzz | lint) ;;
    *) echo "usage: $0 [${allParts[*]}]" >&2; exit 2 ;;
  esac
done
for part in "${parts[@]}"; do
  started=$SECONDS
  echo "== $part"
  "test${part^}"
  echo "== $part passed in $((SECONDS - started)) s"
done
