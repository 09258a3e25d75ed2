#!/usr/bin/env bash
# Times -indxfile on a 2 MiB file of 512 full INDX records (thousands of live
# and slack entries), for the CSV of every entry and for the default text
# layout, and records peak memory.  Needs hyperfine and GNU time.
set -euo pipefail
cd "$(dirname "$0")/.."
make build >/dev/null
mkdir -p bench/work
python3 bench/make_indx_bench.py bench/work/full.indx
slix=./build/slix
input=bench/work/full.indx
hyperfine -N --warmup 3 --runs 30 --export-markdown bench/work/indx_times.md \
  "$slix -indxfile $input -all -csv -quiet -out /dev/null" \
  "$slix -indxfile $input -quiet -out /dev/null"
for args in "-all -csv" ""; do
  /usr/bin/time -f "peak RSS %M KiB, %e s: slix -indxfile full.indx $args" \
    $slix -indxfile $input $args -quiet -out /dev/null
done
