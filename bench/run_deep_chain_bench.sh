#!/usr/bin/env bash
# Peak memory and time of a whole-volume run on volumes whose directories'
# parent references form one chain (tests/fixtures/make_chain_volume.sh):
# 1,000 and 2,000 directories with 211-character names, the deepest path
# 2,000 names long.  SLIX names another binary to measure (built elsewhere);
# by default slix is built here.
set -euo pipefail
cd "$(dirname "$0")/.."
slix=${SLIX:-./build/slix}
[[ -n ${SLIX:-} ]] || make build >/dev/null
mkdir -p bench/work
for dirs in 1000 2000; do
  [[ -f bench/work/deep_chain_$dirs.img ]] ||
    tests/fixtures/make_chain_volume.sh "bench/work/deep_chain_$dirs.img" "$dirs" >/dev/null
done
python3 bench/alternate.py --runs "${BENCH_RUNS:-7}" \
  "chain of 1,000=$slix -image bench/work/deep_chain_1000.img -quiet -out /dev/null" \
  "chain of 2,000=$slix -image bench/work/deep_chain_2000.img -quiet -out /dev/null"
