#!/usr/bin/env bash
# Installs what is missing, builds the benchmarks, runs all of them and prints one table of ratios.
# Usage: scripts/bench.sh [--docs]    --docs also puts the table into Docs/performance.md
#
# A benchmark is named Suite/Case/Contender. A suite is one table, a case one line of it, a contender
# one column; the ratio in brackets is to the fastest of the line. The runs of all contenders are
# mixed, so that what the machine does meanwhile meets all of them.
set -euo pipefail
cd "$(dirname "$0")/.."

if [ $# -gt 1 ] || [ "${1:---docs}" != --docs ]; then
  sed -n '2,/^set /s/^# \{0,1\}//p' scripts/bench.sh >&2
  exit 2
fi

results=build/bench/results
programs=build/bench/Bench
loads=100

scripts/install-deps.sh bench
scripts/install-deps.sh vm  # Other tools to compare with, and the virtual machine.
mkdir -p build
cmake --preset bench >build/bench-configure.log 2>&1 || { cat build/bench-configure.log; exit 1; }
cmake --build --preset bench -j "$(nproc)"
rm -rf "$results"
mkdir -p "$results"

for program in "$programs"/*Bench; do
  "$program" --benchmark_min_time=0.02 --benchmark_repetitions=9 \
    --benchmark_enable_random_interleaving=true --benchmark_display_aggregates_only=true \
    --benchmark_out="$results/$(basename "$program").json" --benchmark_out_format=json \
    >"$results/$(basename "$program").out" 2>&1 ||
    { cat "$results/$(basename "$program").out"; exit 1; }
done

# Instructions of one load: what a run with many loads needs more than a run with few.
instructions() {
  valgrind --tool=callgrind --callgrind-out-file=/dev/null \
    "$programs/LoadCostBench" --loads "$1" "$2" 2>&1 >/dev/null |
    awk '/Collected/ { print $NF }'
}
while read -r contender library; do
  few=$(instructions 10 "$library")
  many=$(instructions $((10 + loads)) "$library")
  printf 'Load/instructions/%s\t%d\n' "$contender" $(((many - few) / loads))
done >"$results/instructions.tsv" <<LIBRARIES
nothing $programs/load-nothing.so
vocabularies $programs/load-vocabularies.so
std::map $programs/load-maps.so
libondrel build/bench/Src/libondrel.so
LIBRARIES

# Bytes of the files without what debuggers want to know, and of the memory that a load takes for the
# process alone.
stripped=$(mktemp)
trap 'rm -f "$stripped"' EXIT
while read -r name file; do
  strip -o "$stripped" "$file"
  printf 'Size/stripped file/%s\t%d\tbytes\n' "$name" "$(stat -L -c %s "$stripped")"
done >"$results/size.tsv" <<FILES
libondrel build/bench/Src/libondrel.so
libpirsk build/bench/Pirsk/libpirsk.so
ondrel build/bench/Tool/ondrel
FILES
printf 'Size/private memory after loading/libondrel\t%d\tbytes\n' \
  "$("$programs/LoadCostBench" --private build/bench/Src/libondrel.so)" >>"$results/size.tsv"

/usr/bin/python3 Bench/memory_of_commands.py build/bench/Tool/ondrel "$programs/LoadCostBench" \
  >"$results/memory.tsv"

ONDREL_BUILD=build/bench /usr/bin/python3 Bench/nvme_in_machine.py >"$results/nvme-machine.tsv"

scripts/bench-table.py "$@" "$results"
