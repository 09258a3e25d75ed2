#!/usr/bin/env bash
# Times -indxfile on a 2 MiB file of 512 full INDX records (thousands of live
# and slack entries), for the CSV of every entry and for the default text
# layout, as alternating runs with their peak memory.
set -euo pipefail
cd "$(dirname "$0")/.."
make build >/dev/null
mkdir -p bench/work
python3 bench/make_indx_bench.py bench/work/full.indx
slix=./build/slix
input=bench/work/full.indx
python3 bench/alternate.py --runs "${BENCH_RUNS:-31}" --warmup 3 \
  "CSV=$slix -indxfile $input -all -csv -quiet -out /dev/null" \
  "text=$slix -indxfile $input -quiet -out /dev/null"
