#!/usr/bin/env bash
# Times slix on a 2 MiB file of 512 INDX records (bench/make_indx_bench.py):
# every entry as CSV, the default text layout and JSON lines.
set -euo pipefail
cd "$(dirname "$0")/.."
make build >/dev/null
mkdir -p bench/work
[ -f bench/work/full.indx ] || python3 bench/make_indx_bench.py bench/work/full.indx
slix=./build/slix
input=bench/work/full.indx
python3 bench/alternate.py --runs "${BENCH_RUNS:-31}" --warmup 3 \
  "CSV=$slix -indxfile $input -all -csv -quiet -out /dev/null" \
  "text=$slix -indxfile $input -all -quiet -out /dev/null" \
  "JSON lines=$slix -indxfile $input -all -jsonl -quiet -out /dev/null"
