#!/usr/bin/env bash
# Times slix on the slack-heavy volume (make_bench_volume.sh --slack-heavy:
# 2,000 leaf folders of 100 files, files 10 to 19 and 100 deleted from every
# fourth folder) against The Sleuth Kit's `fls -r -p`, as alternating runs:
# whole-volume runs writing every entry as CSV, as text blocks and as JSON
# lines.  Needs fls.
source "$(dirname "$0")/bench_lib.sh"
bash bench/make_bench_volume.sh --slack-heavy >/dev/null
slack=bench/work/slack_volume.img
python3 bench/alternate.py --runs "$runs" \
  "whole volume, CSV=$slix -image $slack -all -csv -quiet -out /dev/null" \
  "whole volume, text=$slix -image $slack -all -quiet -out /dev/null" \
  "whole volume, JSON lines=$slix -image $slack -all -jsonl -quiet -out /dev/null" \
  "fls=fls -r -p $slack"
