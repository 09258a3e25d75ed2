#!/usr/bin/env bash
# Time against the number of runs of a directory index: \fragmented of
# volumes made by tests/fixtures/make_fragmented_index.sh, its $I30
# allocation cut into 20,000, 100,000 and 400,000 one-cluster runs spread over
# extension records through a non-resident $ATTRIBUTE_LIST (the stream
# padded with zero clusters past the index's 249 records).  Also the
# whole-volume run on the largest, which scans the $MFT through the same
# lookups.  SLIX names another binary to time (built elsewhere); by default
# slix is built here.
set -euo pipefail
cd "$(dirname "$0")/.."
slix=${SLIX:-./build/slix}
[[ -n ${SLIX:-} ]] || make build >/dev/null
mkdir -p bench/work
for runs in 20000 100000 400000; do
  [[ -f bench/work/fragmented_$runs.img ]] ||
    tests/fixtures/make_fragmented_index.sh "bench/work/fragmented_$runs.img" "$runs" >/dev/null
done
options="-path '\\fragmented' -all -csv -quiet -out /dev/null"
python3 bench/alternate.py --runs "${BENCH_RUNS:-7}" \
  "20,000 runs=$slix -image bench/work/fragmented_20000.img $options" \
  "100,000 runs=$slix -image bench/work/fragmented_100000.img $options" \
  "400,000 runs=$slix -image bench/work/fragmented_400000.img $options" \
  "400,000 runs, whole volume=$slix -image bench/work/fragmented_400000.img -all -csv -quiet -out /dev/null"
