#!/usr/bin/env bash
# Runs the fuzz targets over their seeds and for some seconds more, and says which lines they reach of
# what they are for (Fuzz/Lines.txt). Ends with 1 when a target reaches fewer than 95 % of them, with 2
# when one fails.
# Usage: scripts/fuzz-coverage.sh [--seconds N] [--corpus] [--all] [TARGET]...
#   --seconds N  how long each target tries inputs of its own, from the same random number each time
#                (FUZZ_SEED) and from the seeds alone; 15, or FUZZ_SECONDS
#   --corpus     no second: the seeds in Fuzz/Corpus alone
#   --all        the lines that are not reached, of targets that pass too
# Without a TARGET: all.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${FUZZ_SECONDS:-15}
show=()
targets=()
while [ $# -gt 0 ]; do
  case $1 in
    --seconds)
      [ $# -gt 1 ] || { echo "$0: --seconds needs a number" >&2; exit 2; }
      seconds=$2
      shift ;;
    --corpus) seconds=0 ;;
    --all) show=(--all) ;;
    -*) sed -n '2,/^set /s/^# \{0,1\}//p' scripts/fuzz-coverage.sh >&2; exit 2 ;;
    *) targets+=("$1") ;;
  esac
  shift
done
[[ $seconds =~ ^[0-9]+$ ]] || { echo "$0: --seconds: '$seconds' is not a number" >&2; exit 2; }
for target in "${targets[@]}"; do
  [ -f "Fuzz/$target.cpp" ] || { echo "$0: there is no fuzz target '$target'" >&2; exit 2; }
done
for tool in llvm-profdata llvm-cov c++filt; do
  command -v "$tool" >/dev/null ||
    { echo "$0: there is no $tool; scripts/install-deps.sh installs it" >&2; exit 2; }
done
if [ ${#targets[@]} -eq 0 ]; then
  for source in Fuzz/*Fuzz.cpp; do targets+=("$(basename "$source" .cpp)"); done
fi

build=build/fuzz-coverage
programs=$build/Fuzz
profiles=$build/profiles
mkdir -p build
exec 9>build/fuzz-coverage.lock
flock -n 9 || { echo "$0: another run works in build/fuzz-coverage" >&2; exit 2; }
{ cmake --preset fuzz-coverage && cmake --build --preset fuzz-coverage -j "$(nproc)" --target "${targets[@]}"; } \
  >build/fuzz-coverage.log 2>&1 || { tail -n 40 build/fuzz-coverage.log >&2; exit 2; }
rm -rf "$profiles"
mkdir -p "$profiles"

# The seeds, and what it finds itself in a folder that is empty at first.
runTarget() {
  local name=$1 amount=(-runs=0) folders=()
  if [ "$seconds" -gt 0 ]; then
    amount=("-max_total_time=$seconds")
    mkdir -p "$profiles/$name"
    folders=("$profiles/$name")
  fi
  [ ! -d "Fuzz/Corpus/$name" ] || folders+=("Fuzz/Corpus/$name")
  [ ! -f "Fuzz/$name.dict" ] || amount+=("-dict=Fuzz/$name.dict")
  if ! LLVM_PROFILE_FILE="$profiles/$name.profraw" "$programs/$name" "${amount[@]}" \
      -seed="${FUZZ_SEED:-1}" -timeout=10 -rss_limit_mb=4096 -artifact_prefix="$profiles/$name-" \
      "${folders[@]}" >"$profiles/$name.log" 2>&1; then
    tail -n 40 "$profiles/$name.log" >&2
    return 1
  fi
  llvm-profdata merge -sparse -o "$profiles/$name.profdata" "$profiles/$name.profraw"
}

# As many at the same time as there are processors.
count=0 status=0
for target in "${targets[@]}"; do
  if [ "$count" -ge "$(nproc)" ]; then
    wait -n || status=2
    count=$((count - 1))
  fi
  runTarget "$target" &
  count=$((count + 1))
done
for (( ; count > 0; count--)); do wait -n || status=2; done
[ "$status" -eq 0 ] || exit "$status"
scripts/fuzz-coverage-table.py "${show[@]}" "$programs" "$profiles" "${targets[@]}"
