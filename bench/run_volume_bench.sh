#!/usr/bin/env bash
# Times slix on the bench volume (about 2,200 directories and 200,000 files,
# see make_bench_volume.sh): a whole-volume run writing every entry as CSV,
# and a -path run of one directory and its sub-directories; The Sleuth Kit's
# `fls -r -p` over the same volume is timed in the same run as the reference.
# Needs hyperfine, GNU time and fls.
set -euo pipefail
cd "$(dirname "$0")/.."
make build >/dev/null
bash bench/make_bench_volume.sh
slix=./build/slix
image=bench/work/bench_volume.img
whole="$slix -image $image -all -csv -quiet -out /dev/null"
one_path="$slix -image $image -path '\\case 07\\custodian 03' -level 1 -all -csv -quiet -out /dev/null"
reference="fls -r -p $image"
hyperfine -N --warmup 1 --runs 5 --export-markdown bench/work/volume_times.md \
  "$whole" "$one_path" "$reference"
for command in "$whole" "$one_path" "$reference"; do
  echo "$command"
  /usr/bin/time -f "  peak RSS %M KiB, %e s" bash -c "$command" >/dev/null
done
