#!/usr/bin/env bash
# Times slix on the bench volume (about 2,200 directories and 200,000 files,
# see make_bench_volume.sh): whole-volume runs writing every entry as CSV,
# as text blocks and as JSON lines, and a -path run of one directory and its
# sub-directories; The Sleuth Kit's `fls -r -p` over the same volume runs
# alternately as the reference.  Needs fls.
source "$(dirname "$0")/bench_lib.sh"
python3 bench/alternate.py --runs "$runs" \
  "whole volume, CSV=$slix -image $image -all -csv -quiet -out /dev/null" \
  "whole volume, text=$slix -image $image -all -quiet -out /dev/null" \
  "whole volume, JSON lines=$slix -image $image -all -jsonl -quiet -out /dev/null" \
  "one path=$slix -image $image -path '\\case 07\\custodian 03' -level 1 -all -csv -quiet -out /dev/null" \
  "fls=fls -r -p $image"
